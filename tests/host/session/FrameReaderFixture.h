#ifndef TESTS_HOST_SESSION_FRAMEREADERFIXTURE_H
#define TESTS_HOST_SESSION_FRAMEREADERFIXTURE_H

#include <algorithm>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "fakes/WaitUntil.h"
#include "host/sinks/Records.h"
#include "session/ReaderSource.h"
#include <decoding/FrameReader.h>
#include <gmock/gmock.h>

/// A reader of pictures that the tests push themselves, without a session.
class FrameReaderFixture : public testing::Test {
protected:
    using VideoFrame = decoding::VideoFrame;
    using VideoReader = decoding::VideoReader;

    /// What a reader tells its session, and what it delivers, in order. Thread-safe.
    class Story {
    public:
        void add(const std::string &event)
        {
            const std::lock_guard<std::mutex> lock(_mutex);
            _events.push_back(event);
        }
        std::vector<std::string> events() const
        {
            const std::lock_guard<std::mutex> lock(_mutex);
            return _events;
        }
        /// @return whether @p event comes, sooner or later.
        bool tells(const std::string &event) const
        {
            return waitUntil([&] {
                const std::vector<std::string> now = events();
                return std::find(now.begin(), now.end(), event) != now.end();
            });
        }

    private:
        mutable std::mutex _mutex;
        std::vector<std::string> _events;
    };

    ~FrameReaderFixture() override
    {
        buffer->close();
        threads->waitForAll();
    }

    static VideoFrameHandle picture(qint64 stamp)
    {
        return Records::picture(AV_PIX_FMT_GRAY8, 4, 4, QByteArray(16, 'x'), stamp);
    }
    static qint64 stampOf(const std::optional<VideoFrame> &frame) { return frame ? frame->timestamp() : -1; }

    VideoReader::Source::Hooks hooks() const
    {
        return {[into = story] { into->add("start"); }, [into = story] { into->add("leave"); },
                [into = story](const std::string &text) { into->add("fail: " + text); }};
    }
    std::unique_ptr<VideoReader> makeReader() const
    {
        return std::make_unique<VideoReader>(std::make_shared<VideoReader::Source>(buffer, hooks(), threads));
    }
    void push(qint64 first, qint64 last) const
    {
        for (qint64 stamp = first; stamp <= last; ++stamp)
            buffer->push(picture(stamp));
    }
    /// Delivers into the story.
    void deliver(VideoReader &from) const
    {
        from.deliver([into = story](const VideoFrame &frame) { into->add(std::to_string(frame.timestamp())); },
                     [into = story] { into->add("ended"); });
    }

    const std::shared_ptr<Story> story = std::make_shared<Story>();
    const std::shared_ptr<PictureBuffer> buffer =
        std::make_shared<PictureBuffer>(4, Overflow::DropOldest, std::shared_ptr<Gate>());
    const std::shared_ptr<DeliveryThreads> threads = std::make_shared<DeliveryThreads>();
    std::unique_ptr<VideoReader> reader = makeReader();
};

#endif
