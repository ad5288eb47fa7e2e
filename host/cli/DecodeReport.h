#ifndef HOST_CLI_DECODEREPORT_H
#define HOST_CLI_DECODEREPORT_H

#include <QStringList>
#include <QtGlobal>

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

/// What one run of `decode` has done, for people and for programs. Texts are UTF-8; each error is one line that names what
/// failed.
struct DecodeReport {
    struct Output {
        std::string kind;
        qint64 frames = 0; // for audio, blocks of samples
        qint64 nullBlocks = 0;
        qint64 bytes = 0;
        qint64 waitedMs = 0; // by the decoder, for the output to have room
        std::optional<std::string> error;
    };

    /// From a block's arrival in the queue to its reading.
    struct Latency {
        double averageMs = 0;
        qint64 maximumMs = 0;
    };

    struct Stream {
        int index = 0;    // within the input
        std::string kind; // "video" or "audio"
        std::string codec;
        qint64 frames = 0;
        qint64 damaged = 0; // blocks, pictures and runs of samples
        qint64 lost = 0;    // blocks of a live source that came faster than they could be decoded, or not at all
        qint64 durationMs = 0;
        std::vector<Output> outputs;

        double framesPerSecond() const;
        qint64 waitedMs() const;
    };

    struct Input {
        std::string name;
        bool live = false;
        qint64 connections = 0; // that a live source made
        qint64 packets = 0;     // read
        qint64 bytes = 0;       // read
        qint64 peakQueuedBlocks = 0;
        qint64 peakQueuedBytes = 0;
        std::optional<Latency> latency; // over its streams; none when nothing was read
        std::optional<std::string> error;
        std::vector<Stream> streams;
    };

    /// As the component measures it: 0.0 is idle, 1.0 is every usable core busy.
    struct CpuLoad {
        double average = 0;
        double maximum = 0;
    };

    std::vector<Input> inputs;
    bool interrupted = false;

    qint64 wallTimeMs = 0;
    qint64 cpuTimeMs = 0; // of the process, over all threads
    int cores = 1;        // that the process may use
    qint64 peakMemoryBytes = 0;
    std::optional<CpuLoad> cpuLoad; // none when the run was too short to measure it

    // After the component was stopped and everything was dropped.
    std::vector<std::string> stillPublished;
    std::vector<int> threadsLeft;
    std::map<std::string, std::size_t> objectsLeft; // by type
    qint64 slabBlocksLeft = 0;

    /// @return all that makes the run fail: for each input its error, then for each of its streams the damage, which a
    ///         live source may have without failing, and the errors of the outputs; at last, what was left behind.
    std::vector<std::string> allErrors() const;
    /// A text for each kind of thing that the component left behind.
    QStringList leftBehind() const;
    /// @return as in ExitCode.
    int exitCode() const;

    /// @param width of a line in characters, at least 20; the names of inputs are shortened to keep the table within it,
    ///        though not to less than 12. Error lines may be wider.
    std::string toText(int width = 100) const;
    std::string toJson() const;

private:
    std::string table(int width) const;
    qint64 streamCount() const;
    qint64 frameCount() const;
    double cpuShare() const;
};

#endif
