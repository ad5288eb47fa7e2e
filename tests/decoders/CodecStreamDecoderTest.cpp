#include <functional>

#include "CodecStreamFixture.h"

// What the video and the audio stream decoder do alike with their codec decoder.

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

template <class Stream>
class CodecStreamDecoderTest : public CodecStreamFixture<Stream> {
protected:
    void SetUp() override { this->makeDecoder(); }
};

TYPED_TEST_SUITE(CodecStreamDecoderTest, Streams, StreamNames);

/// An output that calls back within each push.
template <class Stream>
class ProbingOutput : public Stream::OutputQueue {
public:
    explicit ProbingOutput(const std::function<void()> &duringPush)
        : _duringPush(duringPush)
    {
    }
    void push(const typename Stream::BufferHandle & /*buffer*/, qint64 /*timestamp*/, qint64 /*blockTime*/) override
    {
        _duringPush();
    }

private:
    std::function<void()> _duringPush;
};

/// A codec decoder that calls back within its destructor.
template <class Stream>
class MortalCodec : public Stream::CodecDecoder {
public:
    explicit MortalCodec(const std::function<void()> &duringDestruction)
        : _duringDestruction(duringDestruction)
    {
    }
    ~MortalCodec() override { _duringDestruction(); }
    void decode(const QByteArray & /*data*/, bool /*keyBlock*/, qint64 /*timestamp*/, qint64 /*blockTime*/,
                const ModkitPtr<typename Stream::OutputQueue> * /*outputs*/, int /*outputCount*/) override
    {
    }

private:
    std::function<void()> _duringDestruction;
};

} // namespace

TYPED_TEST(CodecStreamDecoderTest, HandsItsArgumentsToTheBase)
{
    this->makeDecoder(6);
    EXPECT_EQ(this->decoder->_context, this->context);
    EXPECT_EQ(this->decoder->_indicationManager, this->indicationManager);
    EXPECT_EQ(this->decoder->inputQueue(), this->inputQueue);
    EXPECT_EQ(this->decoder->threadIndex(), 3u);
    EXPECT_EQ(this->decoder->flags(), 6);
    EXPECT_TRUE(this->decoder->_performanceMode);
    EXPECT_EQ(this->decoder->objectName(), QString::fromLatin1("camera 1"));
    const typename TypeParam::Decoder timeSaving(this->context, this->formatManager, this->indicationManager,
                                                 this->inputQueue, 3, 6, false, QString());
    EXPECT_FALSE(timeSaving._performanceMode);
}

TYPED_TEST(CodecStreamDecoderTest, BeginsWithoutOutputsAndCodecDecoder)
{
    EXPECT_EQ(this->decoder->_formatManager, this->formatManager);
    EXPECT_TRUE(this->decoder->_outputs.isEmpty());
    EXPECT_TRUE(this->decoder->_outputIds.isEmpty());
    EXPECT_FALSE(this->decoder->hasCodecDecoder());
}

TYPED_TEST(CodecStreamDecoderTest, CodecDecoderIsCreatedThroughTheFormatManager)
{
    this->decoder->createCodecDecoder(this->h264);
    EXPECT_THAT(this->log.take(), ElementsAre(TypeParam::createCall));
    EXPECT_TRUE(this->decoder->hasCodecDecoder());
}

TYPED_TEST(CodecStreamDecoderTest, CreationReplacesTheCodecDecoder)
{
    this->decoder->createCodecDecoder(this->h264);
    this->log.take();
    this->decoder->createCodecDecoder(this->h264);
    EXPECT_THAT(this->log.take(), ElementsAre(TypeParam::createCall, "codec gone"));
    EXPECT_TRUE(this->decoder->hasCodecDecoder());
}

TYPED_TEST(CodecStreamDecoderTest, FailedCreationLeavesNoCodecDecoder)
{
    this->decoder->createCodecDecoder(this->h264);
    this->log.take();
    this->formats->refusing = true;
    this->decoder->createCodecDecoder(this->h264);
    EXPECT_THAT(this->log.take(), ElementsAre(TypeParam::createCall, "codec gone"));
    EXPECT_FALSE(this->decoder->hasCodecDecoder());
}

