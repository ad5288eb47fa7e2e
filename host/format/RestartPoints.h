#ifndef HOST_FORMAT_RESTARTPOINTS_H
#define HOST_FORMAT_RESTARTPOINTS_H

#include <cstdint>

struct AVCodecParameters;
struct AVPacket;

/// Finds the packets of an H.264 or HEVC stream from which on a fresh codec makes the same pictures as one that has
/// decoded all that came before: nothing behind them, in the order of showing, refers to anything before them, and they
/// bring all parameter sets that a fresh codec would not have. Reentrant.
class RestartPoints final {
public:
    explicit RestartPoints(const AVCodecParameters &codec);

    /// To be called with each packet in turn. @return whether @p packet is such a point.
    [[nodiscard]] bool isAt(const AVPacket &packet);

private:
    struct Content {
        bool isPicture = false; // there are slices,
        bool isRestart = true;  // of such pictures only
        unsigned int sets = 0;  // a bit for each kind
    };

    Content contentOf(const AVPacket &packet) const;
    void addUnit(std::uint8_t firstByte, Content &content) const;

    const bool _isHevc;
    const int _lengthBytes; // before each unit; 0: start codes
    bool _areSetsInBand;
    bool _areSetsScattered = false; // a fresh codec would lack some that came on their own
};

#endif
