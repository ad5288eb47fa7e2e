#ifndef TESTS_HOST_SESSION_INPUTSETFIXTURE_H
#define TESTS_HOST_SESSION_INPUTSETFIXTURE_H

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "fakes/WaitUntil.h"
#include "host/session/FakeDecodingManager.h"
#include "session/InputSet.h"
#include "session/SnapshotFiller.h"
#include <gmock/gmock.h>

/// The inputs of a session whose frames are counted, with a fake component. Their handles are kept.
class InputSetFixture : public testing::Test {
protected:
    explicit InputSetFixture(std::chrono::milliseconds roundInterval = InputSet::usualRoundInterval,
                             int filesAtOnce = 1000)
        : _inputs({_manager, _workers, _damage}, _jobs, std::make_shared<CodecThreads>(0, 1),
                  Admission(filesAtOnce, 1, nullptr), roundInterval)
    {
        _options.outputs.emplace_back();
    }
    ~InputSetFixture() override
    {
        _handles.clear();
        // As the session does: what was posted last holds inputs, and these hold the jobs.
        _jobs->end();
    }

    static std::string sample(const char *fileName) { return std::string(SAMPLES_DIR "/") + fileName; }

    /// @return why it was refused; empty when it was not.
    std::string add(const std::string &url, const std::string &name = {})
    {
        _options.name = name;
        const auto added = _inputs.add(url, _options);
        if (const std::string *const error = std::get_if<std::string>(&added))
            return *error;
        const auto core = std::get<0>(added);
        _handles[core->name()] = std::make_unique<decoding::Input>(core);
        return {};
    }
    std::string addSample(const char *fileName) { return add(sample(fileName)); }
    /// A live source that nobody serves.
    std::string addUnreachable(const char *name) { return add("rtsp://127.0.0.1:1/live", name); }
    void remove(const char *name) { _handles.erase(name); }

    /// As the session does.
    void poll()
    {
        _jobs->run(_inputs);
        _inputs.poll();
        for (const Report &message : _inputs.takeMessages())
            _messages.push_back(message.text);
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

    /// As the codec decoder of the stream that reports call @p stream does.
    void notePace(const char *stream, std::chrono::milliseconds packetTime)
    {
        const auto pace = _damage.paceOf({stream});
        ASSERT_TRUE(pace);
        for (const bool keyBlocks : {false, true})
            pace->note(keyBlocks, 1000, 1000 * packetTime);
    }

    decoding::Snapshot::Input shown(const char *name) const
    {
        const SnapshotFiller filler(_indications.data(), _mode);
        for (const auto &input : _inputs.inputs()) {
            if (input->name().shown == name)
                return filler.snapshotOf(*input);
        }
        return {};
    }
    bool isOpen(const char *name) const { return !shown(name).streams.empty(); }
    bool isFinished(const char *name) const { return shown(name).finished; }
    std::vector<std::string> names() const
    {
        std::vector<std::string> names;
        for (const auto &input : _inputs.inputs())
            names.push_back(input->name().shown);
        return names;
    }

    decoding::InputOptions _options;
    decoding::Mode _mode = decoding::Mode::Performance;
    ModkitPtr<IndicationManager> _indications;
    FakeDecodingManager _manager;
    SinkWorkers _workers{1};
    DamageCounts _damage;
    std::atomic<int> _wakeUps{0};
    std::shared_ptr<SessionJobs> _jobs =
        std::make_shared<SessionJobs>([this](SessionJobs::Step /*step*/) { ++_wakeUps; });
    InputSet _inputs;
    std::map<std::string, std::unique_ptr<decoding::Input>> _handles; // by name
    std::vector<std::string> _messages;
};

#endif
