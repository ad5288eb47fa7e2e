#ifndef LAYOUT_TABLECALL_H
#define LAYOUT_TABLECALL_H

#include <cstddef>
#include <cstring>

/// Calls the virtual operation in @p slot of @p object as a host does that was compiled apart: by the contract's tables
/// alone, without the class's declaration. References are passed as pointers.
template <class Result, class... Arguments>
Result callSlot(void *object, std::size_t slot, Arguments... arguments)
{
    const unsigned char *table;
    std::memcpy(&table, object, sizeof table);
    Result (*operation)(void *, Arguments...);
    std::memcpy(&operation, table + slot * sizeof operation, sizeof operation);
    return operation(object, arguments...);
}

/// The base at @p offset bytes within @p object.
inline void *baseAt(void *object, std::size_t offset)
{
    return static_cast<unsigned char *>(object) + offset;
}

#endif
