#ifndef TESTS_HOST_SESSION_RUNFIXTURE_H
#define TESTS_HOST_SESSION_RUNFIXTURE_H

#include <functional>
#include <string>
#include <vector>

#include "fakes/WaitUntil.h"
#include "host/session/FakeDecodingManager.h"
#include "session/InputSet.h"
#include <gmock/gmock.h>

/// Inputs of a run whose frames are counted, with a fake component.
class RunFixture : public testing::Test {
protected:
    RunFixture() { _options.outputs.emplace_back(); }

    static std::string sample(const char *fileName) { return std::string(SAMPLES_DIR "/") + fileName; }
    /// A live source that nobody serves.
    static InputSpec unreachable(const char *name) { return {"rtsp://127.0.0.1:1/live", name}; }

    void add(const InputSpec &input, int copies = 1)
    {
        EXPECT_TRUE(std::holds_alternative<InputNames::Name>(_inputs.add(input, copies)));
    }
    void addSample(const char *fileName, int copies = 1) { add({sample(fileName), std::nullopt}, copies); }

    /// As the run's timer does.
    virtual void poll()
    {
        _inputs.poll();
        for (const std::string &message : _inputs.takeMessages())
            _messages.push_back(message);
    }
    bool pollUntil(const std::function<bool()> &condition)
    {
        return waitUntil([&] {
            poll();
            return condition();
        });
    }
    /// The same while the component decodes.
    bool decodeUntil(const std::function<bool()> &condition)
    {
        return pollUntil([&] {
            _manager.decode();
            return condition();
        });
    }

    std::vector<std::string> names() const
    {
        std::vector<std::string> names;
        for (const auto &input : _inputs.inputs())
            names.push_back(input->name().shown);
        return names;
    }
    bool isOpen(const char *name) const
    {
        const InputRun *const input = _inputs.find(name);
        return input && input->isOpen();
    }
    bool isFinished(const char *name) const
    {
        const InputRun *const input = _inputs.find(name);
        return input && input->isFinished();
    }

    DecodeOptions _options;
    FakeDecodingManager _manager;
    SinkWorkers _workers{1};
    DamageCounts _damage;
    InputSet _inputs{{_options, _manager, _workers, _damage, nullptr}};
    std::vector<std::string> _messages; // that an operator was told
};

#endif
