#ifndef HOST_SOURCES_MEDIASOURCE_H
#define HOST_SOURCES_MEDIASOURCE_H

#include <QByteArray>
#include <QString>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "media/ChangeNote.h"
#include "media/StreamKind.h"
#include "queues/BlockQueue.h"
#include "sources/BlockTimes.h"
#include "sources/InputAccess.h"
#include "sources/Interleaver.h"
#include "sources/MediaInput.h"
#include "sources/Pacing.h"
#include "sources/SourceThread.h"

/// Reads a media file with libavformat on a thread of its own and fills a block queue with its packets: those of at
/// most one video and one audio stream, each as libavformat delivers it, in the file's order, or, when paced, in the
/// order in which they are due. The first block of each kind is a key block; every audio block is one. An empty block
/// for each kind ends each repetition of the file, also when the file could be read in part only, or when the source
/// was stopped; then the queue is ended.
///
/// Thread-safe except `open`, `start`, `join` and `joinOrLeave`, which belong to one thread at a time. Owned by whoever
/// opened it.
class MediaSource final {
public:
    struct Options {
        bool video = true;
        bool audio = true;
        /// Append each block when it is due, the first at once and the others by their block times. Where the file has
        /// one stream before the other, it is read ahead within the limits of the Interleaver.
        bool paced = false;
        /// How often to read the file, which is opened anew each time: only so are the packets exactly the same. At
        /// least 1.
        int repeat = 1;
        /// Leave out what comes so much later than the first block, over all repetitions.
        std::optional<std::chrono::milliseconds> duration;
        /// Names the streams in reports.
        QString label;
        /// Set when there is an error; may be null. The queue tells the rest.
        std::shared_ptr<ChangeNote> changes = {};
        InputAccess access;
        /// How long nothing may come of a file that is read over the network.
        std::chrono::milliseconds stallLimit{30'000};
        /// Tells sources of one label apart.
        quint32 number = 0;
    };

    struct Stream : StreamDescription {
        quint32 streamId = 0; // 0: video, 8: audio
        QByteArray origin;    // "<label> video" or "<label> audio"
        quint32 source = 0;   // Options::number of a file's
    };

    /// Opens @p url, a local file or something with "://" in it; blocks for 10 seconds at most.
    /// @return the source, or one line that names @p url and says what is wrong with it.
    [[nodiscard]] static std::variant<std::unique_ptr<MediaSource>, std::string> open(const std::string &url,
                                                                                      const Options &options);

    /// As the other, but another thread can set @p abandoned: then this call fails within a tenth of a second, wherever
    /// libavformat waits for the network. It waits longer for a name to be looked up and for a file system. The flag is
    /// not looked at afterwards.
    [[nodiscard]] static std::variant<std::unique_ptr<MediaSource>, std::string>
    open(const std::string &url, const Options &options, const std::atomic<bool> &abandoned);

    MediaSource(const MediaSource &) = delete;
    MediaSource &operator=(const MediaSource &) = delete;
    /// Stops the source and waits for its thread.
    ~MediaSource();

    /// What is delivered: one stream or two, video first. Constant except for keepOnly.
    const std::vector<Stream> &streams() const { return _streams; }

    /// What is not, for want of a decoder: at most one stream of each wanted kind, video first. Constant.
    const std::vector<Stream> &undecodable() const { return _undecodable; }
    /// @return the same of any input. @param label of the streams.
    static std::vector<Stream> undecodableOf(const MediaInput &input, bool video, bool audio, const QByteArray &label);

    /// The container's start time in microseconds, which players count from; 0 when unknown. Constant.
    qint64 startTimeUs() const { return _startTimeUs; }

    /// Delivers the stream of @p kind alone, which is there. Before the start.
    void keepOnly(StreamKind kind);

    /// Begins to fill @p queue, which outlives the source's thread. Once only.
    /// @return that the system has no thread for it, in one line that names the source. Nothing has begun then, and it
    ///         may be tried again.
    [[nodiscard]] std::optional<std::string> start(BlockQueue &queue);

    /// Ends the source early, whatever it is waiting for: the streams are ended behind the last block that went in.
    void requestStop();

    /// Waits until everything was appended, the source was stopped or the queue closed.
    void join();

    /// As join, for a source that was stopped or has ended; but where its thread does not return from the system within
    /// @p patience, it is left behind, keeps the source, and does not touch the queue any more.
    static void joinOrLeave(const std::shared_ptr<MediaSource> &source, std::chrono::milliseconds patience);

    /// @return what ended the source before the end of the file, in one line that names it; nothing when all was read,
    ///         or not read on request. Formats without an end of their own, such as transport streams, do not tell that
    ///         they were truncated.
    [[nodiscard]] std::optional<std::string> error() const;

    /// Packets that went into the queue, and their bytes.
    quint64 packets() const { return _packets.load(std::memory_order_relaxed); }
    quint64 bytes() const { return _bytes.load(std::memory_order_relaxed); }

    /// The part of the work, 0 to 1, that is done; 0 until the end where nothing tells the file's length.
    double progress() const { return _progress.load(std::memory_order_relaxed); }

private:
    /// What the thread keeps of each stream.
    struct State {
        QByteArray parameters;      // as they travel in key blocks
        bool keyBlockWanted = true; // the next block begins a codec decoder's life
        qint64 lastTimeMs = 0;      // block time of the last block that went in
        bool complete = false;      // the duration is reached
    };

    MediaSource(const std::string &url, const Options &options);

    std::optional<std::string> openInput(const std::atomic<bool> *abandoned = nullptr);
    QByteArray label() const;
    void addStream(int index, StreamKind kind);
    QByteArray packedParameters(std::size_t position) const;

    void run();
    bool reopen();
    bool deliverFile(int repetition);
    bool deliver(const AVPacket &packet);
    bool appendInterleaved();
    bool append(std::size_t position, const AVPacket &packet, qint64 blockTimeMs);
    void appendEnds();
    bool waitUntil(std::chrono::steady_clock::time_point due);
    bool isStopRequested() const { return _stopRequested.load(std::memory_order_relaxed); }
    bool isComplete() const;
    bool noteMissingPart();
    void noteError(const std::string &what);
    void noteProgress(int repetition);

    const std::string _url;
    const std::string _shown; // in errors
    const Options _options;
    // Constant once opened.
    std::vector<Stream> _streams;
    std::vector<Stream> _undecodable;
    qint64 _startTimeUs = 0;

    // The source's thread only, once it runs. The times know each stream by its position in _streams.
    std::vector<State> _states; // as _streams
    std::unique_ptr<MediaInput> _input;
    std::optional<BlockTimes> _times;
    Interleaver _interleaver{0}; // of the current repetition; holds packets only when paced
    Pacing _pacing;

    std::atomic<quint64> _packets{0};
    std::atomic<quint64> _bytes{0};
    std::atomic<double> _progress{0};
    std::atomic<bool> _stopRequested{false}; // written under _mutex

    mutable std::mutex _mutex; // guards the next two
    /// Null before and after the thread runs, which alone writes it then, unless it is at the disk: the queue may be
    /// gone afterwards.
    BlockQueue *_queue = nullptr;
    std::optional<std::string> _error;

    std::condition_variable _stopped;
    SourceThread _thread; // the last: it uses all the others
};

#endif
