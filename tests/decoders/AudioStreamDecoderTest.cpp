#include "CodecStreamFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class AudioStreamDecoderTest : public CodecStreamFixture<AudioStream> {
protected:
    AudioStreamDecoderTest() { makeDecoder(); }
};

} // namespace

TEST_F(AudioStreamDecoderTest, DecodesStreamEight)
{
    EXPECT_EQ(decoder->_streamId, 8u);
    FakeInputQueue::Block video = block("H264", true);
    video.streamId = 0;
    EXPECT_THAT(cycle(video), IsEmpty());
    EXPECT_EQ(decoder->_cursor.word0, 1u);
    EXPECT_THAT(cycle(block("AAC ", true)),
                ElementsAre("create audio 'AAC '", "decode KEY 'AAC ' at 0, 0 to 0 outputs"));
}

TEST_F(AudioStreamDecoderTest, OneInputQueueFeedsAVideoAndAnAudioDecoder)
{
    VideoStreamDecoder video(context, formatManager, indicationManager, inputQueue, 3, 0, true, QString());
    FakeInputQueue::Block frame = block("H264", true);
    frame.streamId = 0;
    queue->append(frame);
    queue->append(block("AAC ", true));
    video.runCycle();
    EXPECT_THAT(log.take(), ElementsAre("create video 'H264'", "decode KEY 'H264' at 0, 0 to 0 outputs"));
    decoder->runCycle();
    EXPECT_THAT(log.take(), ElementsAre("create audio 'AAC '", "decode KEY 'AAC ' at 0, 0 to 0 outputs"));
    video.runCycle();
    decoder->runCycle();
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(AudioStreamDecoderTest, NamelessDecoderIsNamedByItsAddress)
{
    makeDecoder(0, "");
    const QString name = QString::asprintf("AudioDecoder @%p", static_cast<void *>(decoder.get()));
    EXPECT_EQ(decoder->objectName(), name);
    EXPECT_EQ(decoder->_arrivalStatistic._name, name);
}

TEST_F(AudioStreamDecoderTest, GeneratedNameOwnsTheIndications)
{
    indicationManager = ModkitPtr<IIndicationManager>(new FakeIndicationManager(&log));
    makeDecoder(0, "");
    EXPECT_EQ(log.take().front(), "create DecoderMode of " + decoder->objectName().toStdString() + " = 0");
}

TEST_F(AudioStreamDecoderTest, CreationAndDiscardAreSilent)
{
    cycle(block("AAC ", true));
    cycle(block("MP3 ", true));
    cycle(block("", false));
    decoder->discardCodecDecoder();
    EXPECT_THAT(messages.take(), IsEmpty());
}

TEST_F(AudioStreamDecoderTest, FailedCreationIsWarnedOfOnceForEachKeyBlock)
{
    formats->refusing = true;
    QByteArray data;
    for (const int byte : {0x41, 0x41, 0x43, 0x20})
        data.append(static_cast<char>(byte));
    cycle(block(data.constData(), true));
    EXPECT_THAT(messages.take(), ElementsAre("warning: Failed to create decoder for fourcc AAC "));
    cycle(block("x", false));
    cycle(block("", false));
    EXPECT_THAT(messages.take(), IsEmpty());
    cycle(block("MP3 ", true));
    EXPECT_THAT(messages.take(), ElementsAre("warning: Failed to create decoder for fourcc MP3 "));
}

TEST_F(AudioStreamDecoderTest, BytesOfAFourccAboveAsciiAreReportedAsUnsignedCharacters)
{
    formats->refusing = true;
    decoder->createCodecDecoder(0xffe94180);
    EXPECT_THAT(messages.take(), ElementsAre("warning: Failed to create decoder for fourcc \xc2\x80"
                                             "A\xc3\xa9\xc3\xbf"));
}

TEST_F(AudioStreamDecoderTest, FailedReplacementWarnsOnly)
{
    cycle(block("AAC ", true));
    formats->refusing = true;
    cycle(block("MP3 ", true));
    EXPECT_THAT(messages.take(), ElementsAre("warning: Failed to create decoder for fourcc MP3 "));
    EXPECT_FALSE(decoder->hasCodecDecoder());
}

TEST_F(AudioStreamDecoderTest, DestructionReportsNothing)
{
    cycle(block("AAC ", true));
    decoder.reset();
    EXPECT_THAT(messages.take(), IsEmpty());
}
