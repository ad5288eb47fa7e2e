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

    /// Creates the first file. To be called once, before the others.
    [[nodiscard]] std::optional<std::string> create() { return _files.create(); }

    Result write(const PictureHeader &picture, qint64 blockTimeMs) override;
    bool mayGoOn() const override { return _files.lacksRoom(); }
    void noteBreak() override { _files.noteBreak(); }
    std::optional<std::string> finish() override { return _files.finish(); }

private:
    const std::string _base;
    const FileFormat &_format;
    const qint64 _startTimeUs;
    FileSeries _files;
};

#endif
