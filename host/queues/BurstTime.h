#ifndef HOST_QUEUES_BURSTTIME_H
#define HOST_QUEUES_BURSTTIME_H

#include <atomic>
#include <chrono>
#include <memory>

/// How long a burst of one input may keep a decoder thread busy. Where all inputs of a session are files that are
/// decoded as fast as they can be, as long as it takes to make the most of the processor's caches. Beside punctual
/// inputs, live or paced ones, the bursts of all others together take no longer than a few milliseconds, or one packet
/// each, so that the punctual ones wait hardly longer than for another's packet. Thread-safe; asked wait-free.
class BurstTime final {
public:
    static constexpr std::chrono::milliseconds alone{25};
    static constexpr std::chrono::milliseconds besidePunctual{4}; // for all bursts together
    static constexpr std::chrono::milliseconds chosen{100};       // one whose length somebody has chosen

    enum class Kind { Bursts, Punctual };

    /// One input's part in it, while this object lives.
    class Share final {
    public:
        /// @param time never null.
        Share(std::shared_ptr<BurstTime> time, Kind kind);
        ~Share();
        Share(const Share &) = delete;
        Share &operator=(const Share &) = delete;

    private:
        const std::shared_ptr<BurstTime> _time;
        const Kind _kind;
    };

    /// @return how long a burst may take now.
    [[nodiscard]] std::chrono::nanoseconds longest() const;

private:
    std::atomic<int> &count(Kind kind) { return kind == Kind::Bursts ? _bursts : _punctual; }

    std::atomic<int> _bursts{0}; // inputs of each kind
    std::atomic<int> _punctual{0};
};

#endif
