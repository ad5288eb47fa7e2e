#include <QPointer>

#include <stdexcept>

#include "DecodingManagerFixture.h"

namespace {

class ThrowingIndicationManager : public FakeIndicationManager {
public:
    bool isThrowing = true;

    ModkitPtr<IIndicationObject> createIndication(void *reserved, const QString &name, const QString &ownerName,
                                                  int initialValue) override
    {
        if (isThrowing && name == QLatin1String("DecoderCycle"))
            throw std::runtime_error("no indication");
        return FakeIndicationManager::createIndication(reserved, name, ownerName, initialValue);
    }
};

} // namespace

/// A manager whose first request for `queue` has failed in the decoder's construction.
template <class Kind>
class DecodingManagerFailureTest : public DecodingManagerKindTest<Kind> {
protected:
    void SetUp() override
    {
        this->setIndicationManager(indications);
        ASSERT_TRUE(this->init());
        EXPECT_THROW(this->create(queue), std::runtime_error);
        indications->isThrowing = false;
    }

    ThrowingIndicationManager *indications = new ThrowingIndicationManager;
    const ModkitPtr<IInputQueue> queue = this->newQueue();
};
TYPED_TEST_SUITE(DecodingManagerFailureTest, Kinds, KindNames);

TYPED_TEST(DecodingManagerFailureTest, LeavesTheLockFree)
{
    EXPECT_EQ(this->lockState(), "unlocked");
}

TYPED_TEST(DecodingManagerFailureTest, LeavesAnEmptyPlaceAndTheRaisedCount)
{
    EXPECT_EQ(this->decoders().count(), 1);
    ASSERT_TRUE(this->decoders()._byQueue.contains(this->queue));
    EXPECT_EQ(this->decoders()._byQueue.value(this->queue), nullptr);
    EXPECT_TRUE(this->decoders()._byId.isEmpty());
    EXPECT_EQ(this->decoders()._nextId, 0);
    EXPECT_EQ(this->counts(), (QVector<int>{1, 0}));
    EXPECT_EQ(this->queue._counter->strongCount, 2) << "the test's and the place's";
}

TYPED_TEST(DecodingManagerFailureTest, TheNextRequestFillsThePlace)
{
    const ModkitPtr<IDecoder> handle = this->create(this->queue);
    ASSERT_FALSE(handle.isNull());
    EXPECT_EQ(this->idOf(handle), 0);
    EXPECT_EQ(this->decoders().count(), 1);
    EXPECT_EQ(this->decoders()._byQueue.value(this->queue), this->decoderOf(handle));
    EXPECT_EQ(this->decoderOf(handle)->threadIndex(), 1U) << "the failed decoder still counts";
    EXPECT_EQ(this->counts(), (QVector<int>{1, 1}));
}

TYPED_TEST(DecodingManagerFailureTest, EveryWalkPassesOverTheEmptyPlace)
{
    auto *const decoder = this->place();
    decoder->_decodingTime = 5;
    decoder->_maxLatency = 6;
    decoder->_latencySum = 14;
    decoder->_latencyCount = 2;
    decoder->_decodedFlag = 1;
    decoder->_lostBlocks = 1;
    decoder->_expectedBlocks = 4;
    EXPECT_EQ(this->manager().decoderCount(), 2) << "the empty place is counted";
    EXPECT_EQ(this->manager().totalDecodingTime(), 5U);
    EXPECT_EQ(this->manager().maxLatency(), 6);
    EXPECT_EQ(this->manager().averageLatency(), 7);
    EXPECT_EQ(this->manager().anyBlockDecoded(), 1U);
    EXPECT_EQ(this->manager().maxLossRatio(), 0.25);
    this->manager().useTimeSavingMode();
    EXPECT_FALSE(decoder->_performanceMode);
    this->manager().usePerformanceMode();
    EXPECT_TRUE(decoder->_performanceMode);
}

TYPED_TEST(DecodingManagerFailureTest, StopEndsTheDecodersBehindEmptyPlaces)
{
    // In a hash table of addresses, some of the many places come before a decoder.
    QVector<QPointer<QObject>> decoders;
    for (int i = 0; i < 8; ++i) {
        this->indications->isThrowing = true;
        EXPECT_THROW(this->create(this->newQueue()), std::runtime_error);
        this->indications->isThrowing = false;
        decoders.append(QPointer<QObject>(this->place()));
    }
    this->stop();
    for (const QPointer<QObject> &decoder : qAsConst(decoders))
        EXPECT_TRUE(decoder.isNull());
    EXPECT_EQ(this->manager().decoderCount(), 0);
    EXPECT_EQ(this->queue._counter->strongCount, 1);
}
