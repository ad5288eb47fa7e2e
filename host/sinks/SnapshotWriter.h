#ifndef HOST_SINKS_SNAPSHOTWRITER_H
#define HOST_SINKS_SNAPSHOTWRITER_H

#include <chrono>

#include "format/PictureHeader.h"
#include "media/AvPointers.h"
#include "sinks/IRecordWriter.h"
#include "sinks/OutputPlace.h"

class QFile;

/// Writes the first picture, and then the first one of every further interval of block time, as PNG: `<stem>-0001.png`,
/// `<stem>-0002.png` and so on. One that there is no room for is left out whole. Existing files are overwritten. Where
/// the stream breaks, or block times go back by more than an interval, the next picture is a first one again.
class SnapshotWriter final : public IRecordWriter<PictureHeader> {
public:
    SnapshotWriter(OutputPlace place, std::chrono::milliseconds interval);

    Result write(const PictureHeader &picture, qint64 blockTimeMs) override;
    bool mayGoOn() const override { return _lacksRoom; }
    void noteBreak() override { _nextMs.reset(); }
    std::optional<std::string> finish() override { return std::nullopt; }

private:
    std::string failureToWrite(const std::string &failure, QFile &file);
    bool isDue(qint64 blockTimeMs);

    const OutputPlace _place;
    const std::chrono::milliseconds _interval;
    int _fileCount = 0;
    bool _lacksRoom = false;       // for the latest picture
    std::optional<qint64> _nextMs; // block time of the next picture to write; none: any
};

#endif