TYPED_TEST(CodecStreamDecoderTest, DiscardReleasesTheCodecDecoderWithoutADrain)
{
    this->decoder->createCodecDecoder(this->h264);
    this->addOutput(1, "left");
    this->log.take();
    this->decoder->discardCodecDecoder();
    EXPECT_THAT(this->log.take(), ElementsAre("codec gone"));
    EXPECT_FALSE(this->decoder->hasCodecDecoder());
    this->decoder->discardCodecDecoder();
    EXPECT_THAT(this->log.take(), IsEmpty());
}

TYPED_TEST(CodecStreamDecoderTest, CodecDecoderIsAlreadyGoneFromTheDecoderWhenItIsDestroyed)
{
    std::vector<bool> heldDuringDestruction;
    this->decoder->_codecDecoder = ModkitPtr<typename TypeParam::CodecDecoder>(
        new MortalCodec<TypeParam>([&] { heldDuringDestruction.push_back(this->decoder->hasCodecDecoder()); }));
    this->decoder->discardCodecDecoder();
    EXPECT_THAT(heldDuringDestruction, ElementsAre(false));
}

TYPED_TEST(CodecStreamDecoderTest, CodecGetsTheBlockAndAllOutputs)
{
    this->decoder->createCodecDecoder(this->h264);
    this->addOutput(1, "left");
    this->addOutput(2, "right");
    this->log.take();
    EXPECT_THAT(this->decode("H264", true), ElementsAre("decode KEY 'H264' at 5, 6 to 2 outputs"));
    EXPECT_THAT(this->decode("x"), ElementsAre("decode 'x' at 5, 6 to 2 outputs"));
}

TYPED_TEST(CodecStreamDecoderTest, CodecGetsTheOutputsOwnStorageAndTheVectorDoesNotDetach)
{
    const typename TypeParam::OutputQueue *first = nullptr;
    std::vector<const void *> storages;
    TypeParam::duringDecode(*this->formats) = [&](const QByteArray &, const auto *outputs, int) {
        storages.push_back(outputs);
        first = outputs->data();
    };
    this->decoder->createCodecDecoder(this->h264);
    const auto left = this->output("left");
    this->decoder->addOutput(1, left);
    const auto reader = this->decoder->_outputs; // shares the storage
    const void *const storage = reader.constData();

    this->decode("x");
    this->decode("");
    this->decode("y", false, true);
    EXPECT_THAT(storages, ElementsAre(storage, storage, storage));
    EXPECT_EQ(first, left.data());
    EXPECT_EQ(this->decoder->_outputs.constData(), storage);
}

TYPED_TEST(CodecStreamDecoderTest, CodecGetsCountZeroAndStorageWhileCatchingUp)
{
    this->decoder->createCodecDecoder(this->h264);
    this->addOutput(1, "left");
    this->log.take();
    EXPECT_THAT(this->decode("H264", true, true), ElementsAre("decode KEY 'H264' at 5, 6 to 0 outputs"));
}

TYPED_TEST(CodecStreamDecoderTest, CodecGetsCountZeroAndStorageWithoutOutputs)
{
    this->decoder->createCodecDecoder(this->h264);
    this->log.take();
    EXPECT_THAT(this->decode("x"), ElementsAre("decode 'x' at 5, 6 to 0 outputs"));
    this->addOutput(1, "left");
    this->decoder->removeOutput(1);
    this->log.take();
    EXPECT_THAT(this->decode("x"), ElementsAre("decode 'x' at 5, 6 to 0 outputs"));
}

TYPED_TEST(CodecStreamDecoderTest, CodecGetsACopyOfTheArrayThatSharesItsBytes)
{
    const QByteArray data("block");
    const QByteArray *given = nullptr;
    QByteArray kept;
    TypeParam::duringDecode(*this->formats) = [&](const QByteArray &array, const auto *, int) {
        given = &array;
        kept = array;
    };
    this->decoder->createCodecDecoder(this->h264);
    this->decoder->decodeBlock(data, false, 0, 0, false);
    EXPECT_NE(given, &data);
    EXPECT_EQ(kept.constData(), data.constData());
}

TYPED_TEST(CodecStreamDecoderTest, BlocksWithoutACodecDecoderGoNowhere)
{
    this->addOutput(1, "left");
    EXPECT_THAT(this->decode("H264", true), IsEmpty());
    EXPECT_THAT(this->decode("x"), IsEmpty());
}

