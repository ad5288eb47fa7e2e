#include <QCoreApplication>
#include <QEvent>
#include <QThread>

#include <stdexcept>
#include <string>
#include <vector>

#include "DecodingManagerFixture.h"
#include "RecordedAssertions.h"
#include "fakes/RuntimeReport.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const char *const noThread = "DecodingManager:403: !_decodersPerThread.empty()";

/// Ends a decoder that was placed nowhere, as the thread that it does not have would.
void endDecoderWithoutThread(BaseSingleStreamDecoder *decoder)
{
    decoder->moveToThread(QThread::currentThread());
    QCoreApplication::sendPostedEvents(decoder, QEvent::MetaCall);
    delete decoder;
}

} // namespace

TEST_F(DecodingManagerTest, TheThreadWithTheFewestDecodersIsChosenTheFirstOnATie)
{
    struct Choice {
        QVector<int> counts;
        int thread;
    };
    for (const Choice &choice :
         {Choice{{2, 1, 1}, 1}, Choice{{0, 0, 0}, 0}, Choice{{1, 0, 0}, 1}, Choice{{2, 2, 1}, 2}, Choice{{1, 2, 1}, 0},
          Choice{{3, 2, 1}, 2}, Choice{{1, -1, 0}, 1}, Choice{{0, 5}, 0}, Choice{{5}, 0}}) {
        manager()._decodersPerThread = choice.counts;
        EXPECT_EQ(manager().chooseDecoderThread(), choice.thread) << testing::PrintToString(choice.counts);
    }
}

TEST_F(DecodingManagerTest, DecodersOfBothKindsAreSpreadOverTheThreads)
{
    setThreads(3);
    EXPECT_TRUE(init());
    std::vector<quint32> threads;
    for (int round = 0; round < 2; ++round) {
        threads.push_back(placeVideoDecoder()->threadIndex());
        threads.push_back(placeAudioDecoder()->threadIndex());
    }
    EXPECT_THAT(threads, ElementsAre(0U, 1U, 2U, 0U));
    EXPECT_EQ(manager()._decodersPerThread, (QVector<int>{2, 1, 1}));
    threads.push_back(placeVideoDecoder()->threadIndex());
    EXPECT_EQ(threads.back(), 1U);
}

TEST_F(DecodingManagerTest, ASingleThreadTakesEveryDecoder)
{
    setThreads(1);
    EXPECT_TRUE(init());
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(placeVideoDecoder()->threadIndex(), 0U);
        EXPECT_EQ(placeAudioDecoder()->threadIndex(), 0U);
    }
    EXPECT_EQ(manager()._decodersPerThread, QVector<int>{4});
}

template <class Kind>
using DecodingManagerAssertionTest = DecodingManagerKindTest<Kind>;
TYPED_TEST_SUITE(DecodingManagerAssertionTest, Kinds, KindNames);

TYPED_TEST(DecodingManagerAssertionTest, EmptyQueuesAreReportedBeforeTheLockIsTaken)
{
    EXPECT_TRUE(this->init());
    const RecordedAssertions assertions([this](const std::string &assertion) {
        this->log.add(assertion + ", " + this->lockState());
        throw std::runtime_error(assertion);
    });
    const ModkitPtr<typename TypeParam::OutputQueue> noOutput;
    const std::string expected = std::string(TypeParam::assertion) + ", unlocked";
    this->log.take();
    EXPECT_THROW(this->create(ModkitPtr<IInputQueue>(), this->newOutput("left")), std::runtime_error);
    EXPECT_THAT(this->log.take(), ElementsAre(expected, "left gone"));
    EXPECT_THROW(this->create(this->newQueue(), noOutput), std::runtime_error);
    EXPECT_THAT(this->log.take(), ElementsAre(expected));
    EXPECT_THROW(this->create(ModkitPtr<IInputQueue>(), noOutput), std::runtime_error);
    EXPECT_THAT(this->log.take(), ElementsAre(expected));
    EXPECT_EQ(this->decoders().count(), 0);
}

