#include "ComponentDecoding.h"

#include <QSemaphore>

#include <memory>
#include <optional>

#include "ClipQueue.h"
#include "LoadedComponent.h"
#include "format/FormatManager.h"
#include "format/PictureHeader.h"
#include "queues/BurstQueue.h"

namespace {

/// Counts the frames of one stream, and tells when its end has come.
class CountingOutput final : public IVideoOutputQueue {
public:
    CountingOutput(FrameCount &count, QSemaphore &ended)
        : _count(count)
        , _ended(ended)
    {
    }

    void push(const VideoFrameHandle &frame, qint64 /*timestamp*/, qint64 /*blockTime*/) override
    {
        const PictureHeader *const picture = frame.isNull() ? nullptr : PictureHeader::of(*frame);
        if (picture)
            _count.add(picture->plane(0), picture->stride[0], picture->width, picture->height);
        else
            _ended.release();
    }

private:
    FrameCount &_count;
    QSemaphore &_ended;
};

/// @return @p queue as the host has files decoded, or live streams with --burst; itself where neither is asked for.
ModkitPtr<IInputQueue> inBursts(const ModkitPtr<IInputQueue> &queue, const DecodingTask &task, DamageCounts &damage)
{
    if (task.liveBurst > 0) {
        const auto length = [longest = task.liveBurst](bool /*keyBlocks*/) { return longest; };
        return ModkitPtr<BurstQueue>(new BurstQueue(queue, 0, length, std::chrono::seconds(1)));
    }
    if (task.burstMs == 0)
        return queue;
    // One pace for all, which decode the same.
    const auto length = [pace = damage.watchPace({Clip::origin}), limit = std::chrono::milliseconds(task.burstMs)](
                            bool keyBlocks) { return pace->packetsWithin(keyBlocks, limit); };
    return ModkitPtr<BurstQueue>(new BurstQueue(queue, 0, length));
}

} // namespace

std::variant<DecodingResult, std::string> ComponentDecoding::run(const Clip &clip, const DecodingTask &task)
{
    LoadedComponent component;
    const auto damage = std::make_shared<DamageCounts>();
    if (const auto error = component.start(task.threadCount, ModkitPtr<IAVFormatManager>(new FormatManager(damage))))
        return *error;
    if (task.timeSaving)
        component.tuning().useTimeSavingMode();

    DecodingResult result;
    result.streams.assign(static_cast<std::size_t>(task.streamCount), FrameCount(task.checking));
    QSemaphore ended;
    const ResourceUse use;
    std::optional<Schedule> schedule;
    if (task.paced || task.liveBurst > 0)
        schedule.emplace(Schedule::Clock::now() + Schedule::frameTime, task.streamCount);
    std::vector<ModkitPtr<IDecoder>> handles;
    for (int stream = 0; stream < task.streamCount; ++stream) {
        const ModkitPtr<IVideoOutputQueue> output(
            new CountingOutput(result.streams[static_cast<std::size_t>(stream)], ended));
        const ModkitPtr<IInputQueue> queue =
            inBursts(ModkitPtr<IInputQueue>(new ClipQueue(clip, schedule, stream)), task, *damage);
        handles.push_back(component.manager().createVideoDecoder(queue, output, task.paced ? CreationFlags::Paced : 0,
                                                                 QStringLiteral("stream %1").arg(stream)));
    }
    ended.acquire(task.streamCount);
    result.processorSeconds = use.processorSeconds();
    result.wallSeconds = use.wallSeconds();
    return result;
}
