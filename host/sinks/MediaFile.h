#ifndef HOST_SINKS_MEDIAFILE_H
#define HOST_SINKS_MEDIAFILE_H

#include <memory>
#include <optional>
#include <string>

#include "sinks/MediaForm.h"

struct AVFormatContext;
struct AVPacket;
struct AVRational;

/// One way to write a stream's packets into a file.
struct FileFormat {
    const char *muxer;  // libavformat's name
    const char *suffix; // of the file name
    int codec;          // AVCodecID of the packets
    bool anyForm;       // whether the form of packets may change within a file
};

/// One file with one stream in it, written by one of libavformat's muxers. Each packet goes to the system at once, so
/// that a failure is that of the packet alone. Failures are one line that names the file. Reentrant.
class MediaFile final {
public:
    MediaFile(std::string path, const FileFormat &format);
    /// Closes the file as it is.
    ~MediaFile();
    MediaFile(const MediaFile &) = delete;
    MediaFile &operator=(const MediaFile &) = delete;

    /// Creates the file, or empties the one that is there.
    [[nodiscard]] std::optional<std::string> create();
    /// Writes the header. Pictures get the frame duration as time base, samples their period, unless the muxer wants
    /// another.
    [[nodiscard]] std::optional<std::string> begin(const MediaForm &form);
    bool hasBegun() const { return _begun; }
    /// Writes @p packet, whose time stamps are in units of timeBase(). Without room for it, nothing of it stays in the
    /// file, and another one may be written.
    [[nodiscard]] std::optional<std::string> write(AVPacket *packet);
    /// Writes the trailer if the file has begun, and closes it.
    [[nodiscard]] std::optional<std::string> finish();

    /// Whether the latest `begin` or `write` failed for want of room, which may pass.
    bool lacksRoom() const { return _lacksRoom; }
    /// After a `begin` that lacked room: makes the file as it was before that.
    void recreate();

    // Once the file has begun.

    AVRational timeBase() const;
    /// The least time stamp that may follow the time stamp @p last.
    qint64 leastAfter(qint64 last) const;

private:
    std::optional<std::string> unlessGood(int code, const std::string &what = "cannot write") const;
    int flush(int code);
    void takeBack(qint64 size);
    int close();

    const std::string _path;
    const FileFormat &_format;
    AVFormatContext *_context = nullptr;
    bool _begun = false;
    bool _lacksRoom = false;
};

#endif