TYPED_TEST(DecodingManagerAssertionTest, EmptyQueuesAreReportedByAManagerThatIsNotInitialisedToo)
{
    const RecordedAssertions assertions([this](const std::string &assertion) { this->log.add(assertion); });
    EXPECT_TRUE(this->create(ModkitPtr<IInputQueue>()).isNull());
    EXPECT_THAT(this->log.take(), ElementsAre(TypeParam::assertion));
}

TYPED_TEST(DecodingManagerAssertionTest, NoQueueIsReportedWhenBothAreThere)
{
    EXPECT_TRUE(this->init());
    const RecordedAssertions assertions([this](const std::string &assertion) { this->log.add(assertion); });
    this->log.take();
    this->place();
    EXPECT_THAT(this->log.take(), IsEmpty());
}

TYPED_TEST(DecodingManagerAssertionTest, WhereTheReportReturnsADecoderWithAnEmptyOutputIsCreated)
{
    EXPECT_TRUE(this->init());
    const RecordedAssertions assertions([this](const std::string &assertion) { this->log.add(assertion); });
    this->log.take();
    const ModkitPtr<IDecoder> handle = this->create(this->newQueue(), ModkitPtr<typename TypeParam::OutputQueue>());
    EXPECT_THAT(this->log.take(), ElementsAre(TypeParam::assertion));
    ASSERT_FALSE(handle.isNull());
    EXPECT_EQ(this->decoderOf(handle)->_outputs.size(), 1);
}

TYPED_TEST(DecodingManagerAssertionTest, AnEmptyPoolIsReportedUnderTheLock)
{
    this->setThreads(0);
    EXPECT_TRUE(this->init());
    const RecordedAssertions assertions([this](const std::string &assertion) {
        this->log.add(assertion + ", " + this->lockState());
        throw std::runtime_error(assertion);
    });
    this->log.take();
    EXPECT_THROW(this->create(this->newQueue()), std::runtime_error);
    EXPECT_THAT(this->log.take(), ElementsAre(std::string(noThread) + ", locked"));
    EXPECT_EQ(this->lockState(), "unlocked");
    EXPECT_TRUE(this->counts().isEmpty());
}

TYPED_TEST(DecodingManagerAssertionTest, WhereTheReportsReturnADecoderWithoutThreadAndQueueIsCreatedAndReleased)
{
    this->setThreads(0);
    EXPECT_TRUE(this->init());
    const RecordedAssertions assertions([this](const std::string &assertion) { this->log.add(assertion); });
    this->log.take();
    ModkitPtr<IDecoder> handle = this->create(ModkitPtr<IInputQueue>());
    EXPECT_THAT(this->log.take(), ElementsAre(TypeParam::assertion, noThread));
    ASSERT_FALSE(handle.isNull());
    auto *const decoder = this->decoderOf(handle);
    EXPECT_EQ(decoder->threadIndex(), 0U);
    EXPECT_EQ(decoder->thread(), nullptr);
    EXPECT_EQ(this->manager().decoderCount(), 1);
    handle.reset();
    EXPECT_EQ(this->manager().decoderCount(), 0);
    EXPECT_TRUE(this->counts().isEmpty());
    EXPECT_TRUE(decoder->_disposing);
    endDecoderWithoutThread(decoder);
}

TEST_F(DecodingManagerTest, ByDefaultAFailedAssertionEndsTheProcess)
{
    setThreads(0);
    EXPECT_DEATH(create<Video>(Queue()),
                 isRuntimeReport("!inputQueue.isNull() && !outputQueue.isNull()", "DecodingManager", 156));
    EXPECT_DEATH(create<Audio>(Queue()),
                 isRuntimeReport("!inputQueue.isNull() && !outputQueue.isNull()", "DecodingManager", 193));
    EXPECT_TRUE(init());
    EXPECT_DEATH(create<Video>(newQueue()), isRuntimeReport("!_decodersPerThread.empty()", "DecodingManager", 403));
}
