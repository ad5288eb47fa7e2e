#include <QDir>

#include <memory>

#include "CutClip.h"
#include "DecoderRuns.h"
#include "Leavings.h"
#include "Recipes.h"
#include "slab/BigBlockCounts.h"
#include <gtest/gtest.h>

namespace {

// Two streams beside it that differ in every bit.
constexpr quint8 bright = 0xeb;
constexpr quint8 dark = 0x14;

/// Decoded at most of each clip. All pictures are kept, so that each is drawn in memory that the codec has not had
/// before.
constexpr int blocksOfClip = 40;

struct NamedCut {
    const char *name;
    Cut cut;
};

const NamedCut cuts[] = {
    {"the end of every packet is missing", [](const QByteArray &coded, int) { return coded.left(coded.size() / 2); }},
    {"the middle of every packet is missing",
     [](const QByteArray &coded, int) { return coded.left(coded.size() / 3) + coded.mid(coded.size() * 2 / 3); }},
    {"most of some packets is missing",
     [](const QByteArray &coded, int index) {
         return index % 4 == 2 || index % 4 == 3 ? coded.left(coded.size() / 8) : coded;
     }},
    {"some packets are missing",
     [](const QByteArray &coded, int index) { return index % 3 == 1 ? QByteArray() : coded; }},
};

/// What came out of one stream.
struct Outcome {
    /// Hashes of what can be seen or heard.
    std::vector<std::string> frames;
    /// Hashes of all bytes behind a picture's header, the invisible ones, too.
    std::vector<std::string> blocks;
    std::set<quint32> sizes;
};

std::string hashOf(const char *bytes, std::size_t size)
{
    const QByteArray data = QByteArray::fromRawData(bytes, static_cast<int>(size));
    return QCryptographicHash::hash(data, QCryptographicHash::Md5).toHex().toStdString();
}

Outcome decodedVideo(const Clip &clip, const std::vector<Clip::Block> &blocks, Leavings *leavings)
{
    FormatManager manager(std::make_shared<DamageCounts>());
    auto *const records = new PictureRecords;
    const std::vector<ModkitPtr<IVideoOutputQueue>> outputs{ModkitPtr<IVideoOutputQueue>(records)};
    const auto decoder = manager.createVideoCodecDecoder(fourccOf(*clip.parameters).value());
    for (const Clip::Block &block : blocks) {
        decoder->decode(block.data, block.keyBlock, 0, 0, outputs.data(), 1);
        if (leavings)
            leavings->goOn();
    }
    decoder->decode(QByteArray(), false, 0, 0, outputs.data(), 1);

    Outcome outcome;
    for (const PictureRecords::Entry &entry : records->entries) {
        const quint32 size = entry.frame->size;
        outcome.sizes.insert(size);
        outcome.frames.push_back(entry.hash);
        outcome.blocks.push_back(
            hashOf(static_cast<const char *>(entry.frame->data) + sizeof(PictureHeader), size - sizeof(PictureHeader)));
    }
    return outcome;
}

Outcome decodedAudio(const Clip &clip, const std::vector<Clip::Block> &blocks)
{
    FormatManager manager(std::make_shared<DamageCounts>());
    auto *const records = new SamplesRecords;
    const std::vector<ModkitPtr<IAudioOutputQueue>> outputs{ModkitPtr<IAudioOutputQueue>(records)};
    const auto decoder = manager.createAudioCodecDecoder(fourccOf(*clip.parameters).value());
    for (const Clip::Block &block : blocks)
        decoder->decode(block.data, block.keyBlock, 0, 0, outputs.data(), 1);
    decoder->decode(QByteArray(), false, 0, 0, outputs.data(), 1);

    Outcome outcome;
    for (const SamplesRecords::Entry &entry : records->entries) {
        const SamplesHeader *const header = SamplesHeader::of(*entry.samples);
        outcome.frames.push_back(hashOf(reinterpret_cast<const char *>(header->plane(0)),
                                        static_cast<std::size_t>(header->planeSize * header->planeCount)));
    }
    return outcome;
}

void expectSame(const std::vector<std::string> &left, const std::vector<std::string> &right)
{
    ASSERT_EQ(left.size(), right.size());
    for (std::size_t index = 0; index < left.size(); ++index)
        ASSERT_EQ(left[index], right[index]) << "frame " << index << " depends on what is beside it";
}

/// @return the number of pictures that were compared.
int expectVideoOfItsOwn(const Clip &clip, const Cut &cut)
{
    const std::vector<Clip::Block> blocks = cutBlocks(clip, blocksOfClip, cut);
    const std::set<quint32> sizes = decodedVideo(clip, blocks, nullptr).sizes;
    const auto beside = [&](quint8 inBlocks, quint8 inHeap) {
        Leavings leavings(inBlocks, inHeap, sizes, 2 * blocksOfClip);
        return decodedVideo(clip, blocks, &leavings);
    };
    const Outcome besideBright = beside(bright, bright);
    // A codec's rows on their way through the heap are longer than the picture is wide. So the bytes beside the picture
    // are compared with the heap as it was.
    expectSame(besideBright.blocks, beside(dark, bright).blocks);
    expectSame(besideBright.frames, beside(dark, dark).frames);
    EXPECT_EQ(slab::liveBlockCount(), 0U);
    return static_cast<int>(besideBright.frames.size());
}

int expectAudioOfItsOwn(const Clip &clip, const Cut &cut)
{
    const std::vector<Clip::Block> blocks = cutBlocks(clip, blocksOfClip, cut);
    const auto beside = [&](quint8 inHeap) {
        const Leavings leavings(0, inHeap, {}, 0);
        return decodedAudio(clip, blocks).frames;
    };
    const std::vector<std::string> besideBright = beside(bright);
    expectSame(besideBright, beside(dark));
    return static_cast<int>(besideBright.size());
}

/// @return the number of pictures and blocks of samples that were compared.
int expectFramesOfTheirOwn(const QString &path)
{
    int compared = 0;
    for (const NamedCut &each : cuts) {
        SCOPED_TRACE(each.name);
        if (const auto clip = Clip::read(path, AVMEDIA_TYPE_VIDEO, "video"))
            compared += expectVideoOfItsOwn(*clip, each.cut);
        if (const auto clip = Clip::read(path, AVMEDIA_TYPE_AUDIO, "audio"))
            compared += expectAudioOfItsOwn(*clip, each.cut);
    }
    return compared;
}

class DamagedBesideOthers : public testing::TestWithParam<Recipe> {
protected:
    void SetUp() override
    {
        if (!FfmpegTool::isInstalled())
            GTEST_SKIP() << "the ffmpeg command is not installed";
    }
};

class DamagedVideo : public DamagedBesideOthers {};
class DamagedAudio : public DamagedBesideOthers {};

TEST_P(DamagedVideo, ShowsNothingOfTheOthers)
{
    const GeneratedClip file(GeneratedClip::pictures, GetParam().encoding, GetParam().fileName);
    if (!file.isMade())
        GTEST_SKIP() << "this ffmpeg command cannot encode it";
    EXPECT_GT(expectFramesOfTheirOwn(file.path()), 0);
}

TEST_P(DamagedAudio, SoundsNothingOfTheOthers)
{
    const GeneratedClip file(GeneratedClip::tone, GetParam().encoding, GetParam().fileName);
    if (!file.isMade())
        GTEST_SKIP() << "this ffmpeg command cannot encode it";
    EXPECT_GT(expectFramesOfTheirOwn(file.path()), 0);
}

INSTANTIATE_TEST_SUITE_P(Codecs, DamagedVideo, testing::ValuesIn(videoRecipes), nameOf);
INSTANTIATE_TEST_SUITE_P(Codecs, DamagedAudio, testing::ValuesIn(audioRecipes), nameOf);

TEST(DamagedFilesBesideOthers, OfTheMediaFolderShowAndSoundNothingOfThem)
{
    const QString directory = qEnvironmentVariable("DECODING_MEDIA_DIR");
    if (directory.isEmpty())
        GTEST_SKIP() << "DECODING_MEDIA_DIR names no folder of media files";
    int compared = 0;
    for (const QFileInfo &file : QDir(directory).entryInfoList(QDir::Files)) {
        SCOPED_TRACE(file.fileName().toStdString());
        compared += expectFramesOfTheirOwn(file.filePath());
    }
    EXPECT_GT(compared, 0);
}

} // namespace
