#ifndef FAKES_FAKEOUTPUTQUEUE_H
#define FAKES_FAKEOUTPUTQUEUE_H

#include <string>

#include "fakes/CallLog.h"
#include "interfaces/IAudioOutputQueue.h"
#include "interfaces/IVideoOutputQueue.h"

/// Logs each push as "push null at 0, 0 to left" or "push frame at 1, 2 to left", and its destruction as "left gone".
template <class OutputQueue, class BufferHandle>
class FakeOutputQueue : public OutputQueue {
public:
    explicit FakeOutputQueue(const std::string &name, CallLog *log = nullptr)
        : _name(name)
        , _log(log)
    {
    }
    ~FakeOutputQueue() override { note(_name + " gone"); }

    void push(const BufferHandle &buffer, qint64 timestamp, qint64 blockTime) override
    {
        note(std::string("push ") + (buffer.isNull() ? "null" : "frame") + " at " + std::to_string(timestamp) + ", " +
             std::to_string(blockTime) + " to " + _name);
    }

private:
    void note(const std::string &call)
    {
        if (_log)
            _log->add(call);
    }

    std::string _name;
    CallLog *_log;
};

using FakeVideoOutputQueue = FakeOutputQueue<IVideoOutputQueue, VideoFrameHandle>;
using FakeAudioOutputQueue = FakeOutputQueue<IAudioOutputQueue, AudioSampleHandle>;

#endif
