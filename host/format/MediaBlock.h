#ifndef HOST_FORMAT_MEDIABLOCK_H
#define HOST_FORMAT_MEDIABLOCK_H

#include <QByteArray>
#include <QtGlobal>

#include <optional>
#include <vector>

struct AVCodecParameters;
struct AVPacket;

/// The blocks that the reference host's queues carry: what its sources pack, and its codec decoders unpack. Blocks live
/// within one process, in its byte order, and mean nothing to the decoding manager except for a key block's fourcc.
///
/// Layout: in a key block the fourcc (4 bytes), then in every block a header of fixed size, the stream's parameters
/// (key blocks only), the packet's side data, the coded bytes, and the zeroed padding that libavcodec wants behind
/// them, so that it reads the coded bytes where they are.
///
/// Several key blocks of the same fourcc, one behind the other, are a key block, too, and several others another one: a
/// burst, whose packets are decoded in one go.
namespace MediaBlock {

/// What a codec decoder must know of its stream beside the coded bytes.
struct Parameters {
    /// Names the stream in reports, such as "camera1.mp4 video".
    QByteArray origin;
    /// The unit of the packets' time stamps, in seconds.
    int timeBaseNumerator = 0;
    int timeBaseDenominator = 1;
    /// Frames in a second, 0 / 1 when unknown or not of video.
    int frameRateNumerator = 0;
    int frameRateDenominator = 1;
    /// Width to height of a sample as the container tells it; 0 / 1 when it tells nothing.
    int sampleAspectNumerator = 0;
    int sampleAspectDenominator = 1;
    /// Tells streams of one origin apart, such as those of a file that is read once more.
    quint32 source = 0;
};

/// @return @p parameters and @p codec as they travel in key blocks. Made once for a stream; equal streams give equal
///         bytes, so a codec decoder compares them to notice a change.
QByteArray packParameters(const Parameters &parameters, const AVCodecParameters &codec);

/// Reads back what packParameters packed. @param codec allocated by the caller, is overwritten.
/// @return nothing when the bytes are not such parameters.
std::optional<Parameters> unpackParameters(const QByteArray &bytes, AVCodecParameters *codec);

/// @return @p packet as a key block, at which decoding can start.
QByteArray packKeyBlock(quint32 fourcc, const QByteArray &parameters, const AVPacket &packet);
/// @return @p packet as a block that continues the stream.
QByteArray packBlock(const AVPacket &packet);

/// A block on its way into a burst.
struct Part {
    QByteArray block;
    qint64 blockTimeMs = 0;
};

/// @return whether @p next, which like @p first is no burst and not empty, may come behind it in one.
bool canJoin(const QByteArray &first, const QByteArray &next, bool keyBlocks);
/// @return the burst of all @p parts, two or more. Its block time is the first one's.
QByteArray join(const std::vector<Part> &parts, bool keyBlocks);

/// Where in a block its next packet is found.
struct Position {
    int offset = 0;
    /// How much later than the block's the time of the packet is that was unpacked last.
    qint64 sinceBlockTimeMs = 0;
};

/// Makes @p packet refer to the coded bytes in @p block, without a copy; the packet keeps the block's bytes alive. Time
/// stamps, flags and side data are as they were packed.
/// @param parameters when @p keyBlock, receives the packed parameters; they share nothing with the block.
/// @param position of the packet; moved behind it. Null: the block is no burst.
/// @return false, @p packet empty, when the bytes are not such a block: a queue lies, or it is not of this host.
bool unpack(const QByteArray &block, bool keyBlock, AVPacket *packet, QByteArray *parameters,
            Position *position = nullptr);

} // namespace MediaBlock

#endif
