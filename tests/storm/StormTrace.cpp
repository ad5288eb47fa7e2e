#include "StormTrace.h"

#include "strata/base/modkit/modkit"

StormLedger::Count &StormTrace::count()
{
    static StormLedger::Count value;
    return value;
}

// The program's own definitions go before those in the library.

void ModkitObjectTrace_Add(ModkitCounter * /*counter*/, const char * /*typeName*/, std::int32_t flag)
{
    if (flag == 0)
        ++StormTrace::count().born;
}

void ModkitObjectTrace_Remove(ModkitCounter * /*counter*/)
{
    ++StormTrace::count().gone;
}
