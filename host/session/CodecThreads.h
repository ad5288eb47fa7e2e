#ifndef HOST_SESSION_CODECTHREADS_H
#define HOST_SESSION_CODECTHREADS_H

#include <atomic>
#include <memory>

/// How many threads of libavcodec may decode one file's video: where fewer inputs with video are at work than there are
/// decoder threads, it may use the processor cores of the others. Then it gets one thread more than cores, as
/// libavcodec itself would have it, so that no core is idle while the oldest picture is waited for. Thread-safe.
class CodecThreads final {
public:
    /// As libavcodec has it: more are of little use to one stream.
    static constexpr int most = 16;

    /// @param chosen for each file, up to `most`; 0: as many as there are cores for. @param cores that the decoder
    ///        threads can keep busy.
    CodecThreads(int chosen, int cores);

    /// One input that has, or may have, video to be decoded, while this object lives.
    class Share final {
    public:
        /// @param threads never null.
        explicit Share(std::shared_ptr<CodecThreads> threads);
        ~Share();
        Share(const Share &) = delete;
        Share &operator=(const Share &) = delete;

    private:
        const std::shared_ptr<CodecThreads> _threads;
    };

    /// @return for a file whose codec is opened now, and which has a share; at least 1.
    [[nodiscard]] int forFile() const;

private:
    const int _chosen;
    const int _cores;
    std::atomic<int> _inputs{0};
};

#endif
