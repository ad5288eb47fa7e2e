#ifndef HOST_MEDIA_INPUTFILES_H
#define HOST_MEDIA_INPUTFILES_H

#include <QtGlobal>

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

/// Which files the inputs of a session read, so that no output is written over one of them, whichever path leads there.
/// Which file a path names, the disk tells: an input comes in two steps, so that nobody waits for a disk that is not
/// asked about. Thread-safe.
class InputFiles final {
public:
    /// How long is waited for a disk to tell of an input. One that knows the output would know the input,
    /// too, if they were the same file.
    static constexpr std::chrono::milliseconds patience{500};

    /// The input of this number reads a file that is to be identified. Never waits.
    void expect(quint64 input);
    /// It reads the file at @p path, if there is one; whatever is there later is not meant. Waits for the disk.
    void identify(quint64 input, const std::string &path);
    /// The input has left. Never waits.
    void forget(quint64 input);

    /// @return whether @p path names one of the files. Waits for its disk, and where there is a file, for what is
    ///         known of inputs that came shortly before.
    [[nodiscard]] bool contains(const std::string &path) const;

private:
    using Clock = std::chrono::steady_clock;
    struct File {
        Clock::time_point expectedAt;
        std::optional<std::pair<unsigned long long, unsigned long long>> identity = {}; // device and number there
    };

    mutable std::mutex _mutex; // guards the next two; not held while a disk is asked
    mutable std::condition_variable _identified;
    std::map<quint64, File> _files; // by input; those without a file are not in it
};

#endif
