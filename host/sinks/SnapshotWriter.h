#ifndef HOST_SINKS_SNAPSHOTWRITER_H
#define HOST_SINKS_SNAPSHOTWRITER_H

#include <chrono>
#include <memory>

#include "format/PictureHeader.h"
#include "media/AvPointers.h"
#include "sinks/IRecordWriter.h"
#include "sinks/OutputPlace.h"

/// Writes the first picture, and then the first one of every further interval of block time, as PNG: `<stem>-0001.png`,
/// `<stem>-0002.png` and so on. Existing files are overwritten, or kept and their numbers passed over, as the place
/// says. One that there is no room for is left out whole. Where the stream breaks, or block times go back by more than
/// an interval, the next picture is a first one again.
class SnapshotWriter final : public IRecordWriter<PictureHeader> {
public:
    SnapshotWriter(OutputPlace place, std::chrono::milliseconds interval);

    std::string target() const override { return _place.name("-*.png"); }
    std::optional<std::string> create() override { return _place.createDirectory(); }
    Result write(const PictureHeader &picture, qint64 blockTimeMs) override;
    quint64 leftOut() const override { return _lacksRoom ? 1 : 0; }
    void noteBreak() override { _nextMs.reset(); }
    std::optional<std::string> finish() override { return std::nullopt; }

private:
    bool isDue(qint64 blockTimeMs);
    std::optional<std::string> save(const quint8 *data, int size);

    const OutputPlace _place;
    const std::chrono::milliseconds _interval;
    int _fileCount = 0;
    bool _lacksRoom = false;       // for the latest picture
    std::optional<qint64> _nextMs; // block time of the next picture to write; none: any
};

#endif
