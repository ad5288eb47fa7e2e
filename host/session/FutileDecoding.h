#ifndef HOST_SESSION_FUTILEDECODING_H
#define HOST_SESSION_FUTILEDECODING_H

#include <QtGlobal>

#include <chrono>
#include <optional>

/// Notices that the blocks of a live stream come whole, and yet nothing whole is decoded of them any more: as when a
/// sender changes the codec without a word. Reentrant.
class FutileDecoding final {
public:
    using Instant = std::chrono::steady_clock::time_point;

    /// To be called often, with the stream's counters until now. @param damaged blocks and frames, @p lost blocks.
    /// @return true once, when that is so; again after a while only, unless something whole was decoded meanwhile.
    bool isFutile(qint64 frames, qint64 damaged, qint64 lost, Instant now);

private:
    // The counters at the last call.
    qint64 _frames = 0;
    qint64 _damaged = 0;
    qint64 _lost = 0;
    // When there was hope last, and the damage since then.
    std::optional<Instant> _hopeAt;
    qint64 _damagedSince = 0;
    bool _isReported = false; // since something whole was decoded
};

#endif
