#ifndef FAKES_INPLACEOFQT_H
#define FAKES_INPLACEOFQT_H

/// Lets a test program's own definition of an operation of QtCore go before QtCore's, for all that is linked into the
/// program; @p symbol is its mangled name. On Linux that is so by itself. On Windows callers reach QtCore through a
/// pointer that the linker takes from QtCore's import library, unless the program defines it.
#if defined(_WIN32)
#pragma GCC diagnostic ignored "-Wattributes" // the definition is no import any more, as is wanted
#define IN_PLACE_OF_QT(symbol)                                                                                         \
    extern "C" {                                                                                                       \
    void symbol();                                                                                                     \
    extern void (*__imp_##symbol)();                                                                                   \
    void (*__imp_##symbol)() = &symbol;                                                                                \
    }
#else
#define IN_PLACE_OF_QT(symbol) static_assert(true, #symbol)
#endif

#endif
