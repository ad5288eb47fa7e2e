#ifndef HOST_CLI_RUNCONTROL_H
#define HOST_CLI_RUNCONTROL_H

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "control/IControl.h"
#include "session/InputSet.h"
#include "session/RunObserver.h"

/// What requests may do to a run. Thread-bound, as the run is.
class RunControl final : public IControl {
public:
    /// The run itself, as far as it is to be controlled.
    struct Operations {
        std::function<void(DecodingMode)> setMode;
        std::function<Error(bool)> setGovernor;
        std::function<void()> quit;
    };

    /// Both outlive the control.
    RunControl(InputSet &inputs, RunObserver &observer, Operations operations);

    /// Answers the requests that are carried out by now. To be called after each poll of the inputs.
    void poll();

    void add(const std::string &url, const std::optional<std::string> &name, const AddDone &done) override;
    void remove(const std::string &name, const Done &done) override;
    std::vector<Stream> list() override;
    Status status() override;
    void setMode(DecodingMode mode) override { _operations.setMode(mode); }
    Error setGovernor(bool on) override { return _operations.setGovernor(on); }
    void quit() override { _operations.quit(); }

private:
    struct Adding {
        std::string name;
        AddDone done;
    };
    struct Removing {
        std::string name;
        Done done;
    };

    bool answer(const Adding &adding);

    InputSet &_inputs;
    RunObserver &_observer;
    const Operations _operations;
    std::vector<Adding> _adding;
    std::vector<Removing> _removing;
};

#endif
