#include "CodecStreamFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class VideoStreamDecoderTest : public CodecStreamFixture<VideoStream> {
protected:
    VideoStreamDecoderTest() { makeDecoder(); }
};

} // namespace

TEST_F(VideoStreamDecoderTest, DecodesStreamZero)
{
    EXPECT_EQ(decoder->_streamId, 0u);
    FakeInputQueue::Block audio = block("AAC ", true);
    audio.streamId = 8;
    EXPECT_THAT(cycle(audio), IsEmpty());
    EXPECT_EQ(decoder->_cursor.word0, 1u);
    EXPECT_THAT(cycle(block("H264", true)),
                ElementsAre("create video 'H264'", "decode KEY 'H264' at 0, 0 to 0 outputs"));
}

TEST_F(VideoStreamDecoderTest, NamelessDecoderIsNamedByItsAddress)
{
    makeDecoder(0, "");
    const QString name = QString::asprintf("VideoDecoder @%p", static_cast<void *>(decoder.get()));
    EXPECT_EQ(decoder->objectName(), name);
    EXPECT_EQ(decoder->_arrivalStatistic._name, name);
}

TEST_F(VideoStreamDecoderTest, GeneratedNameOwnsTheIndications)
{
    indicationManager = ModkitPtr<IIndicationManager>(new FakeIndicationManager(&log));
    makeDecoder(0, "");
    EXPECT_EQ(log.take().front(), "create DecoderMode of " + decoder->objectName().toStdString() + " = 0");
}

TEST_F(VideoStreamDecoderTest, CreationIsReportedWithTheCharactersInTheOrderOfTheBlock)
{
    QByteArray data;
    for (const int byte : {0x48, 0x32, 0x36, 0x34})
        data.append(static_cast<char>(byte));
    cycle(block(data.constData(), true));
    EXPECT_THAT(messages.take(), ElementsAre("debug: Created video decoder H264"));
}

TEST_F(VideoStreamDecoderTest, FailedCreationIsReportedAtDebugLevelForEachKeyBlock)
{
    formats->refusing = true;
    cycle(block("H264", true));
    EXPECT_THAT(messages.take(), ElementsAre("debug: Failed to create video decoder H264"));
    cycle(block("x", false));
    EXPECT_THAT(messages.take(), IsEmpty());
    cycle(block("VP80", true));
    EXPECT_THAT(messages.take(), ElementsAre("debug: Failed to create video decoder VP80"));
}

TEST_F(VideoStreamDecoderTest, BytesOfAFourccAboveAsciiAreReportedAsUnsignedCharacters)
{
    decoder->createCodecDecoder(0xffe94180);
    EXPECT_THAT(messages.take(), ElementsAre("debug: Created video decoder \xc2\x80"
                                             "A\xc3\xa9\xc3\xbf"));
}

TEST_F(VideoStreamDecoderTest, DiscardIsReportedEvenWithoutACodecDecoder)
{
    decoder->discardCodecDecoder();
    EXPECT_THAT(messages.take(), ElementsAre("debug: Decoder discarded"));
    decoder->createCodecDecoder(h264);
    messages.take();
    decoder->discardCodecDecoder();
    EXPECT_THAT(messages.take(), ElementsAre("debug: Decoder discarded"));
}

TEST_F(VideoStreamDecoderTest, EmptyBlockWithoutACodecDecoderReportsADiscardToo)
{
    addOutput(1, "left");
    EXPECT_THAT(cycle(block("", false)), ElementsAre("push null at 0, 0 to left"));
    EXPECT_THAT(messages.take(), ElementsAre("debug: Decoder discarded"));
}

TEST_F(VideoStreamDecoderTest, ChangeOfFourccReportsTheDiscardAndTheCreation)
{
    cycle(block("H264", true));
    cycle(block("H264", true));
    messages.take();
    cycle(block("VP80", true));
    EXPECT_THAT(messages.take(), ElementsAre("debug: Decoder discarded", "debug: Created video decoder VP80"));
}

TEST_F(VideoStreamDecoderTest, DestructionReportsNothing)
{
    cycle(block("H264", true));
    messages.take();
    decoder.reset();
    EXPECT_THAT(messages.take(), IsEmpty());
}
