#include "interfaces/ComponentExports.h"

void ModkitMyName(const char **name, std::int32_t *value, std::int32_t /*key*/)
{
    *name = "test.LacksDeleteObject";
    *value = 1;
}

void ModkitGetObject(IComponent **object, std::int32_t /*key*/)
{
    *object = nullptr;
}
