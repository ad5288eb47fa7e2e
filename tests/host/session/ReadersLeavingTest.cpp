#include <fstream>
#include <iterator>
#include <thread>
#include <unistd.h>

#include "host/session/SessionFixture.h"
#include <decoding/Session.h>

using namespace std::chrono_literals;
using decoding::Input;
using decoding::InputOptions;
using decoding::Snapshot;
using testing::HasSubstr;

namespace {

class ReadersLeavingTest : public SessionFixture {
protected:
    ~ReadersLeavingTest() override { ::unlink(_path.c_str()); }

    Snapshot::Input shown() const { return _session->snapshot().inputs.at(0); }

    /// Leaves a copy of cup.mp4 at _path, with damage in its first third.
    void writeDamaged() const
    {
        std::ifstream original(sample("cup.mp4"), std::ios::binary);
        std::string content{std::istreambuf_iterator<char>(original), {}};
        for (std::size_t position = 100'000; position < 500'000; position += 8'191)
            content[position] = static_cast<char>(content[position] ^ 0x55);
        std::ofstream(_path, std::ios::binary) << content;
    }

    /// Reads so far that everything that is damaged has been decoded, and leaves.
    static void readOn(Input &input)
    {
        const auto reader = input.addVideoReader();
        while (const auto frame = reader->next()) {
            if (frame->seconds() > 5)
                break;
        }
    }

    const std::string _path = testing::TempDir() + "readers-leaving-" + std::to_string(getpid()) + ".mp4";
};

} // namespace

TEST_F(ReadersLeavingTest, HaveDamageCountedOnceEachTimeTheyRead)
{
    writeDamaged();
    const auto input = _session->open(_path);
    std::vector<std::int64_t> damaged;
    for (int round = 0; round < 4; ++round) {
        readOn(*input);
        ASSERT_TRUE(waitUntil([&] { return shown().state == decoding::State::Ready; }));
        damaged.push_back(shown().streams.at(0).damaged);
    }
    ASSERT_GT(damaged[0], 0);
    EXPECT_THAT(damaged, testing::ElementsAre(damaged[0], 2 * damaged[0], 3 * damaged[0], 4 * damaged[0]));
    // While somebody reads, too.
    const auto reader = input->addVideoReader();
    ASSERT_TRUE(reader->next());
    EXPECT_GE(shown().streams.at(0).damaged, 4 * damaged[0]);
    EXPECT_LE(shown().streams.at(0).damaged, 5 * damaged[0]);
}

TEST_F(ReadersLeavingTest, OfAFileMustReadOnForTheOthers)
{
    const auto input = _session->open(sample("cup.mp4"));
    ASSERT_TRUE(input->video().next()); // the input's own, which counts from now on
    const auto other = input->addVideoReader();
    int count = 0;
    while (other->next(500ms))
        ++count;
    EXPECT_LE(count, 2 * InputOptions().queuedFrames + 2);
    EXPECT_FALSE(other->hasEnded());
    std::thread reads([&] { countFrames(input->video()); });
    EXPECT_GT(count + countFrames(*other), 200);
    reads.join();
}
