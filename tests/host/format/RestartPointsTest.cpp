#include "format/RestartPoints.h"

#include <memory>
#include <vector>

#include <gtest/gtest.h>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace {

using Units = std::vector<std::vector<std::uint8_t>>;

const std::vector<std::uint8_t> h264Sets = {0x67, 1, 2};
const std::vector<std::uint8_t> h264Picture = {0x68, 3};
const std::vector<std::uint8_t> h264Idr = {0x65, 0, 0, 3, 1, 9};
const std::vector<std::uint8_t> h264Other = {0x41, 9};
const std::vector<std::uint8_t> h264Sei = {0x06, 5};

/// Finds the restart points of packets that are put together from their units.
class RestartPointsTest : public testing::Test {
protected:
    /// @param hasRecord whether the container has a configuration record: 4 bytes of length before each unit.
    void begin(AVCodecID codec, bool hasRecord)
    {
        _hasRecord = hasRecord;
        parameters->codec_id = codec;
        if (hasRecord) {
            parameters->extradata = static_cast<std::uint8_t *>(av_mallocz(64));
            parameters->extradata_size = 40;
            parameters->extradata[0] = 1;
            parameters->extradata[codec == AV_CODEC_ID_HEVC ? 21 : 4] = 0xff;
        }
        points = std::make_unique<RestartPoints>(*parameters);
    }
    void TearDown() override
    {
        avcodec_parameters_free(&parameters);
        av_packet_free(&packet);
    }

    bool isAt(const Units &units)
    {
        bytes.clear();
        for (const auto &unit : units) {
            const auto length = static_cast<std::uint8_t>(unit.size());
            const std::vector<std::uint8_t> before =
                _hasRecord ? std::vector<std::uint8_t>{0, 0, 0, length} : std::vector<std::uint8_t>{0, 0, 1};
            bytes.insert(bytes.end(), before.begin(), before.end());
            bytes.insert(bytes.end(), unit.begin(), unit.end());
        }
        packet->data = bytes.data();
        packet->size = static_cast<int>(bytes.size());
        return points->isAt(*packet);
    }

    AVCodecParameters *parameters = avcodec_parameters_alloc();
    AVPacket *packet = av_packet_alloc();
    std::vector<std::uint8_t> bytes;
    std::unique_ptr<RestartPoints> points;

private:
    bool _hasRecord = false;
};

} // namespace

TEST_F(RestartPointsTest, OfH264InAContainerAreItsIdrPictures)
{
    begin(AV_CODEC_ID_H264, true);
    EXPECT_TRUE(isAt({h264Sei, h264Idr, h264Idr}));
    EXPECT_FALSE(isAt({h264Sei, h264Other}));
    EXPECT_FALSE(isAt({h264Idr, h264Other}));
    EXPECT_FALSE(isAt({h264Sei}));
    EXPECT_TRUE(isAt({h264Idr}));
}

TEST_F(RestartPointsTest, OfAByteStreamBringTheirParameterSets)
{
    begin(AV_CODEC_ID_H264, false);
    EXPECT_TRUE(isAt({h264Sets, h264Picture, h264Idr}));
    EXPECT_FALSE(isAt({h264Sets, h264Idr}));
}

TEST_F(RestartPointsTest, AreOverOnceParameterSetsComeElsewhere)
{
    begin(AV_CODEC_ID_H264, false);
    EXPECT_FALSE(isAt({h264Other}));
    EXPECT_TRUE(isAt({h264Sets, h264Picture, h264Idr}));
    EXPECT_FALSE(isAt({h264Picture, h264Other}));
    EXPECT_FALSE(isAt({h264Sets, h264Picture, h264Idr}));
}

TEST_F(RestartPointsTest, BringTheirSetsInAContainerToo)
{
    begin(AV_CODEC_ID_H264, true);
    EXPECT_TRUE(isAt({h264Sets, h264Picture, h264Idr}));
    EXPECT_FALSE(isAt({h264Idr}));
}

TEST_F(RestartPointsTest, AreOverOnceAPacketBringsAnotherConfiguration)
{
    begin(AV_CODEC_ID_H264, true);
    av_packet_new_side_data(packet, AV_PKT_DATA_NEW_EXTRADATA, 8);
    EXPECT_FALSE(isAt({h264Idr}));
    av_packet_free_side_data(packet);
    EXPECT_FALSE(isAt({h264Idr}));
}

TEST_F(RestartPointsTest, OfHevcMayHavePicturesBeforeThemThatReferAcross)
{
    begin(AV_CODEC_ID_HEVC, true);
    for (const int type : {16, 19, 20, 21})
        EXPECT_TRUE(isAt({{static_cast<std::uint8_t>(type << 1), 1, 9}})) << type;
    for (const int type : {0, 1, 8, 9, 22, 31, 39})
        EXPECT_FALSE(isAt({{static_cast<std::uint8_t>(type << 1), 1, 9}})) << type;
}

TEST_F(RestartPointsTest, AreNotFoundInWhatIsCutOff)
{
    begin(AV_CODEC_ID_H264, true);
    EXPECT_FALSE(isAt({}));
    static_cast<void>(isAt({h264Idr}));
    packet->size = 3;
    EXPECT_FALSE(points->isAt(*packet));
    packet->size = 6;
    EXPECT_FALSE(points->isAt(*packet));
}
