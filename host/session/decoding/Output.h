#ifndef DECODING_OUTPUT_H
#define DECODING_OUTPUT_H

#include <chrono>
#include <string>

#include <decoding/Export.h>

namespace decoding {

/// Where the library itself puts what it decodes. An input writes to its outputs whether or not anybody reads its
/// frames.
struct DECODING_EXPORT Output {
    enum class Kind {
        Null,     // counts the frames
        FrameMd5, // a checksum of each frame
        Y4m,      // pictures, not compressed
        Raw,      // pictures or samples without any header
        Wav,      // samples
        Png       // a snapshot of a picture now and then
    };

    Kind kind = Kind::Null;
    /// That the files are written to; made where it is missing. "-" stands for the standard output of the program
    /// instead, which can hold one stream of one input, and no Png.
    std::string directory = ".";
    std::chrono::milliseconds snapshotInterval{10000}; // of Png, at least 1

    /// @param text `KIND[:DIR]`, as in "y4m", "framemd5:/tmp/sums" and "png@0.5:shots" for a snapshot every half
    ///         second.
    /// @throws Error, which quotes @p text. Thread-safe.
    static Output parse(const std::string &text);

    /// @return the word for its kind, such as "framemd5".
    const char *kindName() const;
    bool isStandardOutput() const;
    bool takesVideo() const;
    bool takesAudio() const;
};

} // namespace decoding

#endif
