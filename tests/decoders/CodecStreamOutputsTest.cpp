#include <QCoreApplication>
#include <QThread>

#include <functional>

#include "CodecStreamFixture.h"
#include "fakes/WatchingDispatcher.h"

// What the video and the audio stream decoder do alike with their outputs.

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

template <class Stream>
class CodecStreamOutputsTest : public CodecStreamFixture<Stream> {
protected:
    void SetUp() override { this->makeDecoder(); }
};

TYPED_TEST_SUITE(CodecStreamOutputsTest, Streams, StreamNames);

/// Notes the events that its object receives, and lets them pass.
class EventProbe : public QObject {
public:
    std::vector<int> types;

    bool eventFilter(QObject * /*watched*/, QEvent *event) override
    {
        types.push_back(event->type());
        return false;
    }
};

/// An output that calls back within its destructor.
template <class Stream>
class MortalOutput : public Stream::OutputQueue {
public:
    explicit MortalOutput(const std::function<void()> &duringDestruction)
        : _duringDestruction(duringDestruction)
    {
    }
    ~MortalOutput() override { _duringDestruction(); }
    void push(const typename Stream::BufferHandle & /*buffer*/, qint64 /*timestamp*/, qint64 /*blockTime*/) override {}

private:
    std::function<void()> _duringDestruction;
};

} // namespace

TYPED_TEST(CodecStreamOutputsTest, AddedOutputsStandInTheOrderOfRegistration)
{
    const auto left = this->output("left");
    const auto right = this->output("right");
    this->decoder->addOutput(9, left);
    this->decoder->addOutput(2, right);
    EXPECT_THAT(this->decoder->_outputIds, ElementsAre(9u, 2u));
    EXPECT_THAT(this->decoder->_outputs, ElementsAre(left, right));
    EXPECT_EQ(left._counter->strongCount, 2);
}

TYPED_TEST(CodecStreamOutputsTest, AddOutputPostsOneWakeUpEventThatRunsACycle)
{
    EventProbe probe;
    this->decoder->installEventFilter(&probe);
    this->queue->append(this->block("x", false));
    this->addOutput(1, "left");
    EXPECT_THAT(probe.types, IsEmpty());
    EXPECT_EQ(this->decoder->_cursor.word0, 0u);
    QCoreApplication::sendPostedEvents(this->decoder.get());
    EXPECT_THAT(probe.types, ElementsAre(1000));
    EXPECT_EQ(this->decoder->_cursor.word0, 1u);
}

TYPED_TEST(CodecStreamOutputsTest, AddOutputPostsTheEventUnderTheLockAndAfterTheRegistration)
{
    QThread thread; // never started, so that it does not delete its dispatcher
    const auto dispatcher = std::make_unique<WatchingDispatcher>();
    thread.setEventDispatcher(dispatcher.get());
    this->decoder->moveToThread(&thread);
    std::vector<bool> lockedDuringPost;
    dispatcher->duringPost = [&] {
        lockedDuringPost.push_back(isOutputsLocked(*this->decoder));
        EXPECT_THAT(this->decoder->_outputIds, ElementsAre(1u));
        EXPECT_THAT(this->decoder->_outputs, SizeIs(1));
    };
    this->addOutput(1, "left");
    EXPECT_THAT(lockedDuringPost, ElementsAre(true));
    EXPECT_FALSE(isOutputsLocked(*this->decoder));
    dispatcher->duringPost = nullptr;
    this->decoder.reset();
}

TYPED_TEST(CodecStreamOutputsTest, RemoveOutputReleasesThatOutputAndKeepsTheOrderOfTheRest)
{
    this->addOutput(1, "first");
    this->addOutput(2, "second");
    this->addOutput(3, "third");
    this->addOutput(4, "fourth");
    EXPECT_EQ(this->decoder->removeOutput(2), 3);
    EXPECT_THAT(this->log.take(), ElementsAre("second gone"));
    EXPECT_THAT(this->decoder->_outputIds, ElementsAre(1u, 3u, 4u));
    EXPECT_THAT(this->decode(""),
                ElementsAre("push null at 0, 0 to first", "push null at 0, 0 to third", "push null at 0, 0 to fourth"));
    EXPECT_EQ(this->decoder->removeOutput(1), 2);
    EXPECT_THAT(this->log.take(), ElementsAre("first gone"));
    EXPECT_THAT(this->decode(""), ElementsAre("push null at 0, 0 to third", "push null at 0, 0 to fourth"));
    EXPECT_EQ(this->decoder->removeOutput(4), 1);
    EXPECT_THAT(this->log.take(), ElementsAre("fourth gone"));
}

TYPED_TEST(CodecStreamOutputsTest, RemoveOutputOfAnUnknownIdChangesNothing)
{
    EXPECT_EQ(this->decoder->removeOutput(0), 0);
    this->addOutput(1, "left");
    this->addOutput(2, "right");
    EXPECT_EQ(this->decoder->removeOutput(3), 2);
    EXPECT_EQ(this->decoder->removeOutput(2), 1);
    EXPECT_EQ(this->decoder->removeOutput(2), 1);
    EXPECT_EQ(this->decoder->removeOutput(1), 0);
    EXPECT_EQ(this->decoder->removeOutput(1), 0);
    EXPECT_THAT(this->log.take(), ElementsAre("right gone", "left gone"));
}

TYPED_TEST(CodecStreamOutputsTest, RemoveOutputTakesTheFirstMatchOnly)
{
    this->addOutput(1, "left");
    this->addOutput(2, "middle");
    this->addOutput(2, "right");
    EXPECT_EQ(this->decoder->removeOutput(2), 2);
    EXPECT_THAT(this->log.take(), ElementsAre("middle gone"));
    EXPECT_THAT(this->decoder->_outputIds, ElementsAre(1u, 2u));
}

TYPED_TEST(CodecStreamOutputsTest, OneQueueMayBeAnOutputTwice)
{
    const auto twice = this->output("twice");
    this->decoder->addOutput(1, twice);
    this->decoder->addOutput(2, twice);
    EXPECT_THAT(this->decode(""), ElementsAre("push null at 0, 0 to twice", "push null at 0, 0 to twice"));
    EXPECT_EQ(this->decoder->removeOutput(1), 1);
    EXPECT_EQ(twice._counter->strongCount, 2);
}

TYPED_TEST(CodecStreamOutputsTest, RemoveOutputReleasesTheOutputUnderTheLock)
{
    std::vector<bool> locked;
    this->decoder->addOutput(1, ModkitPtr<typename TypeParam::OutputQueue>(new MortalOutput<TypeParam>(
                                    [&] { locked.push_back(isOutputsLocked(*this->decoder)); })));
    this->decoder->removeOutput(1);
    EXPECT_THAT(locked, ElementsAre(true));
    EXPECT_FALSE(isOutputsLocked(*this->decoder));
}
