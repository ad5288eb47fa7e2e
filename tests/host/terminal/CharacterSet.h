#ifndef TESTS_HOST_TERMINAL_CHARACTERSET_H
#define TESTS_HOST_TERMINAL_CHARACTERSET_H

#include <clocale>
#include <string>

#include <gmock/gmock.h>

/// While it lives, the locale's characters are those of @p name: "C.UTF-8" or "C".
class CharacterSet final {
public:
    explicit CharacterSet(const char *name)
        : _previous(std::setlocale(LC_CTYPE, nullptr))
    {
        EXPECT_NE(std::setlocale(LC_CTYPE, name), nullptr) << "there is no locale " << name;
    }
    ~CharacterSet() { std::setlocale(LC_CTYPE, _previous.c_str()); }
    CharacterSet(const CharacterSet &) = delete;
    CharacterSet &operator=(const CharacterSet &) = delete;

private:
    const std::string _previous;
};

#endif
