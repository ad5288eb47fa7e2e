#include <QMutexLocker>

#include <functional>
#include <map>
#include <new>
#include <optional>
#include <stdexcept>

#include "DecodingManagerFixture.h"
#include "fakes/FailingAllocation.h"
#include "fakes/HangGuard.h"
#include "fakes/LimitedThreadStarts.h"
#include "fakes/WaitUntil.h"

// Requests that run out of memory, at each of their allocations in turn.

namespace {

using testing::ElementsAre;

} // namespace

template <class Kind>
class DecodingManagerMemoryTest : public DecodingManagerKindTest<Kind> {
protected:
    using Queue = ModkitPtr<IInputQueue>;
    using Output = ModkitPtr<typename Kind::OutputQueue>;
    using Handle = ModkitPtr<IDecoder>;

    /// Calls @p round with 0, 1, 2, ... allocations that succeed before one fails, each time with a manager of its own,
    /// until it returns that none has failed.
    void untilNoneFails(const std::function<bool(int)> &round)
    {
        int before = -1;
        for (bool failed = true; failed;) {
            SCOPED_TRACE("after " + std::to_string(++before) + " allocations");
            begin();
            failed = round(before);
            end();
        }
        EXPECT_GT(before, 5) << "what takes no memory proves nothing";
    }

    /// @return the handle; nothing when the failed allocation has reached the client.
    std::optional<Handle> request(const Queue &queue, const Output &output, int before)
    {
        const FailingAllocation failure(before);
        try {
            const Handle handle = this->create(queue, output);
            EXPECT_FALSE(failure.hasFailed());
            EXPECT_FALSE(handle.isNull());
            return handle;
        } catch (const std::bad_alloc &) {
            EXPECT_TRUE(failure.hasFailed());
            return std::nullopt;
        }
    }

    /// Puts two empty blocks into @p queue. @return the pushes that follow, @p pushes at least.
    std::vector<std::string> feed(FakeInputQueue &queue, std::size_t pushes)
    {
        FakeInputQueue::Block block;
        block.streamId = Kind::streamId;
        this->log.take();
        queue.append(block);
        queue.append(block);
        std::vector<std::string> calls;
        EXPECT_TRUE(waitUntil([&] {
            const std::vector<std::string> more = this->log.take();
            calls.insert(calls.end(), more.begin(), more.end());
            return calls.size() >= pushes;
        }));
        return calls;
    }

    static std::string pushTo(const char *output) { return std::string("push null at 0, 0 to ") + output; }

private:
    void SetUp() override { this->component.reset(); }

    void begin()
    {
        _liveBefore = RecordedTrace::liveByTypeName();
        this->setIndicationManager(new FakeIndicationManager);
        this->component = ModkitPtr<IComponent>(new DecodingManager);
        EXPECT_TRUE(this->init());
    }

    void end()
    {
        this->stop();
        this->component.reset();
        this->registry.objects[indicationManagerId].reset();
        EXPECT_EQ(RecordedTrace::liveByTypeName(), _liveBefore);
    }

    const HangGuard _hangGuard{"A request without memory"};
    std::map<std::string, int> _liveBefore;
};
TYPED_TEST_SUITE(DecodingManagerMemoryTest, Kinds, KindNames);

TYPED_TEST(DecodingManagerMemoryTest, ANewDecoderLeavesAnEmptyPlaceAtMost)
{
    this->untilNoneFails([this](int before) {
        auto *const blocks = new FakeInputQueue;
        const ModkitPtr<IInputQueue> queue(blocks);
        const auto refused = this->newOutput("refused");
        if (this->request(queue, refused, before))
            return false;
        EXPECT_EQ(this->lockState(), "unlocked");
        EXPECT_TRUE(this->decoders()._byId.isEmpty());
        EXPECT_EQ(this->decoders().count(), this->decoders()._byQueue.contains(queue));
        EXPECT_EQ(this->decoders()._byQueue.value(queue), nullptr);
        const bool isPlaceLeft = this->decoders().count() == 1;
        const QVector<int> counts{isPlaceLeft ? 1 : 0, 0};
        EXPECT_EQ(this->counts(), counts);
        EXPECT_EQ(refused._counter->strongCount, 1) << "the test's";

        ModkitPtr<IDecoder> handle = this->create(queue, this->newOutput("next"));
        EXPECT_EQ(this->decoderOf(handle)->_outputs.size(), 1);
        EXPECT_EQ(this->decoderOf(handle)->_outputIds.size(), 1);
        EXPECT_THAT(this->feed(*blocks, 2), ElementsAre(this->pushTo("next"), this->pushTo("next")));
        handle.reset();
        EXPECT_EQ(this->manager().decoderCount(), 0);
        EXPECT_EQ(this->counts(), counts);
        return true;
    });
}

TYPED_TEST(DecodingManagerMemoryTest, ARunningDecoderGoesOnWithItsOldOutputs)
{
    this->untilNoneFails([this](int before) {
        auto *const blocks = new FakeInputQueue;
        const ModkitPtr<IInputQueue> queue(blocks);
        ModkitPtr<IDecoder> old = this->create(queue, this->newOutput("old"));
        EXPECT_THAT(this->feed(*blocks, 2), ElementsAre(this->pushTo("old"), this->pushTo("old")));
        auto *const decoder = this->decoderOf(old);
        {
            const QMutexLocker lock(&decoder->_outputsMutex);
            decoder->_outputs.squeeze(); // so that both vectors have to grow
            decoder->_outputIds.squeeze();
        }
        const auto refused = this->newOutput("refused");
        if (this->request(queue, refused, before))
            return false;
        EXPECT_EQ(this->lockState(), "unlocked");
        EXPECT_EQ(this->decoders().count(), 1);
        EXPECT_EQ(this->decoders()._byId.size(), 1);
        EXPECT_EQ(decoder->_outputs.size(), 1);
        EXPECT_THAT(decoder->_outputIds, ElementsAre(static_cast<quint32>(this->idOf(old))));
        EXPECT_EQ(this->counts(), (QVector<int>{1, 0}));
        EXPECT_EQ(refused._counter->strongCount, 1) << "the test's";
        EXPECT_THAT(this->feed(*blocks, 2), ElementsAre(this->pushTo("old"), this->pushTo("old")));

        ModkitPtr<IDecoder> next = this->create(queue, this->newOutput("next"));
        EXPECT_EQ(decoder->_outputs.size(), 2);
        EXPECT_EQ(decoder->_outputIds.size(), 2);
        EXPECT_THAT(this->feed(*blocks, 4),
                    ElementsAre(this->pushTo("old"), this->pushTo("next"), this->pushTo("old"), this->pushTo("next")));
        old.reset();
        EXPECT_THAT(this->feed(*blocks, 2), ElementsAre(this->pushTo("next"), this->pushTo("next")));
        next.reset();
        EXPECT_EQ(this->manager().decoderCount(), 0);
        EXPECT_EQ(this->counts(), (QVector<int>{0, 0}));
        return true;
    });
}

TEST_F(DecodingManagerTest, ANegativeThreadsSettingIsAVeryLargeCount)
{
    setThreads(-1);
    {
        const LimitedThreadStarts enough(3);
        EXPECT_THROW(init(), std::runtime_error);
    }
    EXPECT_EQ(manager()._threads.size(), 3) << "and more, had they been let";
    manager().endThreads();
}
