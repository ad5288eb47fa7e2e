#ifndef TESTS_HOST_CONTROL_FAKECONTROL_H
#define TESTS_HOST_CONTROL_FAKECONTROL_H

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "control/IControl.h"

/// A host that notes what it is asked for. Adding and removing are done at once, unless they are to be slow: then the
/// test ends them.
class FakeControl final : public IControl {
public:
    void add(const std::string &url, const std::optional<std::string> &name, const AddDone &done) override
    {
        calls.push_back("add " + url + (name ? " as " + *name : ""));
        const std::string given = name.value_or("camera");
        if (isSlow)
            pending.emplace_back([done, given](const Error &ended) { done(given, ended); });
        else
            done(given, error);
    }
    void remove(const std::string &name, const Done &done) override
    {
        calls.push_back("remove " + name);
        if (isSlow)
            pending.push_back(done);
        else
            done(error);
    }
    decoding::Snapshot snapshot() override
    {
        ++snapshots;
        return state;
    }
    void setMode(decoding::Mode mode) override { calls.push_back(std::string("mode ") + toText(mode)); }
    Error setGovernor(bool on) override
    {
        calls.push_back(on ? "governor on" : "governor off");
        return error;
    }
    void quit() override
    {
        calls.emplace_back("quit");
        onQuit();
    }

    bool isSlow = false;
    Error error; // of all that can fail
    decoding::Snapshot state;
    std::function<void()> onQuit = [] {};

    std::vector<std::string> calls;
    std::vector<Done> pending;
    int snapshots = 0;
};

#endif
