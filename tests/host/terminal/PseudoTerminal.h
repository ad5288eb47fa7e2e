#ifndef TESTS_HOST_TERMINAL_PSEUDOTERMINAL_H
#define TESTS_HOST_TERMINAL_PSEUDOTERMINAL_H

#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <unistd.h>

#include <gmock/gmock.h>
#include <sys/ioctl.h>

/// A terminal whose other end the test reads.
class PseudoTerminal final {
public:
    PseudoTerminal(unsigned short width, unsigned short height)
        : _master(posix_openpt(O_RDWR | O_NOCTTY))
    {
        grantpt(_master);
        unlockpt(_master);
        _slave = open(ptsname(_master), O_RDWR | O_NOCTTY);
        const winsize size{height, width, 0, 0};
        ioctl(_slave, TIOCSWINSZ, &size);
    }
    ~PseudoTerminal()
    {
        close(_slave);
        close(_master);
    }
    PseudoTerminal(const PseudoTerminal &) = delete;
    PseudoTerminal &operator=(const PseudoTerminal &) = delete;

    int file() const { return _slave; }

    /// @return what was written since the last call, each end of line as the terminal makes it: "\r\n".
    std::string written()
    {
        // A mark of the test's own tells where the display's output ends; it comes through whatever was written before.
        const std::string mark("|");
        EXPECT_EQ(write(_slave, mark.data(), mark.size()), 1);
        std::string text;
        char character = 0;
        while (read(_master, &character, 1) == 1 && character != mark[0])
            text += character;
        return text;
    }

private:
    const int _master;
    int _slave = -1;
};

#endif
