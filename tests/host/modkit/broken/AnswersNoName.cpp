#include "interfaces/ComponentExports.h"

// As a component that was built for another version of the contract answers.
void ModkitMyName(const char **name, std::int32_t *value, std::int32_t /*key*/)
{
    *name = nullptr;
    *value = 1;
}

void ModkitGetObject(IComponent **object, std::int32_t /*key*/)
{
    *object = nullptr;
}

void ModkitDeleteObject(IComponent ** /*object*/, std::int32_t /*key*/) {}
