#ifndef HOST_SESSION_SNAPSHOTFILLER_H
#define HOST_SESSION_SNAPSHOTFILLER_H

#include <QString>

#include <array>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "indications/IndicationManager.h"
#include "session/InputRun.h"
#include <decoding/Snapshot.h>

/// Fills snapshots with what is to be seen of inputs: the only place that does. Made anew for each snapshot, while
/// nothing changes the inputs; holds up no decoder.
class SnapshotFiller final {
public:
    /// @param indications null where decoders show no lights. @param mode of the session.
    SnapshotFiller(const IndicationManager *indications, decoding::Mode mode);

    /// Adds @p input, and the threads that its decoders run on.
    void add(const InputRun &input, decoding::Snapshot &snapshot) const;

    [[nodiscard]] decoding::Snapshot::Input snapshotOf(const InputRun &input) const;

private:
    static void showCodec(const DamageCounts::Condition &condition, decoding::Snapshot::Stream &shown);
    void fill(const InputRun &input, decoding::Snapshot::Input &shown) const;
    void fill(const InputRun &input, const InputRun::ShownStream &of, decoding::Snapshot::Stream &shown) const;
    std::optional<std::size_t> lightIndex(const QString &name, std::size_t guess) const;
    void showLights(const DecodedStream &stream, decoding::Snapshot::Stream &shown) const;

    const IndicationManager *const _indications;
    const decoding::Mode _mode;
    const std::chrono::steady_clock::time_point _now = std::chrono::steady_clock::now();
    mutable std::array<QString, decoding::Snapshot::lightCount> _lightNames; // once seen, those that all lights share
    std::vector<std::string> _threads;                                       // by the ids of setters
};

#endif
