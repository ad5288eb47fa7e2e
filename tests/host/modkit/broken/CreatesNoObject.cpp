#include "interfaces/ComponentExports.h"

void ModkitMyName(const char **name, std::int32_t *value, std::int32_t /*key*/)
{
    *name = "test.CreatesNoObject";
    *value = 1;
}

void ModkitGetObject(IComponent **object, std::int32_t /*key*/)
{
    *object = nullptr;
}

void ModkitDeleteObject(IComponent ** /*object*/, std::int32_t /*key*/) {}
