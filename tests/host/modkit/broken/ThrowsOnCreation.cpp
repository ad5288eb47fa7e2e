#include <stdexcept>

#include "interfaces/ComponentExports.h"

void ModkitMyName(const char **name, std::int32_t *value, std::int32_t /*key*/)
{
    *name = "test.ThrowsOnCreation";
    *value = 1;
}

// Throws a standard exception with a text of two lines the first time, and something else from then on.
void ModkitGetObject(IComponent **object, std::int32_t /*key*/)
{
    static bool isFirst = true;
    *object = nullptr;
    if (!isFirst)
        throw 42;
    isFirst = false;
    throw std::runtime_error("the tables\nare missing");
}

void ModkitDeleteObject(IComponent ** /*object*/, std::int32_t /*key*/) {}
