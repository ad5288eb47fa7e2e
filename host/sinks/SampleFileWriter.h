#ifndef HOST_SINKS_SAMPLEFILEWRITER_H
#define HOST_SINKS_SAMPLEFILEWRITER_H

#include <cstdint>

#include "format/SamplesHeader.h"
#include "sinks/FileSeries.h"
#include "sinks/IRecordWriter.h"
#include "sinks/SampleConverter.h"

/// Writes samples through a muxer: as interleaved 16-bit ones, their rate and the order of the channels kept. Other
/// formats are converted by libswresample in its default way, which is what the ffmpeg tool does on its own.
class SampleFileWriter final : public IRecordWriter<SamplesHeader> {
public:
    /// @param startTimeUs of the input, which becomes 0 in the files.
    SampleFileWriter(const OutputPlace &place, const FileFormat &format, qint64 startTimeUs);

    std::string target() const override { return _files.name(); }
    std::optional<std::string> create() override { return _files.create(); }
    Result write(const SamplesHeader &samples, qint64 blockTimeMs) override;
    quint64 leftOut() const override { return _files.leftOut(); }
    void noteBreak() override;
    std::optional<std::string> finish() override { return _files.finish(); }

private:
    bool convert(const SamplesHeader &samples, AVPacket *packet);
    qint64 timestampOf(const SamplesHeader &samples);

    const qint64 _startTimeUs;
    FileSeries _files;

    SampleConverter _converter;
    std::int64_t _rescaled; // what av_rescale_delta keeps from one time stamp to the next
};

#endif
