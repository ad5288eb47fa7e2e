#ifndef BENCH_CLIP_H
#define BENCH_CLIP_H

#include <QByteArray>

#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
}

/// The video of a media file, read into memory before anything is measured: as packets for libavcodec or as the host's
/// blocks for the component, both with the same coded bytes. Constant once read, so thread-safe.
class Clip final {
public:
    enum class Form { Packets, Blocks };

    /// What the blocks call their stream.
    static constexpr char origin[] = "clip";

    struct Block {
        QByteArray data;
        bool keyBlock = false;
        qint64 timestamp = 0;
    };

    struct FreePacket {
        void operator()(AVPacket *packet) const { av_packet_free(&packet); }
    };
    struct FreeParameters {
        void operator()(AVCodecParameters *parameters) const { avcodec_parameters_free(&parameters); }
    };
    using Packet = std::unique_ptr<AVPacket, FreePacket>;

    /// Reads the first @p count packets of the best video stream of @p path, all of them when there are fewer. Only the
    /// form that is asked for is kept, so that either side of a comparison holds the bytes once.
    /// @return the clip, or one line that says what is wrong.
    [[nodiscard]] static std::variant<Clip, std::string> read(const std::string &path, int count, Form form);

    const AVCodecParameters &parameters() const { return *_parameters; }
    AVRational timeBase() const { return _timeBase; }
    const std::vector<Packet> &packets() const { return _packets; }
    const std::vector<Block> &blocks() const { return _blocks; }

private:
    Clip() = default;

    std::unique_ptr<AVCodecParameters, FreeParameters> _parameters;
    AVRational _timeBase = {0, 1};
    std::vector<Packet> _packets;
    std::vector<Block> _blocks;
};

#endif
