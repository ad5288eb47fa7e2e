#ifndef HOST_SINKS_OUTPUTFILE_H
#define HOST_SINKS_OUTPUTFILE_H

#include <QtGlobal>

#include <memory>
#include <string>

#include "sinks/WriteWatch.h"

/// One file that a sink writes: on a disk, a pipe, a device. Whatever it is, waiting for it is known to the watch, and
/// takes no other sink's place. Results are an `errno`, 0 for success; ETIMEDOUT: the watch's patience was at its end.
/// Reentrant.
class OutputFile final {
public:
    enum class Existing {
        Replace,
        Keep // a file that is there is EEXIST; a pipe or a device is written to as ever
    };

    explicit OutputFile(std::shared_ptr<WriteWatch> watch);
    /// Closes it as it is.
    ~OutputFile();
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;

    /// Creates the file. For a pipe, waits until there is a reader; where the process has too many files open, for a
    /// while until others are closed.
    [[nodiscard]] int create(const std::string &path, Existing existing);
    /// Writes to what the program has as its standard output, which stays open when this is closed.
    [[nodiscard]] int openStandardOutput();

    /// Whether seek() is possible.
    bool isSeekable() const { return _isSeekable; }
    /// Writes it all.
    [[nodiscard]] int write(const quint8 *data, qint64 size);
    /// @param whence as for lseek. @return the new place, or an errno as a negative number.
    [[nodiscard]] qint64 seek(qint64 offset, int whence);
    /// Leaves only the first @p size bytes, and goes on behind them.
    [[nodiscard]] int cut(qint64 size);
    [[nodiscard]] int close();

private:
    template <class SystemCall>
    auto call(SystemCall systemCall);
    int createOnce(const std::string &path, Existing existing);
    int open(const std::string &path, int flags);
    int waitUntilReadByAnybody(const std::string &path, int flags);
    int waitForRoom();
    int take(int descriptor);

    const std::shared_ptr<WriteWatch> _watch;
    int _descriptor = -1;
    bool _isSeekable = false;
    qint64 _maxWrite = 0; // that does not block once there is room; 0: nothing blocks, or all may, as with disks
};

#endif
