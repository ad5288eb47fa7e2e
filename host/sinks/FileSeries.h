#ifndef HOST_SINKS_FILESERIES_H
#define HOST_SINKS_FILESERIES_H

#include <QtGlobal>

#include <optional>
#include <string>

#include "sinks/MediaFile.h"
#include "sinks/MediaForm.h"
#include "sinks/OutputPlace.h"

/// The files that a stream is written to, one after the other: `<stem><suffix>`, and where the format cannot go on
/// because the form of the packets has changed, `<stem>.part2<suffix>` and so on. Existing files are overwritten.
/// Reentrant.
///
/// Time stamps in a file never go back: one that does is raised to the one before it. Where the stream breaks and its
/// time stamps begin anew, the rest is shifted behind what is written already. A missing one follows the one before it.
///
/// A packet that there is no room for is left out whole, and the file goes on behind the one before it when there is
/// room again.
class FileSeries final {
public:
    FileSeries(OutputPlace place, const FileFormat &format);

    /// Creates the first file. To be called once, before the others.
    [[nodiscard]] std::optional<std::string> create();
    /// @param packet with its pts, if known, in its own time base. @param duration in units of that time base.
    [[nodiscard]] std::optional<std::string> write(const MediaForm &form, AVPacket *packet, qint64 duration);
    /// Whether the latest write failed for want of room: the file is as it was before, and another may be tried.
    bool lacksRoom() const { return _lacksRoom; }
    void noteBreak() { _broken = true; }
    [[nodiscard]] std::optional<std::string> finish();

private:
    std::optional<std::string> tryToWrite(const MediaForm &form, AVPacket *packet, qint64 duration);
    std::optional<std::string> prepare(const MediaForm &form);
    std::optional<std::string> begin(const MediaForm &form);
    qint64 timestampOf(const AVPacket &packet, qint64 duration);

    const OutputPlace _place;
    const FileFormat &_format;
    std::optional<MediaFile> _file;
    int _fileCount = 0;
    bool _lacksRoom = false;
    MediaForm _form; // of the packet before

    // In units of the file's time base.
    std::optional<qint64> _last; // time stamp written
    qint64 _next = 0;            // where the packet after it is to follow
    qint64 _shift = 0;
    bool _broken = false; // since the packet before
};

#endif
