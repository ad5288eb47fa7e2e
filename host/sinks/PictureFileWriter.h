#ifndef HOST_SINKS_PICTUREFILEWRITER_H
#define HOST_SINKS_PICTUREFILEWRITER_H

#include "format/PictureHeader.h"
#include "media/AvPointers.h"
#include "sinks/FileSeries.h"
#include "sinks/IRecordWriter.h"

/// Writes pictures through a muxer: their visible bytes packed row by row, plane by plane, a palette last.
class PictureFileWriter final : public IRecordWriter<PictureHeader> {
public:
    /// @param startTimeUs of the input, which becomes 0 in the files.
    PictureFileWriter(const OutputPlace &place, const FileFormat &format, qint64 startTimeUs);

    std::string target() const override { return _files.name(); }
    std::optional<std::string> create() override { return _files.create(); }
    Result write(const PictureHeader &picture, qint64 blockTimeMs) override;
    quint64 leftOut() const override { return _files.leftOut(); }
    void noteBreak() override { _files.noteBreak(); }
    std::optional<std::string> finish() override { return _files.finish(); }

private:
    const FileFormat &_format;
    const qint64 _startTimeUs;
    FileSeries _files;
};

#endif
