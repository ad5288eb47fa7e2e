#ifndef HOST_SOURCES_BLOCKTIMES_H
#define HOST_SOURCES_BLOCKTIMES_H

#include <QtGlobal>

#include <array>
#include <optional>

/// Makes block times, in milliseconds, of the time stamps of a file that is read once or several times, or of a live
/// source that is connected to again and again: for each kind of stream they never go back, and a repetition or
/// connection goes on where the one before it has ended. Reentrant.
class BlockTimes final {
public:
    static constexpr int kindCount = 2;

    /// @param timeMayJump time stamps that leap by more than 10 seconds, forward or back, mean that time goes on
    ///        regularly under another clock; without it a leap forward is a pause.
    explicit BlockTimes(bool timeMayJump);

    /// @param kind 0 to kindCount - 1. @param timeMs the block's time in the file; nothing, or more than a century from
    ///        0, when unknown: the block then follows the one before it. @param durationMs 0 when unknown.
    /// @return the block's time.
    qint64 next(int kind, std::optional<qint64> timeMs, qint64 durationMs);

    /// @return how much later the last block of @p kind is than the first block of all; 0 before there is one.
    qint64 lastSinceStartMs(int kind) const;

    /// The file's beginning follows.
    void beginRepetition();

    /// Another connection to a live source follows, whose time stamps begin anywhere: the first block that has one goes
    /// on where everything before has ended, and the other kind keeps its distance to it.
    void beginConnection() { _anchorWanted = true; }

private:
    struct Kind {
        qint64 shiftMs = 0; // from the file's time to block time
        qint64 endMs = 0;   // of the last block, or of the repetition before
        std::optional<qint64> lastMs;
        bool begun = false; // in this repetition
    };

    void anchor(qint64 timeMs);

    const bool _timeMayJump;
    std::array<Kind, kindCount> _kinds;
    std::optional<qint64> _startMs; // of the first block, which is the same in the file and as a block time
    qint64 _endMs = 0;              // of the block that ends last
    bool _anchorWanted = false;     // the next known time decides how the connection's times are shifted
};

#endif
