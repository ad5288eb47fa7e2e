#ifndef HOST_TERMINAL_DISPLAYTHREAD_H
#define HOST_TERMINAL_DISPLAYTHREAD_H

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "terminal/RunDisplay.h"

/// Has a run shown on a thread of its own: a terminal that takes nothing (stopped by ^S, behind a connection that is
/// dead, a pipe that nobody reads) holds up the display alone. Thread-bound; no call waits for the terminal.
class DisplayThread final {
public:
    /// Messages that wait to be shown. The oldest make room for others, and a line in their place counts them.
    static constexpr std::size_t maxWaiting = 1000;

    /// @throws decoding::Error when the system has no thread left.
    explicit DisplayThread(RunDisplay::Options options);
    DisplayThread(const DisplayThread &) = delete;
    DisplayThread &operator=(const DisplayThread &) = delete;
    /// Has it show what is waiting and give the terminal back. Leaves it behind if the terminal takes nothing for
    /// half a second.
    ~DisplayThread();

    /// Has one line for people shown.
    void tell(const std::string &message);

    /// @return whether the display is about to show how the run is going, and waits for `show`. Spares those who ask
    /// the
    ///         snapshot.
    [[nodiscard]] bool wantsSnapshot() const;
    void show(decoding::Snapshot snapshot);

    /// @return what the operator has asked for since the last call.
    std::vector<BoardAction> takeActions();

private:
    struct State;
    static void run(State &state, RunDisplay::Options options);

    const std::shared_ptr<State> _state; // shared with the thread, which may outlive this object
};

#endif
