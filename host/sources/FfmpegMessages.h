#ifndef HOST_SOURCES_FFMPEGMESSAGES_H
#define HOST_SOURCES_FFMPEGMESSAGES_H

#include <cstdarg>
#include <string>

/// What the FFmpeg libraries say of an input in messages only: a demuxer that comes upon the end of the file too early
/// tells so in no other way, nor does one that misses datagrams or parts of a playlist. Their messages are shown
/// nowhere from the first object of this class on, in the whole process. Belongs to an input; reentrant.
class FfmpegMessages final {
public:
    FfmpegMessages();
    FfmpegMessages(const FfmpegMessages &) = delete;
    FfmpegMessages &operator=(const FfmpegMessages &) = delete;
    ~FfmpegMessages() = default;

    /// Takes the messages of this thread while it lives. There is one at a time on a thread.
    class Listening final {
    public:
        /// What was noticed before is forgotten, except for missing parts. @param context whose complaints are of
        /// interest.
        Listening(FfmpegMessages &messages, const void *context);
        Listening(const Listening &) = delete;
        Listening &operator=(const Listening &) = delete;
        ~Listening();
    };

    /// @return what was found wrong with the file; empty when there was nothing.
    const std::string &complaint() const { return _complaint; }
    /// @return what was wrong with the value of an option; empty when there was nothing.
    const std::string &wrongValue() const { return _wrongValue; }
    /// @return whether the format of the file was one that was not allowed.
    bool hasRefusedFormat() const { return _hasRefusedFormat; }
    /// @return whether something is missing: datagrams, or a part of a playlist.
    bool hasNoticedGap() const { return _hasNoticedGap; }
    /// @return the first message of them all that tells of a missing part of a playlist.
    const std::string &missingPart() const { return _missingPart; }

private:
    static void take(void *sender, int level, const char *format, va_list arguments);

    const void *_context = nullptr;
    std::string _complaint;
    std::string _wrongValue;
    bool _hasRefusedFormat = false;
    bool _hasNoticedGap = false;
    std::string _missingPart;
};

#endif
