#ifndef TESTS_HOST_SOURCES_LIVEFIXTURE_H
#define TESTS_HOST_SOURCES_LIVEFIXTURE_H

#include <QStringList>

#include <chrono>
#include <memory>
#include <optional>
#include <vector>

#include "MediaFixture.h"
#include "host/queues/Eventually.h"
#include "host/queues/QueueReader.h"
#include "sources/LiveSource.h"

/// A live source, its two queues, and their readers. Tests let it run in real time, so what they expect of durations is
/// generous but where a limit is the point.
class LiveFixture : public MediaFixture {
protected:
    using Clock = std::chrono::steady_clock;
    using milliseconds = std::chrono::milliseconds;

    /// The address of a source that is generated.
    static QString generated(const QString &description) { return QStringLiteral("lavfi:") + description; }

    /// Short delays, so that tests do not last.
    static LiveSource::Options impatient();

    void start(const QString &url, const LiveSource::Options &options = impatient());

    /// Takes what is there. @return whether any block came.
    bool takeMore();

    /// Takes blocks until @p condition holds, for half a minute at most. @return whether it does.
    template <class Condition>
    bool takeUntil(Condition condition)
    {
        return eventually([&] {
            takeMore();
            return condition();
        });
    }
    /// As the other, for @p limit at most.
    template <class Condition>
    bool takeUntilOrFor(milliseconds limit, Condition condition)
    {
        const auto end = Clock::now() + limit;
        return takeUntil([&] { return condition() || Clock::now() >= end; }) && condition();
    }
    bool takeVideo(std::size_t count)
    {
        return takeUntil([&] { return videoBlocks.size() >= count; });
    }

    /// Takes reports along until there are @p count of them.
    bool takeReports(std::size_t count)
    {
        return takeUntil([&] { return reports.size() >= count; });
    }

    /// @return how long the source takes to end after it is asked to.
    milliseconds timeToStop();

    /// Positions of the empty blocks among @p blocks.
    static std::vector<std::size_t> breaksIn(const std::vector<QueueReader::Block> &blocks);

    /// Key blocks begin everything and follow every empty block, and no block time goes back.
    static void expectDecodable(const std::vector<QueueReader::Block> &blocks);

    /// Every block that went in was read, or reported as lost.
    static void expectAccounted(const LiveQueue &queue, const std::vector<QueueReader::Block> &blocks);

    ModkitPtr<LiveQueue> video{new LiveQueue(LiveQueue::Limits())};
    ModkitPtr<LiveQueue> audio{new LiveQueue(LiveQueue::Limits())};
    QueueReader videoReader{*video};
    QueueReader audioReader{*audio};
    std::vector<QueueReader::Block> videoBlocks; // as they were taken
    std::vector<QueueReader::Block> audioBlocks;
    std::vector<std::string> reports;
    std::unique_ptr<LiveSource> source;
};

#endif
