#ifndef HOST_QUEUES_GATE_H
#define HOST_QUEUES_GATE_H

#include <atomic>
#include <limits>
#include <memory>
#include <mutex>
#include <vector>

/// Whether the outputs of one stream have room, and for how many frames. The stream's decoder is given nothing to
/// decode while one of them has none, and never more than all of them have room for. Thread-safe; to look whether it is
/// open, as a decoder does a thousand times a second, is wait-free.
class Gate final {
public:
    /// More than any decoder makes.
    static constexpr int unlimited = std::numeric_limits<int>::max();

    /// One output's room, for as long as this object lives.
    class Output final {
    public:
        /// @param gate null: nobody asks for the room. @param room as setRoom takes it.
        Output(std::shared_ptr<Gate> gate, int room);
        ~Output();
        Output(const Output &) = delete;
        Output &operator=(const Output &) = delete;

        /// There is room for @p frames now, 0 or more. Reentrant and wait-free.
        void setRoom(int frames);

    private:
        friend class Gate;

        const std::shared_ptr<Gate> _gate;
        std::atomic<int> _room{unlimited};
    };

    Gate() = default;
    Gate(const Gate &) = delete;
    Gate &operator=(const Gate &) = delete;

    /// Holds it closed, whatever room there is. Each call is followed by one of open().
    void close() { _closed.fetch_add(1); }
    void open() { _closed.fetch_sub(1); }

    bool isOpen() const { return _closed.load() == 0; }
    /// @return how many frames all outputs have room for; 0 while it is closed.
    int room() const;

private:
    std::atomic<int> _closed{0}; // by close(), and by outputs without room

    mutable std::mutex _mutex; // guards the next one
    std::vector<const Output *> _outputs;
};

#endif
