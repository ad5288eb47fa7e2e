#ifndef LAYOUT_CLASSLAYOUT_H
#define LAYOUT_CLASSLAYOUT_H

#include <cstddef>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

/// How one class lies in memory and in its table of virtual operations: what is written in the contract, beside what
/// this compiler makes of the class. Offsets and sizes are in bytes, slots are counted from 0.
struct ClassLayout {
    /// One base, field or virtual operation.
    struct Place {
        std::string name;
        std::string type; // of a field, or a virtual operation's signature; empty for a base
        std::size_t stated;
        std::size_t actual;
    };

    std::string name;
    std::size_t statedSize;
    std::size_t actualSize;
    std::vector<Place> bases{};      // by offset, in their order
    std::vector<Place> fields{};     // by offset, in their order; without those of the bases
    std::vector<Place> operations{}; // by slot, in their order; without those of the bases
};

namespace layout {

/// What stands for the slot of an operation that is not virtual.
constexpr std::size_t noSlot = static_cast<std::size_t>(-1);

/// A field that is declared as an @p Actual; it does not compile where the contract states another type.
template <class Actual, class Stated>
ClassLayout::Place field(const char *name, const char *type, std::size_t stated, std::size_t actual)
{
    static_assert(std::is_same<Actual, Stated>::value, "the field has the type that is stated for it");
    return {name, type, stated, actual};
}

/// The place of @p Base within @p Class. No object is needed: the conversion only adds the offset.
template <class Class, class Base>
ClassLayout::Place base(const char *name, std::size_t stated)
{
    alignas(Class) static unsigned char memory[sizeof(Class)];
    Class *const object = reinterpret_cast<Class *>(memory);
    Base *const converted = object;
    return {name, "", stated, static_cast<std::size_t>(reinterpret_cast<unsigned char *>(converted) - memory)};
}

/// A virtual operation; it does not compile where the contract states another signature. Both platforms follow the
/// Itanium C++ ABI, where the first word of a pointer to a virtual member is 1 + its offset in the table.
template <class Class, class Signature>
ClassLayout::Place operation(const char *name, const char *signature, std::size_t stated, Signature Class::*member)
{
    std::size_t words[2];
    static_assert(sizeof words == sizeof member, "an offset, and an adjustment of the object's address");
    std::memcpy(words, &member, sizeof words);
    const bool isVirtual = words[0] % sizeof(void *) == 1 && words[1] == 0;
    return {name, signature, stated, isVirtual ? words[0] / sizeof(void *) : noSlot};
}

} // namespace layout

// One line of a table: the names as they are written, where the contract has the place, and the type at the end,
// because it may contain commas.
#define LAYOUT_BASE(Class, Base, stated) layout::base<Class, Base>(#Base, stated)
#define LAYOUT_FIELD(Class, name, stated, ...)                                                                         \
    layout::field<decltype(Class::name), __VA_ARGS__>(#name, #__VA_ARGS__, stated, offsetof(Class, name))
#define LAYOUT_OPERATION(Class, name, stated, ...)                                                                     \
    layout::operation<Class, __VA_ARGS__>(#name, #__VA_ARGS__, stated, &Class::name)

#endif
