#ifndef MANAGER_PLACEMENTMODEL_H
#define MANAGER_PLACEMENTMODEL_H

#include <cstdint>
#include <map>
#include <set>
#include <vector>

#include "interfaces/CreationFlags.h"

/// What the decoding manager is to keep of its decoders, kept a second time and as simply as can be: in ordered maps,
/// on one thread, with streams numbered. It is what the manager is compared with.
class PlacementModel {
public:
    using Stream = int; // number of an input queue

    struct Decoder {
        int serial; // tells decoders apart, also those of one stream after another
        int thread;
        int flags;
        bool performanceMode;
        std::vector<std::int32_t> outputs; // ids, in the order they came
    };

    /// Streams and ids of one kind, video or audio.
    struct Kind {
        std::map<Stream, Decoder> decoders;
        std::set<Stream> reserved; // places whose decoder could not be made
        std::map<std::int32_t, Stream> ids;
        std::int32_t nextId = 0;
    };

    explicit PlacementModel(int threadCount)
        : decodersOnThread(static_cast<std::size_t>(threadCount), 0)
    {
    }

    /// The creation of a handle. @return its id.
    std::int32_t create(Kind &kind, Stream stream, int flags)
    {
        if (kind.decoders.count(stream) == 0) {
            const int thread = leastLoadedThread();
            ++decodersOnThread[static_cast<std::size_t>(thread)];
            const bool isExcluded = (flags & CreationFlags::ExcludeFromTuning) != 0;
            kind.reserved.erase(stream);
            kind.decoders[stream] = {_nextSerial++, thread, flags, isExcluded || performanceMode, {}};
        }
        const std::int32_t id = kind.nextId;
        kind.ids[id] = stream;
        kind.decoders[stream].outputs.push_back(id);
        advance(kind);
        return id;
    }

    /// Whether the creation of a handle makes a decoder, or joins one.
    static bool makesDecoder(const Kind &kind, Stream stream) { return kind.decoders.count(stream) == 0; }

    /// The creation of a handle whose decoder cannot be made.
    void failToCreate(Kind &kind, Stream stream)
    {
        ++decodersOnThread[static_cast<std::size_t>(leastLoadedThread())];
        kind.reserved.insert(stream);
    }

    void drop(Kind &kind, std::int32_t id)
    {
        const auto known = kind.ids.find(id);
        if (known == kind.ids.end())
            return;
        const Stream stream = known->second;
        kind.ids.erase(known);

        Decoder &decoder = kind.decoders.at(stream);
        std::vector<std::int32_t> remaining;
        for (const std::int32_t output : decoder.outputs) {
            if (output != id)
                remaining.push_back(output);
        }
        decoder.outputs = remaining;
        if (remaining.empty()) {
            --decodersOnThread[static_cast<std::size_t>(decoder.thread)];
            kind.decoders.erase(stream);
        }
    }

    void switchMode(bool toPerformanceMode)
    {
        performanceMode = toPerformanceMode;
        for (Kind *kind : {&video, &audio}) {
            for (auto &decoder : kind->decoders) {
                if ((decoder.second.flags & CreationFlags::ExcludeFromTuning) == 0)
                    decoder.second.performanceMode = toPerformanceMode;
            }
        }
    }

    /// Numbers of decoders on the threads stay as they are.
    void stop()
    {
        for (Kind *kind : {&video, &audio}) {
            kind->decoders.clear();
            kind->reserved.clear();
            kind->ids.clear();
        }
    }

    /// A place whose decoder could not be made counts as one.
    int decoderCount() const
    {
        return static_cast<int>(video.decoders.size() + video.reserved.size() + audio.decoders.size() +
                                audio.reserved.size());
    }

    Kind video;
    Kind audio;
    std::vector<int> decodersOnThread;
    bool performanceMode = true;

private:
    /// The first of those with the fewest decoders.
    int leastLoadedThread() const
    {
        int best = 0;
        for (int thread = 1; thread < static_cast<int>(decodersOnThread.size()); ++thread) {
            if (decodersOnThread[static_cast<std::size_t>(thread)] < decodersOnThread[static_cast<std::size_t>(best)])
                best = thread;
        }
        return best;
    }

    /// To the next id. Only the first step from the largest number leads to 0; those that skip ids in use go through
    /// the negative numbers.
    static void advance(Kind &kind)
    {
        kind.nextId = kind.nextId == INT32_MAX || kind.nextId < -1 ? 0 : kind.nextId + 1;
        while (kind.ids.count(kind.nextId) != 0)
            kind.nextId = kind.nextId == INT32_MAX ? INT32_MIN : kind.nextId + 1;
    }

    int _nextSerial = 0;
};

#endif
