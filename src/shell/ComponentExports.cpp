#include "interfaces/ComponentExports.h"

#include "manager/DecodingManager.h"

void ModkitMyName(const char **name, std::int32_t *value, std::int32_t key)
{
    *value = 1;
    *name = key == ModkitVersionKey ? "base.avformat.DecodingManager" : nullptr;
}

void ModkitGetObject(IComponent **object, std::int32_t key)
{
    *object = nullptr;
    if (key == ModkitVersionKey)
        *object = new DecodingManager;
}

void ModkitDeleteObject(IComponent **object, std::int32_t key)
{
    if (key == ModkitVersionKey)
        delete *object;
}
