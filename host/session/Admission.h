#ifndef HOST_SESSION_ADMISSION_H
#define HOST_SESSION_ADMISSION_H

#include <chrono>
#include <functional>
#include <optional>

/// How many files of a session are decoded at the same time, while others wait for their turn and hold no descriptor,
/// thread, codec or output. Only files that are not paced are counted: nothing but decoder threads, disks and outputs
/// makes them take longer, so more of them at once do not end any earlier once every decoder thread has enough to do.
///
/// Where the number is not fixed, it is found by measuring. It begins with two for each decoder thread: one that is
/// decoded, and one that is ready when that ends. While decoder threads are idle there are more and more files, up to
/// eight for each thread: those that are there are still being opened, are read slowly, or have their decoders on the
/// same few threads. Once the threads are busy, it goes back step by step: files that end are not replaced then. So it
/// does while most files wait for their outputs, which more files would not make any faster.
///
/// Reentrant; time is passed in and never goes back.
class Admission final {
public:
    using Instant = std::chrono::steady_clock::time_point;
    /// @return how much of the time since the last call the decoder threads had something to do, as ThreadDemand has
    ///         it. Where that is unknown, the number stays.
    using Demand = std::function<double(Instant now)>;

    /// What a file is about.
    enum class Occupation {
        None,       // it takes up no turn: it waits for one, has ended, nobody asks for its frames, or it is stuck
        Connecting, // it waits for the network to be opened, which takes up the turn of such a file alone
        HeldUp,     // it waits for its outputs
        Going
    };
    /// How many files there are at one moment of each kind that takes up a turn.
    struct Files {
        int connecting = 0;
        int heldUp = 0;
        int going = 0;
    };

    /// How often the demand is looked at.
    static constexpr std::chrono::milliseconds interval{100};
    /// After which a file that has come no further, though no decoder thread keeps it waiting, is stuck until it goes
    /// on. Its turn is another's: readers may read one file after the other, as pipes may be, and disks and servers
    /// hang.
    static constexpr std::chrono::milliseconds patience{500};

    /// @param fixed files; 0: as many as are found. @param threads that decode. @param demand called by `measure`.
    Admission(int fixed, int threads, Demand demand);

    /// How many files may take up a turn at present.
    int most() const { return _most; }
    /// Takes in how things are while files wait for their turn. To be called as often as they are looked at.
    void measure(Instant now, const Files &files);

private:
    const bool _isFixed;
    const int _least;
    const Demand _demand;
    int _most;
    std::optional<Instant> _measuredAt;
};

#endif
