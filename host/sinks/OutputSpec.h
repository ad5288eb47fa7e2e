#ifndef HOST_SINKS_OUTPUTSPEC_H
#define HOST_SINKS_OUTPUTSPEC_H

#include <chrono>
#include <string>
#include <variant>

/// One output as the user asks for it: `KIND[:DIRECTORY]`, for snapshots `png[@SECONDS][:DIRECTORY]`, such as
/// `framemd5`, `wav:/data/sound` or `png@2.5:shots`. Without a directory, files go into the current one; `null` takes
/// none. The directory `-` stands for the standard output, which holds one stream; not for pictures as PNG.
struct OutputSpec {
    enum Kind {
        /// Counts, and writes nothing.
        Null,
        /// A line with time stamp, size and MD5 for each picture or run of samples.
        FrameMd5,
        /// Pictures as YUV4MPEG2.
        Y4m,
        /// The bytes of pictures or samples, one after the other.
        Raw,
        /// Samples as 16-bit WAVE.
        Wav,
        /// A picture as PNG every so many seconds.
        Png
    };

    Kind kind = Null;
    std::string directory = "."; // in the bytes of the file system
    std::chrono::milliseconds snapshotInterval = std::chrono::seconds(10);

    /// @return the output, or one line that quotes @p text and says what is wrong.
    [[nodiscard]] static std::variant<OutputSpec, std::string> parse(const std::string &text);

    /// The kind as the user writes it.
    const char *kindName() const;

    /// Instead of files.
    bool isStandardOutput() const { return directory == "-"; }

    bool takesVideo() const { return kind != Wav; }
    bool takesAudio() const { return kind != Y4m && kind != Png; }
};

#endif
