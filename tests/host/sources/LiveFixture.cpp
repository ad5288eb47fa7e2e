#include "LiveFixture.h"

LiveSource::Options LiveFixture::impatient()
{
    LiveSource::Options options;
    options.label = QStringLiteral("camera");
    options.openLimit = milliseconds(5000);
    options.stallLimit = milliseconds(1500);
    options.firstRetryDelay = milliseconds(50);
    options.lastRetryDelay = milliseconds(200);
    return options;
}

void LiveFixture::start(const QString &url, const LiveSource::Options &options)
{
    source = std::make_unique<LiveSource>(url.toStdString(), options, video, audio);
}

bool LiveFixture::takeMore()
{
    const std::size_t before = videoBlocks.size() + audioBlocks.size();
    while (const auto block = videoReader.take())
        videoBlocks.push_back(*block);
    while (const auto block = audioReader.take())
        audioBlocks.push_back(*block);
    for (const std::string &report : source->takeReports())
        reports.push_back(report);
    return videoBlocks.size() + audioBlocks.size() > before;
}

LiveFixture::milliseconds LiveFixture::timeToStop()
{
    const auto begin = std::chrono::steady_clock::now();
    source->requestStop();
    source->join();
    return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - begin);
}

std::vector<std::size_t> LiveFixture::breaksIn(const std::vector<QueueReader::Block> &blocks)
{
    std::vector<std::size_t> breaks;
    for (std::size_t position = 0; position < blocks.size(); ++position) {
        if (blocks[position].data.isEmpty())
            breaks.push_back(position);
    }
    return breaks;
}

void LiveFixture::expectDecodable(const std::vector<QueueReader::Block> &blocks)
{
    bool keyBlockWanted = true;
    qint64 lastTimeMs = blocks.empty() ? 0 : blocks.front().blockTimeMs;
    for (const QueueReader::Block &block : blocks) {
        EXPECT_TRUE(!keyBlockWanted || block.keyBlock) << "at the time stamp " << block.timestamp;
        EXPECT_GE(block.blockTimeMs, lastTimeMs);
        keyBlockWanted = block.data.isEmpty();
        lastTimeMs = block.blockTimeMs;
    }
}

void LiveFixture::expectAccounted(const LiveQueue &queue, const std::vector<QueueReader::Block> &blocks)
{
    quint64 accounted = blocks.size();
    for (const QueueReader::Block &block : blocks)
        accounted += block.lost;
    EXPECT_EQ(accounted, queue.figures().blocks);
}
