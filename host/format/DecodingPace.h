#ifndef HOST_FORMAT_DECODINGPACE_H
#define HOST_FORMAT_DECODINGPACE_H

#include <array>
#include <atomic>
#include <chrono>

/// How long the packets of one stream take to be decoded, as its codec decoder finds out, for whoever wants to know how
/// many of them to give to it in one go. Key blocks and others are told apart: they take very different times. What is
/// to come may take longer than what has come, so the stream can also be stopped in the middle of a burst. And how many
/// threads of libavcodec its codec decoder may use. Thread-safe and wait-free; one thread at a time notes.
class DecodingPace final {
public:
    /// @p packets of key blocks, or of others, have taken @p time: what the decoder's thread has computed, or, where
    /// threads of libavcodec compute for it, how long it has waited for them.
    void note(bool keyBlocks, int packets, std::chrono::nanoseconds time);

    /// @return how many packets are likely to be decoded within @p limit. At least one, and no more than twice as many
    ///         as were ever decoded in one go, so that there is a look at them before they take long.
    [[nodiscard]] int packetsWithin(bool keyBlocks, std::chrono::nanoseconds limit) const;

    /// Nobody wants more of the stream: the codec decoder leaves out what it has not begun.
    void stop() { _isStopped.store(true, std::memory_order_relaxed); }
    [[nodiscard]] bool isStopped() const { return _isStopped.load(std::memory_order_relaxed); }

    /// For the codec from its next opening on; one unless told otherwise.
    void setCodecThreads(int count) { _codecThreads.store(count, std::memory_order_relaxed); }
    [[nodiscard]] int codecThreads() const { return _codecThreads.load(std::memory_order_relaxed); }

private:
    struct Kind {
        std::atomic<std::int64_t> packetNs{0}; // for each; 0: none was decoded yet
        std::atomic<int> mostPackets{0};       // that were noted at one time
    };
    std::array<Kind, 2> _kinds; // others, key blocks
    std::atomic<bool> _isStopped{false};
    std::atomic<int> _codecThreads{1};
};

#endif