TYPED_TEST(CodecStreamDecoderTest, EmptyBlockGoesToTheCodecFirstAndThenToEveryOutput)
{
    this->decoder->createCodecDecoder(this->h264);
    this->addOutput(1, "left");
    this->addOutput(2, "right");
    this->log.take();
    EXPECT_THAT(this->decode(""), ElementsAre("decode '' at 5, 6 to 2 outputs", "push null at 0, 0 to left",
                                              "push null at 0, 0 to right"));
}

TYPED_TEST(CodecStreamDecoderTest, EmptyBlockIsForwardedWithoutACodecDecoderToo)
{
    this->addOutput(1, "left");
    this->addOutput(2, "right");
    EXPECT_THAT(this->decode(""), ElementsAre("push null at 0, 0 to left", "push null at 0, 0 to right"));
    EXPECT_THAT(this->decode("", true), ElementsAre("push null at 0, 0 to left", "push null at 0, 0 to right"));
}

TYPED_TEST(CodecStreamDecoderTest, EmptyBlockIsNotForwardedWhileCatchingUp)
{
    this->decoder->createCodecDecoder(this->h264);
    this->addOutput(1, "left");
    this->log.take();
    EXPECT_THAT(this->decode("", false, true), ElementsAre("decode '' at 5, 6 to 0 outputs"));
    this->decoder->discardCodecDecoder();
    this->log.take();
    EXPECT_THAT(this->decode("", false, true), IsEmpty());
}

TYPED_TEST(CodecStreamDecoderTest, WhatTheCodecWasGivenIsGoneBeforeNullBlocksArePushed)
{
    QByteArray data;
    data.reserve(16); // an empty block that has bytes of its own
    std::vector<std::string> sharers;
    const auto note = [&](const char *when) {
        sharers.push_back(std::string(when) + ": block " + std::to_string(data.data_ptr()->ref.atomic.loadRelaxed()) +
                          ", outputs " + std::to_string(this->decoder->_outputs.d->ref.atomic.loadRelaxed()));
    };
    TypeParam::duringDecode(*this->formats) = [&](const QByteArray &, const auto *, int) { note("decode"); };
    this->decoder->createCodecDecoder(this->h264);
    this->decoder->addOutput(
        1, ModkitPtr<typename TypeParam::OutputQueue>(new ProbingOutput<TypeParam>([&] { note("push"); })));
    this->decoder->decodeBlock(data, false, 0, 0, false);
    note("end");
    EXPECT_THAT(sharers,
                ElementsAre("decode: block 2, outputs 1", "push: block 1, outputs 2", "end: block 1, outputs 1"));
}

TYPED_TEST(CodecStreamDecoderTest, NullBlocksGoToASnapshotOfTheOutputs)
{
    int pushes = 0;
    const auto meddle = [&] {
        ++pushes;
        this->decoder->_outputs.clear();
    };
    for (const quint32 id : {1, 2, 3})
        this->decoder->addOutput(id, ModkitPtr<typename TypeParam::OutputQueue>(new ProbingOutput<TypeParam>(meddle)));
    this->decode("");
    EXPECT_EQ(pushes, 3);
    this->decoder->_outputIds.clear();
}

TYPED_TEST(CodecStreamDecoderTest, OutputsAreLockedForTheWholeOfDecodeBlockOnly)
{
    std::vector<bool> locked;
    const auto probe = [&] { locked.push_back(isOutputsLocked(*this->decoder)); };
    TypeParam::duringDecode(*this->formats) = [&](const QByteArray &, const auto *, int) { probe(); };
    this->decoder->createCodecDecoder(this->h264);
    this->decoder->addOutput(1, ModkitPtr<typename TypeParam::OutputQueue>(new ProbingOutput<TypeParam>(probe)));
    this->decode("");
    EXPECT_THAT(locked, ElementsAre(true, true));
    EXPECT_FALSE(isOutputsLocked(*this->decoder));
}

TYPED_TEST(CodecStreamDecoderTest, CodecDecoderIsManagedWithoutTheOutputsLock)
{
    std::vector<bool> lockedDuringDestruction;
    this->decoder->_codecDecoder = ModkitPtr<typename TypeParam::CodecDecoder>(
        new MortalCodec<TypeParam>([&] { lockedDuringDestruction.push_back(isOutputsLocked(*this->decoder)); }));
    this->decoder->createCodecDecoder(this->h264);
    EXPECT_THAT(lockedDuringDestruction, ElementsAre(false));
    // Would hang if one of them took the lock.
    const QMutexLocker lock(&this->decoder->_outputsMutex);
    EXPECT_TRUE(this->decoder->hasCodecDecoder());
    this->decoder->discardCodecDecoder();
    EXPECT_FALSE(this->decoder->hasCodecDecoder());
}

