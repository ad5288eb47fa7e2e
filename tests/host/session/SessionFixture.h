#ifndef TESTS_HOST_SESSION_SESSIONFIXTURE_H
#define TESTS_HOST_SESSION_SESSIONFIXTURE_H

#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "fakes/WaitUntil.h"
#include "host/session/ErrorOf.h"
#include "modkit/ObjectTrace.h"
#include "slab/BigBlockCounts.h"
#include <decoding/Session.h>
#include <gmock/gmock.h>

/// A session on the real component. At the end of each test nothing may be left of it.
class SessionFixture : public testing::Test {
protected:
    SessionFixture() { begin({}); }

    void begin(decoding::SessionOptions options)
    {
        _session.reset();
        options.onMessage = [this](const decoding::Snapshot::Message &message) {
            const std::lock_guard<std::mutex> lock(_mutex);
            _messages.push_back(message.text);
        };
        _session = std::make_unique<decoding::Session>(std::move(options));
    }

    void TearDown() override
    {
        _session.reset();
        EXPECT_TRUE(ObjectTrace::liveCountByType().empty());
        EXPECT_EQ(slab::liveBlockCount(), 0U);
    }

    static std::string sample(const char *fileName) { return std::string(SAMPLES_DIR "/") + fileName; }
    /// A picture source that never ends.
    static std::string pattern(int rate) { return "lavfi:testsrc2=size=64x48:rate=" + std::to_string(rate); }

    std::vector<std::string> messages()
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        return _messages;
    }

    /// @return how many frames are left in @p reader.
    template <class Reader>
    static int countFrames(Reader &reader)
    {
        int count = 0;
        while (reader.next())
            ++count;
        return count;
    }

    /// @return what the session shows of a stream of @p input; empty when it shows none.
    decoding::Snapshot::Stream shown(const decoding::Input &input, std::size_t stream = 0) const
    {
        for (const decoding::Snapshot::Input &candidate : _session->snapshot().inputs) {
            if (candidate.name == input.name() && candidate.streams.size() > stream)
                return candidate.streams[stream];
        }
        return {};
    }

    std::mutex _mutex;
    std::vector<std::string> _messages; // guarded by _mutex
    std::unique_ptr<decoding::Session> _session;
};

#endif
