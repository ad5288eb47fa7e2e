#include "strata/base/modkit/modkit"

// The framework's trace has a benchmark of its own.
void ModkitObjectTrace_Add(ModkitCounter * /*counter*/, const char * /*typeName*/, std::int32_t /*flag*/) {}
void ModkitObjectTrace_Remove(ModkitCounter * /*counter*/) {}
