#ifndef DECODERS_CYCLEFIXTURE_H
#define DECODERS_CYCLEFIXTURE_H

#include <memory>
#include <string>
#include <vector>

#include "decoders/LoggingDecoder.h"
#include "fakes/FakeIndications.h"
#include "fakes/FakeInputQueue.h"
#include "fakes/FakeWallClock.h"
#include <gmock/gmock.h>

/// A LoggingDecoder between a fake queue and fake indications that all write to one log. Its cycles run when a test
/// says so, on a wall clock that stands still at startMs.
class CycleFixture : public testing::Test {
protected:
    static constexpr qint64 startMs = 1700000000000;

    CycleFixture() { FakeWallClock::set(startMs); }

    void makeDecoder(int flags, bool performanceMode)
    {
        decoder = std::make_unique<LoggingDecoder>(log, indicationManager, inputQueue, flags, performanceMode);
        log.take();
    }

    /// A paced decoder whose catch-up is over, and whose next block is due at startMs + (its block time -
    /// referenceTimeMs).
    void makePacedDecoder(bool performanceMode = true)
    {
        makeDecoder(CreationFlags::Paced, performanceMode);
        decoder->_catchingUp = false;
        decoder->_referenceTime = referenceTimeMs;
        decoder->_referenceWallClock = startMs;
    }

    static FakeInputQueue::Block block(const char *data, qint64 blockTime = 0)
    {
        FakeInputQueue::Block made;
        made.data = data;
        made.blockTime = blockTime;
        made.streamId = LoggingDecoder::ownStreamId;
        return made;
    }

    static FakeInputQueue::Block keyBlock(const char *data, qint64 latency = 0, qint64 blockTime = 0)
    {
        FakeInputQueue::Block made = block(data, blockTime);
        made.keyBlock = true;
        made.latency = latency;
        return made;
    }

    static FakeInputQueue::Block otherStreamBlock(const char *data)
    {
        FakeInputQueue::Block made = block(data);
        made.streamId = LoggingDecoder::ownStreamId + 1;
        return made;
    }

    /// Runs one cycle over @p input, which is appended to the queue. @return the calls of the cycle.
    std::vector<std::string> cycle(const FakeInputQueue::Block &input)
    {
        queue->append(input);
        return cycle();
    }

    std::vector<std::string> cycle()
    {
        decoder->runCycle();
        return log.take();
    }

    /// The calls of one cycle that begin with @p name.
    static std::vector<std::string> only(const std::string &name, const std::vector<std::string> &calls)
    {
        std::vector<std::string> chosen;
        for (const std::string &call : calls) {
            if (call.compare(0, name.size(), name) == 0)
                chosen.push_back(call);
        }
        return chosen;
    }

    static constexpr qint64 referenceTimeMs = 9000;

    CallLog log;
    FakeIndicationManager *indications = new FakeIndicationManager(&log);
    ModkitPtr<IIndicationManager> indicationManager{indications};
    FakeInputQueue *queue = new FakeInputQueue(&log);
    ModkitPtr<IInputQueue> inputQueue{queue};
    std::unique_ptr<LoggingDecoder> decoder;
};

#endif
