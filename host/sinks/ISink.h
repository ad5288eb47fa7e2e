#ifndef HOST_SINKS_ISINK_H
#define HOST_SINKS_ISINK_H

#include <QtGlobal>

#include <optional>
#include <string>

/// What the host sees of a sink, whatever it takes and writes.
class ISink {
public:
    struct Status {
        quint64 records = 0;    // taken: pictures or runs of samples, the next three included
        quint64 damaged = 0;    // their decoder has concealed damage in them
        quint64 foreign = 0;    // not made by this host's codec decoders, so not written
        quint64 dropped = 0;    // to make room for others, by a sink that does not wait
        quint64 nullBlocks = 0; // breaks in the stream
        quint64 bytes = 0;      // of the records, as they lie in memory
        quint64 bytesWritten = 0;
        quint64 waits = 0; // times that a decoder had to wait for the writing
        double waitedMs = 0;
        quint64 failed = 0;   // records that were to be written and could not be
        bool failing = false; // the latest of them was one of these
        /// The first thing that went wrong: one line that names the file. Once writing has failed for good, a sink only
        /// counts.
        std::optional<std::string> error;
    };

    virtual ~ISink() = default;

    /// What has happened so far. Thread-safe.
    virtual Status status() const = 0;

    /// From now on, a push waits no more for the writing: what comes still is taken over the limits. For a stream that
    /// ends, whose decoder could not be dropped while it waits. Thread-safe; never blocks.
    virtual void waitNoMore() = 0;

    /// Writes what was taken, completes the files and closes them; the status is final then. Call it when nothing
    /// pushes any more, that is once the decoder handle was dropped, and before the workers end. Blocks for as long as
    /// the writing takes. Thread-safe, but not for a job of the sink's worker. A second call only waits for the first.
    virtual void finish() = 0;
};

#endif
