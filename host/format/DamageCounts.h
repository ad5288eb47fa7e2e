#ifndef HOST_FORMAT_DAMAGECOUNTS_H
#define HOST_FORMAT_DAMAGECOUNTS_H

#include <QByteArray>
#include <QtGlobal>

#include <array>
#include <map>
#include <mutex>

/// What codec decoders could not make sense of, counted by stream and kind, and reported on the warning channel the
/// first time each. Thread-safe; shared by all codec decoders of a format manager.
class DamageCounts {
public:
    enum Kind {
        /// The codec refused a block.
        UndecodableBlock,
        /// The codec made a picture or samples of it, but says that they are not what was coded.
        ConcealedDamage,
        /// A block was not one of this host's.
        ForeignBlock,
        /// The codec could not be opened for the stream.
        UnusableStream
    };
    static constexpr int kindCount = UnusableStream + 1;
    using Counts = std::array<quint64, kindCount>;

    /// @param origin names the stream. @param detail what is wrong, in a few words.
    void add(const QByteArray &origin, Kind kind, const QByteArray &detail);

    /// The counts of the stream @p origin.
    Counts of(const QByteArray &origin) const;

    /// Drops the counts of the stream @p origin, which has ended for good.
    void forget(const QByteArray &origin);

private:
    mutable std::mutex _mutex; // guards the next one
    std::map<QByteArray, Counts> _counts;
};

#endif
