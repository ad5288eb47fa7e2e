#ifndef TESTS_HOST_CLI_FAKERUNSESSION_H
#define TESTS_HOST_CLI_FAKERUNSESSION_H

#include <algorithm>
#include <string>
#include <vector>

#include "cli/IRunSession.h"

/// A session whose inputs do nothing but what the test has them do.
class FakeRunSession final : public IRunSession {
public:
    std::string open(const std::string &url, const decoding::InputOptions &options) override
    {
        if (refuses)
            throw decoding::Error(url + ": refused");
        if (!options.name.empty() && contains(options.name))
            throw decoding::Error(options.name + ": there is an input of this name");
        decoding::Snapshot::Input input;
        input.name = options.name.empty() ? url : options.name;
        for (int number = 2; contains(input.name); ++number)
            input.name = url + " (" + std::to_string(number) + ')';
        state.inputs.push_back(input);
        opened.push_back(options);
        return input.name;
    }
    void close(const std::string &name) override { closed.push_back(name); }
    bool isFinished(const std::string &name) const override
    {
        const auto found = std::find_if(state.inputs.begin(), state.inputs.end(),
                                        [&name](const auto &input) { return input.name == name; });
        return found == state.inputs.end() || found->finished;
    }
    void forget(const std::string &name) override
    {
        state.inputs.erase(std::remove_if(state.inputs.begin(), state.inputs.end(),
                                          [&name](const auto &input) { return input.name == name; }),
                           state.inputs.end());
    }
    decoding::Snapshot snapshot() const override
    {
        ++snapshots;
        return state;
    }
    void setMode(decoding::Mode mode) override { calls.emplace_back(toText(mode)); }
    void setGovernor(bool on) override
    {
        if (!hasGovernor)
            throw decoding::Error("there is no governor");
        calls.emplace_back(on ? "on" : "off");
    }

    /// @return the input of this name, which is there.
    decoding::Snapshot::Input &input(const std::string &name)
    {
        return *std::find_if(state.inputs.begin(), state.inputs.end(),
                             [&name](const auto &input) { return input.name == name; });
    }
    /// As if its streams had become known, and one of them was decoded.
    void begin(const std::string &name, std::int64_t frames = 0)
    {
        input(name).state = decoding::State::Running;
        input(name).streams.resize(1);
        input(name).streams[0].frames = frames;
    }
    void finish(const std::string &name) { input(name).finished = true; }
    void fail(const std::string &name)
    {
        input(name).state = decoding::State::Failed;
        input(name).error = name + ": no such file";
        finish(name);
    }

    decoding::Snapshot state;
    bool refuses = false;
    bool hasGovernor = true;
    std::vector<decoding::InputOptions> opened;
    std::vector<std::string> closed;
    std::vector<std::string> calls;
    mutable int snapshots = 0;

private:
    bool contains(const std::string &name) const
    {
        return std::any_of(state.inputs.begin(), state.inputs.end(),
                           [&name](const auto &input) { return input.name == name; });
    }
};

#endif
