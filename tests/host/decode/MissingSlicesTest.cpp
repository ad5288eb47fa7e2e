#include <array>
#include <set>

#include "DecodeFixture.h"
#include <gmock/gmock.h>

namespace {

using testing::IsSubsetOf;

using MissingSlices = DecodeFixture;

constexpr int pictures = 100;
constexpr int wholePictures = 9;
constexpr int pictureBytes = 640 * 480 * 3 / 2;

/// @return the HEVC byte stream @p coded without the slices but the first one of all pictures behind @p wholePictures.
QByteArray firstSlicesOf(const QByteArray &coded)
{
    const QByteArray startCode("\0\0\1", 3);
    QByteArray kept;
    int picture = 0;
    for (int at = coded.indexOf(startCode); at >= 0;) {
        const int next = coded.indexOf(startCode, at + 3);
        const QByteArray unit = coded.mid(at, next < 0 ? -1 : next - at);
        const bool isSlice = (unit.at(3) >> 1 & 0x3f) < 32;
        const bool isFirstSlice = isSlice && (unit.at(5) & 0x80) != 0;
        picture += isFirstSlice ? 1 : 0;
        if (!isSlice || isFirstSlice || picture <= wholePictures)
            kept += unit;
        at = next;
    }
    EXPECT_EQ(picture, pictures);
    return kept;
}

/// @return the values of all bytes from @p begin to @p end.
std::set<int> valuesIn(const QByteArray &bytes, int begin, int end)
{
    std::array<bool, 256> isThere = {};
    for (const char *byte = bytes.constData() + begin; byte != bytes.constData() + end; ++byte)
        isThere[static_cast<quint8>(*byte)] = true;
    std::set<int> values;
    for (int value = 0; value < 256; ++value) {
        if (isThere[static_cast<std::size_t>(value)])
            values.insert(value);
    }
    return values;
}

} // namespace

TEST_F(MissingSlices, ShowNothingOfTheStreamBeside)
{
    const QByteArray whole = read(generate("grey.h265", "-f lavfi -i color=c=gray:size=640x480:rate=25:duration=4 "
                                                        "-c:v libx265 -preset ultrafast -pix_fmt yuv420p -x265-params "
                                                        "slices=4:log-level=none"));
    const QByteArray cut = firstSlicesOf(whole);
    ASSERT_LT(cut.size(), whole.size());
    const QString grey = write("cut.h265", cut);
    // Which blocks come to whom depends on the threads that write the pictures.
    for (int round = 0; round < 3; ++round) {
        const QString directory = path(QStringLiteral("out-%1").arg(round));
        const HostRun run =
            HostRun::decode({"--threads", "1", "--output", "raw:" + directory, sample("cup.mp4"), grey});
        run.expectNothingLeft();
        const QByteArray raw = read(directory + "/cut.video.raw");
        ASSERT_EQ(raw.size(), pictures * pictureBytes);
        // The grey of its own pictures, and zeros where nobody has drawn before.
        std::set<int> own = valuesIn(raw, 0, wholePictures * pictureBytes);
        ASSERT_LE(own.size(), 3U);
        own.insert(0);
        EXPECT_THAT(valuesIn(raw, 0, raw.size()), IsSubsetOf(own));
    }
}
