#ifndef HOST_SOURCES_PACING_H
#define HOST_SOURCES_PACING_H

#include <QtGlobal>

#include <chrono>
#include <optional>

/// Says when the blocks of a source that plays in real time are due: the first at once, the others as much later as
/// their block times are. A block time before the first is due at once. Reentrant.
class Pacing final {
public:
    using Instant = std::chrono::steady_clock::time_point;

    /// @param now only the first call, which sets the beginning, looks at it.
    Instant dueAt(qint64 blockTimeMs, Instant now);

private:
    struct Beginning {
        qint64 blockTimeMs;
        Instant instant;
    };
    std::optional<Beginning> _beginning;
};

#endif
