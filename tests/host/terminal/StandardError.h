#ifndef TESTS_HOST_TERMINAL_STANDARDERROR_H
#define TESTS_HOST_TERMINAL_STANDARDERROR_H

#include <unistd.h>

/// While it lives, the standard error output is @p file.
class StandardError final {
public:
    explicit StandardError(int file)
        : _previous(dup(STDERR_FILENO))
    {
        dup2(file, STDERR_FILENO);
    }
    ~StandardError()
    {
        dup2(_previous, STDERR_FILENO);
        close(_previous);
    }
    StandardError(const StandardError &) = delete;
    StandardError &operator=(const StandardError &) = delete;

private:
    const int _previous;
};

#endif
