#include "BareDecoding.h"

#include <atomic>
#include <memory>
#include <optional>
#include <thread>

#include "Schedule.h"

namespace {

struct FreeContext {
    void operator()(AVCodecContext *context) const { avcodec_free_context(&context); }
};
struct FreeFrame {
    void operator()(AVFrame *frame) const { av_frame_free(&frame); }
};

/// One open codec and what it has decoded.
class Stream final {
public:
    Stream(const Clip &clip, FrameCount &count)
        : _clip(clip)
        , _count(count)
        , _frame(av_frame_alloc())
    {
        const AVCodec *const decoder = avcodec_find_decoder(clip.parameters().codec_id);
        _context.reset(avcodec_alloc_context3(decoder));
        if (!_frame || !_context || avcodec_parameters_to_context(_context.get(), &clip.parameters()) < 0)
            return;
        _context->pkt_timebase = clip.timeBase();
        _context->thread_count = 1;
        _isOpen = avcodec_open2(_context.get(), decoder, nullptr) >= 0;
    }

    bool isOpen() const { return _isOpen; }

    /// Decodes packet number @p index, or what is held back behind the last one, and closes the codec then.
    void decode(int index, int count)
    {
        const auto position = static_cast<std::size_t>(index);
        avcodec_send_packet(_context.get(), index < count ? _clip.packets()[position].get() : nullptr);
        while (avcodec_receive_frame(_context.get(), _frame.get()) >= 0) {
            _count.add(_frame->data[0], _frame->linesize[0], static_cast<quint32>(_frame->width),
                       static_cast<quint32>(_frame->height));
            av_frame_unref(_frame.get());
        }
        if (index == count)
            _context.reset();
    }

private:
    const Clip &_clip;
    FrameCount &_count;
    std::unique_ptr<AVCodecContext, FreeContext> _context;
    std::unique_ptr<AVFrame, FreeFrame> _frame;
    bool _isOpen = false;
};

/// Runs on each of the threads, for every stream whose number leaves @p thread as the remainder.
void decodeStreams(const Clip &clip, const DecodingTask &task, int thread, const std::optional<Schedule> &schedule,
                   std::vector<FrameCount> &counts, std::atomic<bool> &failed)
{
    std::vector<int> numbers;
    std::vector<std::unique_ptr<Stream>> streams;
    for (int number = thread; number < task.streamCount; number += task.threadCount) {
        numbers.push_back(number);
        streams.push_back(std::make_unique<Stream>(clip, counts[static_cast<std::size_t>(number)]));
        if (!streams.back()->isOpen()) {
            failed = true;
            return;
        }
    }

    const int count = static_cast<int>(clip.packets().size());
    if (task.wholeStreams) {
        for (const std::unique_ptr<Stream> &stream : streams) {
            for (int index = 0; index <= count; ++index)
                stream->decode(index, count);
        }
        return;
    }
    for (int index = 0; index <= count; ++index) {
        for (std::size_t position = 0; position < streams.size(); ++position) {
            if (schedule)
                std::this_thread::sleep_until(schedule->arrival(numbers[position], index));
            streams[position]->decode(index, count);
        }
    }
}

} // namespace

std::variant<DecodingResult, std::string> BareDecoding::run(const Clip &clip, const DecodingTask &task)
{
    DecodingResult result;
    result.streams.assign(static_cast<std::size_t>(task.streamCount), FrameCount(task.checking));
    std::atomic<bool> failed{false};
    const ResourceUse use;
    std::optional<Schedule> schedule;
    if (task.paced)
        schedule.emplace(Schedule::Clock::now() + Schedule::frameTime, task.streamCount);
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(task.threadCount));
    for (int thread = 0; thread < task.threadCount; ++thread)
        threads.emplace_back([&, thread] { decodeStreams(clip, task, thread, schedule, result.streams, failed); });
    for (std::thread &thread : threads)
        thread.join();
    if (failed)
        return "a codec cannot be opened";
    result.processorSeconds = use.processorSeconds();
    result.wallSeconds = use.wallSeconds();
    return result;
}
