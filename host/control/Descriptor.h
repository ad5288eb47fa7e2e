#ifndef HOST_CONTROL_DESCRIPTOR_H
#define HOST_CONTROL_DESCRIPTOR_H

#include <unistd.h>
#include <utility>

/// Owns a file descriptor, and closes it. Reentrant.
class Descriptor final {
public:
    Descriptor() = default;
    /// @param fd -1: none.
    explicit Descriptor(int fd)
        : _fd(fd)
    {
    }
    Descriptor(Descriptor &&other) noexcept
        : _fd(std::exchange(other._fd, -1))
    {
    }
    Descriptor &operator=(Descriptor &&other) noexcept
    {
        std::swap(_fd, other._fd);
        return *this;
    }
    ~Descriptor() { close(); }

    [[nodiscard]] int get() const { return _fd; }
    [[nodiscard]] bool isOpen() const { return _fd >= 0; }

    void close()
    {
        if (_fd >= 0)
            ::close(std::exchange(_fd, -1));
    }

private:
    int _fd = -1;
};

#endif
