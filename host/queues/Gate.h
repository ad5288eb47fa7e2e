#ifndef HOST_QUEUES_GATE_H
#define HOST_QUEUES_GATE_H

#include <atomic>

/// How many outputs of one stream have no room. The stream's decoder is given nothing to decode while there is one.
/// Thread-safe and wait-free; a decoder looks at it a thousand times a second.
class Gate final {
public:
    /// One more output has no room. Each call is followed by one of open().
    void close() { _closed.fetch_add(1); }
    /// An output that had none has room again, or is gone.
    void open() { _closed.fetch_sub(1); }

    bool isOpen() const { return _closed.load() == 0; }

private:
    std::atomic<int> _closed{0};
};

#endif
