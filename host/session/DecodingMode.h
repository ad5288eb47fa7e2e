#ifndef HOST_SESSION_DECODINGMODE_H
#define HOST_SESSION_DECODINGMODE_H

/// How much the tuned decoders decode: every block, or only key blocks.
enum class DecodingMode { Performance, TimeSaving };

/// @return the mode as people read and write it.
constexpr const char *toText(DecodingMode mode)
{
    return mode == DecodingMode::Performance ? "performance" : "time-saving";
}

#endif
