#ifndef HOST_CLI_DECODEREPORT_H
#define HOST_CLI_DECODEREPORT_H

#include <QStringList>
#include <QtGlobal>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include <decoding/Session.h>

/// What one run of `decode` has done, for people and for programs. Texts are UTF-8; each error is one line that names
/// what failed.
struct DecodeReport {
    decoding::Snapshot snapshot;                  // of the session when every input had finished
    std::vector<std::string> removedOutputErrors; // of inputs that were removed while it ran
    bool interrupted = false;
    bool isAwaited = false; // whoever ended the run waits for its end

    qint64 wallTimeMs = 0;
    qint64 cpuTimeMs = 0; // of the process, over all threads
    int cores = 1;        // that the process may use
    qint64 peakMemoryBytes = 0;

    // After the component was stopped and everything was dropped.
    decoding::Session::Remains remains;
    std::map<std::string, std::size_t> objectsLeft; // by type
    qint64 slabBlocksLeft = 0;

    /// @return all that makes the run fail: the errors of each input, then those of the outputs of removed
    ///         ones, then what was left behind.
    std::vector<std::string> allErrors() const;
    /// A text for each kind of thing that the component left behind.
    QStringList leftBehind() const;
    /// @return as in ExitCode.
    int exitCode() const;

    /// @param width of a line in characters, at least 20; the names of inputs are shortened to keep the table within
    ///        it, though not to less than 12. Error lines may be wider.
    std::string toText(int width = 100) const;
    std::string toJson() const;

private:
    std::string table(int width) const;
    qint64 streamCount() const;
    qint64 frameCount() const;
    double cpuShare() const;
};

#endif
