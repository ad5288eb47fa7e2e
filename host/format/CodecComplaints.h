#ifndef HOST_FORMAT_CODECCOMPLAINTS_H
#define HOST_FORMAT_CODECCOMPLAINTS_H

#include <atomic>

/// Notices whether libavcodec says anything about the packets of one codec, on whichever of the codec's threads. What
/// is damaged it reports in messages at least, and before it gives back what it made of the packet. Lives longer than
/// the codec, and is known by its AVCodecContext::opaque. Thread-safe.
class CodecComplaints final {
public:
    /// @param opaque not null; that of no other codec which is listened to.
    explicit CodecComplaints(const void *opaque);
    ~CodecComplaints();
    CodecComplaints(const CodecComplaints &) = delete;
    CodecComplaints &operator=(const CodecComplaints &) = delete;

    /// Whether there was a message since it was made: information, a warning or an error.
    [[nodiscard]] bool areThere() const { return _areThere.load(std::memory_order_acquire); }

private:
    friend struct CodecComplaintsTaker;

    const void *const _opaque;
    std::atomic<bool> _areThere{false};
};

#endif
