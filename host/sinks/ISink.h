#ifndef HOST_SINKS_ISINK_H
#define HOST_SINKS_ISINK_H

#include <QtGlobal>

#include <chrono>
#include <optional>
#include <string>

/// What the host sees of a sink, whatever it takes and writes.
class ISink {
public:
    struct Status {
        quint64 records = 0;    // taken: pictures or runs of samples, those of the other counts included
        quint64 damaged = 0;    // their decoder has concealed damage in them
        quint64 foreign = 0;    // not made by this host's codec decoders, so not written
        quint64 dropped = 0;    // for want of room or a reader, so neither written nor read
        quint64 nullBlocks = 0; // breaks in the stream
        quint64 bytes = 0;      // of the records, as they lie in memory
        quint64 bytesWritten = 0;
        quint64 waits = 0;    // times that the decoder was given nothing until there was room
        double waitedMs = 0;  // all of them together
        quint64 failed = 0;   // records that could not be written, for an error; none of the dropped ones
        bool failing = false; // the latest of them was one of these
        /// The first thing that went wrong: one line that names the file. Once writing has failed for good, a sink only
        /// counts.
        std::optional<std::string> error;
    };

    virtual ~ISink() = default;

    /// What has happened so far. Thread-safe.
    virtual Status status() const = 0;

    /// Whether its file is there, or could not be created, which the status tells. Thread-safe.
    [[nodiscard]] virtual bool hasBegun() const { return true; }

    /// Has what was taken written, the files completed and closed. Call it when nothing pushes any more, that is once
    /// the decoder handle was dropped. Thread-safe; never blocks; a second call does nothing.
    virtual void end() = 0;
    /// Somebody waits for the end: what takes nothing for a while is given up from now on, which is an error. Without
    /// this, a pipe that is read no further and a disk that hangs are waited for. Thread-safe; never blocks.
    virtual void hurry() = 0;
    /// Whether that has come to its end; the status is final then. To be called often where it hurries, because it
    /// looks after what takes nothing. Thread-safe.
    [[nodiscard]] virtual bool isComplete(std::chrono::steady_clock::time_point now) = 0;
    /// As end, and waits until it is complete. Thread-safe, but not for the sink's workers.
    virtual void finish() = 0;
};

#endif
