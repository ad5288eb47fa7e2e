#ifndef HOST_CLI_RUNCONTROL_H
#define HOST_CLI_RUNCONTROL_H

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cli/IRunSession.h"
#include "cli/RunInputs.h"
#include "control/IControl.h"

/// What requests, and keys of the board, may do to a run. Thread-bound, as the run is.
class RunControl final : public IControl {
public:
    using Instant = std::chrono::steady_clock::time_point;

    /// How long a live input that was added may take to connect or fail, and a file may wait for its turn, before the
    /// request is answered all the same.
    static constexpr std::chrono::seconds answerLimit{3};

    /// Session and inputs outlive it. @param quit has the run end; called from within a request.
    RunControl(IRunSession &session, RunInputs &inputs, std::function<void()> quit);

    /// Answers the requests that are carried out by now. To be called after each poll of the inputs.
    void poll(Instant now);

    void add(const std::string &url, const std::optional<std::string> &name, const AddDone &done) override;
    void remove(const std::string &name, const Done &done) override;
    decoding::Snapshot snapshot() override { return _inputs.snapshot(); }
    void setMode(decoding::Mode mode) override { _session.setMode(mode); }
    Error setGovernor(bool on) override;
    void quit() override { _quit(); }

    /// Pauses the governor, or lets it go on.
    Error toggleGovernor() { return setGovernor(!_isGovernorOn); }

private:
    struct Adding {
        std::string name;
        AddDone done;
        std::optional<Instant> since; // its first poll
    };
    struct Removing {
        std::string name;
        Done done;
    };

    bool answer(const Adding &adding, const decoding::Snapshot &snapshot, Instant now);

    IRunSession &_session;
    RunInputs &_inputs;
    const std::function<void()> _quit;
    std::vector<Adding> _adding;
    std::vector<Removing> _removing;
    bool _isGovernorOn = true; // without meaning where no governor runs
};

#endif
