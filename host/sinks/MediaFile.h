#ifndef HOST_SINKS_MEDIAFILE_H
#define HOST_SINKS_MEDIAFILE_H

#include <QtGlobal>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "sinks/MediaForm.h"
#include "sinks/OutputFile.h"

struct AVFormatContext;
struct AVIOContext;
struct AVPacket;
struct AVRational;

/// One way to write a stream's packets into a file.
struct FileFormat {
    const char *muxer;   // libavformat's name
    const char *suffix;  // of the file name
    int codec;           // AVCodecID of the packets
    bool anyForm;        // whether the form of packets may change within a file
    qint64 maxBytes = 0; // that a file may have; 0: no limit
};

/// Of formats whose chunks tell their size in 32 bits, with room for headers and trailers.
constexpr qint64 maxRiffBytes = (qint64(1) << 32) - (1 << 16);

/// One file with one stream in it, written by one of libavformat's muxers. Failures are one line that names the file.
///
/// A file on a disk gets what is buffered a few times a second, so that a full disk is noticed. What there is no room
/// for is taken back, so that the file is whole, and more may be written. Reentrant.
class MediaFile final {
public:
    /// @param name that errors call it by. @param file that is open.
    MediaFile(std::string name, const FileFormat &format, std::unique_ptr<OutputFile> file);
    /// Closes the file as it is.
    ~MediaFile();
    MediaFile(const MediaFile &) = delete;
    MediaFile &operator=(const MediaFile &) = delete;

    /// Prepares the muxer.
    [[nodiscard]] std::optional<std::string> open();
    /// Writes the header. Pictures get the frame duration as time base, samples their period, unless the muxer wants
    /// another.
    [[nodiscard]] std::optional<std::string> begin(const MediaForm &form);
    bool hasBegun() const { return _begun; }
    /// Writes @p packet, whose time stamps are in units of timeBase().
    [[nodiscard]] std::optional<std::string> write(AVPacket *packet);
    /// @return how many packets the latest failure has cost for want of room, that of a `write` its own included. 0: it
    ///         is final; otherwise `begin` and `write` may be repeated with the next one.
    quint64 leftOut() const { return _leftOut; }
    /// Writes the trailer if the file has begun, and closes it.
    [[nodiscard]] std::optional<std::string> finish();

    // Once the file has begun.

    AVRational timeBase() const;
    /// The least time stamp that may follow the time stamp @p last.
    qint64 leastAfter(qint64 last) const;
    /// Whether @p size more bytes are beyond what such a file may have.
    bool isFullFor(qint64 size) const;

private:
    std::optional<std::string> unlessGood(int code, const std::string &what = "cannot write") const;
    AVIOContext *makeBuffer();
    int flush(int code);
    quint64 takeBack(int code);
    int closeMuxer();
    int close();

    const std::string _name;
    const FileFormat &_format;
    const std::unique_ptr<OutputFile> _file;
    AVFormatContext *_context = nullptr;
    bool _begun = false;

    qint64 _safeSize = 0; // of what is in the file for certain
    quint64 _unsafe = 0;  // packets that are not
    quint64 _leftOut = 0;
    std::chrono::steady_clock::time_point _flushedAt;
};

#endif