TYPED_TEST(CodecStreamDecoderTest, CodecLivesFromOneKeyBlockToTheNextEmptyBlock)
{
    this->addOutput(1, "left");
    EXPECT_THAT(this->cycle(this->block("x", false)), IsEmpty());
    EXPECT_THAT(this->cycle(this->block("H264a", true)),
                ElementsAre(TypeParam::createCall, "decode KEY 'H264a' at 0, 0 to 1 outputs"));
    EXPECT_THAT(this->cycle(this->block("H264b", true)), ElementsAre("decode KEY 'H264b' at 0, 0 to 1 outputs"));
    EXPECT_THAT(this->cycle(this->block("", false)),
                ElementsAre("decode '' at 0, 0 to 1 outputs", "push null at 0, 0 to left", "codec gone"));
    EXPECT_THAT(this->cycle(this->block("", false)), ElementsAre("push null at 0, 0 to left"));
    EXPECT_THAT(this->cycle(this->block("H264c", true)),
                ElementsAre(TypeParam::createCall, "decode KEY 'H264c' at 0, 0 to 1 outputs"));
}

TYPED_TEST(CodecStreamDecoderTest, NewFourccDrainsTheOldCodecAndForwardsANullBlock)
{
    this->addOutput(1, "left");
    this->cycle(this->block("VP80", true));
    EXPECT_THAT(this->cycle(this->block("H264", true)),
                ElementsAre("decode '' at 0, 0 to 1 outputs", "push null at 0, 0 to left", "codec gone",
                            TypeParam::createCall, "decode KEY 'H264' at 0, 0 to 1 outputs"));
}

TYPED_TEST(CodecStreamDecoderTest, NewFourccForwardsNoNullBlockWhileCatchingUp)
{
    this->makeDecoder(CreationFlags::Paced);
    this->addOutput(1, "left");
    this->cycle(this->block("VP80", true));
    EXPECT_THAT(this->cycle(this->block("H264", true)),
                ElementsAre("decode '' at 0, 0 to 0 outputs", "codec gone", TypeParam::createCall,
                            "decode KEY 'H264' at 0, 0 to 0 outputs"));
}

TYPED_TEST(CodecStreamDecoderTest, FailedCreationIsRetriedAndNullBlocksAreStillForwarded)
{
    this->formats->refusing = true;
    this->addOutput(1, "left");
    EXPECT_THAT(this->cycle(this->block("H264", true)), ElementsAre(TypeParam::createCall));
    EXPECT_THAT(this->cycle(this->block("x", false)), IsEmpty());
    EXPECT_THAT(this->cycle(this->block("", false)), ElementsAre("push null at 0, 0 to left"));
    EXPECT_THAT(this->cycle(this->block("H264", true)), ElementsAre(TypeParam::createCall));
}

TYPED_TEST(CodecStreamDecoderTest, WorksWithoutOutputs)
{
    EXPECT_THAT(this->cycle(this->block("H264", true)),
                ElementsAre(TypeParam::createCall, "decode KEY 'H264' at 0, 0 to 0 outputs"));
    EXPECT_THAT(this->cycle(this->block("", false)), ElementsAre("decode '' at 0, 0 to 0 outputs", "codec gone"));
}

TYPED_TEST(CodecStreamDecoderTest, DestructionReleasesCodecThenOutputsFromTheLastThenTheFormatManager)
{
    {
        const ModkitPtr<IAVFormatManager> given(new MortalFormatManager(this->log));
        this->decoder = std::make_unique<typename TypeParam::Decoder>(this->context, given, this->indicationManager,
                                                                      this->inputQueue, 3, 0, true, QString());
    }
    this->addOutput(1, "left");
    this->addOutput(2, "middle");
    this->addOutput(3, "right");
    this->decoder->createCodecDecoder(this->h264);
    this->log.take();
    this->messages.take();
    this->decoder.reset();
    EXPECT_THAT(this->log.take(),
                ElementsAre("codec gone", "right gone", "middle gone", "left gone", "format manager gone"));
    EXPECT_THAT(this->messages.take(), IsEmpty());
}
