#ifndef HOST_SINKS_FILESERIES_H
#define HOST_SINKS_FILESERIES_H

#include <QtGlobal>

#include <optional>
#include <string>

#include "sinks/MediaFile.h"
#include "sinks/MediaForm.h"
#include "sinks/OutputPlace.h"

/// The files that a stream is written to, one after the other: `<stem><suffix>`, and where the format cannot go on
/// because the form of the packets has changed or the file has all that it may hold, `<stem>.part2<suffix>` and so on.
/// Existing files are overwritten, or kept and their names passed over, as the place says. The standard output holds
/// the first one alone. Reentrant.
///
/// Time stamps in a file never go back: one that does is raised to the one before it. Where the stream breaks and its
/// time stamps begin anew, the rest is shifted behind what is written already, and so it is where they jump back
/// without a break, as in files that were put together: by more than half a second, or so that the next one is behind
/// as well. A missing one follows the one before it.
class FileSeries final {
public:
    FileSeries(OutputPlace place, const FileFormat &format);

    /// Creates the first file. To be called once, before the others.
    [[nodiscard]] std::optional<std::string> create();
    /// What errors call the first file.
    std::string name() const { return _place.name(_format.suffix); }
    /// @param packet with its pts, if known, in its own time base. @param duration in units of that time base.
    [[nodiscard]] std::optional<std::string> write(const MediaForm &form, AVPacket *packet, qint64 duration);
    /// As IRecordWriter: what was in the file before is whole, and it goes on behind that.
    quint64 leftOut() const { return _file ? _file->leftOut() : 0; }
    void noteBreak() { _broken = true; }
    [[nodiscard]] std::optional<std::string> finish();

private:
    std::optional<std::string> prepare(const MediaForm &form, qint64 size);
    bool beginsAnew(qint64 timestamp);
    qint64 timestampOf(const AVPacket &packet, qint64 duration);

    const OutputPlace _place;
    const FileFormat &_format;
    std::optional<MediaFile> _file;
    int _fileCount = 0;
    MediaForm _form; // of the packet before

    // In units of the file's time base.
    std::optional<qint64> _last; // time stamp written
    qint64 _next = 0;            // where the packet after it is to follow
    qint64 _shift = 0;
    bool _broken = false; // since the packet before
    bool _raised = false; // the time stamp of the packet before
};

#endif
