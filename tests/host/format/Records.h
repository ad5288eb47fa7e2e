#ifndef HOST_FORMAT_TESTS_RECORDS_H
#define HOST_FORMAT_TESTS_RECORDS_H

#include <QCryptographicHash>

#include <string>
#include <vector>

#include "format/PictureHeader.h"
#include "format/SamplesHeader.h"
#include "interfaces/IAudioOutputQueue.h"
#include "interfaces/IVideoOutputQueue.h"

/// @return "SIZE MD5" of the visible bytes of @p record, plane after plane; "invalid" if it does not describe itself.
std::string pictureHash(const VideoFrameBuffer &record);

/// Adds the samples of @p record, interleaved. @return false if it does not describe itself.
bool addSamples(const AudioSampleBuffer &record, QCryptographicHash &hash);

/// Keeps all pictures that it gets, and remembers what they were like when it got them.
class PictureRecords final : public IVideoOutputQueue {
public:
    struct Entry {
        VideoFrameHandle frame;
        qint64 timestamp;
        qint64 blockTimeMs;
        std::string hash;
        PictureHeader header;
    };

    void push(const VideoFrameHandle &frame, qint64 timestamp, qint64 blockTime) override
    {
        const PictureHeader *const header = PictureHeader::of(*frame);
        entries.push_back({frame, timestamp, blockTime, pictureHash(*frame), header ? *header : PictureHeader()});
    }

    std::vector<std::string> hashes() const
    {
        std::vector<std::string> all;
        for (const Entry &entry : entries)
            all.push_back(entry.hash);
        return all;
    }

    std::vector<Entry> entries;
};

/// The same for samples.
class SamplesRecords final : public IAudioOutputQueue {
public:
    struct Entry {
        AudioSampleHandle samples;
        qint64 timestamp;
        qint64 blockTimeMs;
    };

    void push(const AudioSampleHandle &samples, qint64 timestamp, qint64 blockTime) override
    {
        entries.push_back({samples, timestamp, blockTime});
    }

    std::vector<Entry> entries;
};

#endif
