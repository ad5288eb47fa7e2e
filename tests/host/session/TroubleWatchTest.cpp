#include "session/TroubleWatch.h"

#include "media/ClockTime.h"
#include <gmock/gmock.h>

using namespace std::chrono_literals;
using decoding::Snapshot;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class TroubleWatchTest : public testing::Test {
protected:
    TroubleWatchTest()
    {
        _figures.name = "cam video";
        _figures.frames = 1;
        _figures.reads = 1;
    }

    static TroubleWatch::Moment at(std::chrono::milliseconds time)
    {
        return {Reminder::Instant(time), CountedTrouble::ClockInstant(time)};
    }
    static std::string clock(std::chrono::milliseconds time) { return ClockTime::ofDay(at(time).clock); }

    std::vector<std::string> after(std::chrono::milliseconds time)
    {
        std::vector<std::string> texts;
        for (const Report &report : _watch.update(_figures, at(time)))
            texts.push_back((report.isError ? "error: " : "") + report.text);
        return texts;
    }
    std::string last() const { return _watch.last() ? _watch.last()->text : std::string(); }

    TroubleWatch _watch;
    TroubleWatch::Figures _figures;
};

} // namespace

TEST_F(TroubleWatchTest, HasNothingToTellOfAStreamThatRuns)
{
    for (std::chrono::seconds time = 0s; time < 1h; time += 10s) {
        EXPECT_THAT(after(time), IsEmpty());
        _figures.frames += 250;
        _figures.decoding = time;
    }
    EXPECT_THAT(_watch.end(_figures, at(1h)), IsEmpty());
    EXPECT_EQ(_watch.last(), std::nullopt);
}

TEST_F(TroubleWatchTest, NamesACodecThatIsMissingAndAgainNowAndThenAndAnother)
{
    _figures.missingCodec = "NOPE";
    EXPECT_THAT(after(1s), ElementsAre("error: cam video: no decoder for NOPE"));
    EXPECT_EQ(last(), "no decoder for NOPE");
    EXPECT_THAT(after(2s), IsEmpty());
    EXPECT_THAT(after(11s), ElementsAre("error: cam video: no decoder for NOPE"));
    _figures.missingCodec = "ZZQ9";
    EXPECT_THAT(after(12s), ElementsAre("error: cam video: no decoder for ZZQ9"));
    _figures.missingCodec.clear();
    EXPECT_THAT(after(80s), IsEmpty());
    EXPECT_EQ(last(), "no decoder for ZZQ9") << "what is over remains the latest";
}

TEST_F(TroubleWatchTest, CountsDamageFromTheFirstWhichTheCodecTellsItself)
{
    _figures.damaged = 2;
    _figures.damage = "damaged picture or samples: h264";
    EXPECT_THAT(after(1s), IsEmpty());
    EXPECT_EQ(last(), "damaged picture or samples: h264");
    EXPECT_EQ(_watch.damagedAt(), Reminder::Instant(1s));
    _figures.damaged = 147;
    EXPECT_THAT(after(11s), ElementsAre("cam video: 147 damaged pictures since " + clock(1s)));
    _figures.damaged = 148;
    EXPECT_THAT(after(200s), ElementsAre("cam video: 1 damaged picture since " + clock(200s)));
    _figures.isVideo = false;
    _figures.damaged = 150;
    EXPECT_THAT(after(210s), ElementsAre("cam video: 3 damaged blocks since " + clock(200s)));
}

TEST_F(TroubleWatchTest, TellsAnOutputThatFailsAtOnceAndItsMending)
{
    _figures.outputs.resize(2);
    EXPECT_THAT(after(1s), IsEmpty());
    Snapshot::Output &output = _figures.outputs[1];
    output.kind = "y4m";
    output.error = "cannot write cam.y4m: full";
    output.failed = 1;
    output.failing = true;
    EXPECT_THAT(after(2s), ElementsAre("error: cannot write cam.y4m: full"));
    EXPECT_EQ(last(), "cannot write cam.y4m: full");
    output.failed = 200;
    EXPECT_THAT(after(3s), IsEmpty());
    EXPECT_THAT(after(12s),
                ElementsAre("cam video: 200 frames not written since " + clock(2s) + ": cannot write cam.y4m: full"));
    output.failing = false;
    EXPECT_THAT(after(13s), IsEmpty());
    EXPECT_THAT(after(13999ms), IsEmpty());
    EXPECT_THAT(after(14s), ElementsAre("cam video: y4m is written again; 200 frames are missing"));
    EXPECT_THAT(after(100s), IsEmpty());
}

TEST_F(TroubleWatchTest, TakesNoSingleFrameThatFitsForTheMendingOfAnOutputAndTellsTheNextFailureAtOnce)
{
    Snapshot::Output output;
    output.kind = "raw";
    output.error = "cannot write cam.raw: full";
    const auto watched = [&](std::chrono::milliseconds time, std::int64_t failed, bool failing) {
        output.failed = failed;
        output.failing = failing;
        _figures.outputs = {output};
        return after(time);
    };
    EXPECT_THAT(watched(1s, 23, true), ElementsAre("error: cannot write cam.raw: full"));
    EXPECT_THAT(watched(1250ms, 23, false), IsEmpty()) << "one frame has found room";
    EXPECT_THAT(watched(1500ms, 24, true), IsEmpty());
    EXPECT_THAT(watched(2s, 30, false), IsEmpty()) << "failed and was written between two looks";
    EXPECT_THAT(watched(2250ms, 30, false), IsEmpty());
    EXPECT_THAT(watched(3s, 31, false), IsEmpty()) << "and once more";
    EXPECT_THAT(watched(3250ms, 31, false), IsEmpty());
    EXPECT_THAT(watched(4250ms, 31, false), ElementsAre("cam video: raw is written again; 31 frames are missing"));
    EXPECT_THAT(watched(5s, 33, true),
                ElementsAre("cam video: 2 frames not written since " + clock(5s) + ": cannot write cam.raw: full"));
    EXPECT_THAT(watched(5250ms, 40, true), IsEmpty());
    EXPECT_THAT(watched(6s, 40, false), IsEmpty());
    EXPECT_THAT(watched(7s, 40, false), ElementsAre("cam video: raw is written again; 40 frames are missing"));
}

TEST_F(TroubleWatchTest, TellsAStreamThatGivesNoFrame)
{
    _figures.frames = 0;
    _figures.decoding = 4999ms;
    EXPECT_THAT(after(5s), IsEmpty());
    _figures.decoding = 5s;
    EXPECT_THAT(after(6s), ElementsAre("cam video: no frame in 5 s"));
    _figures.decoding = 15s;
    EXPECT_THAT(after(16s), ElementsAre("cam video: no frame in 15 s"));
    _figures.frames = 1;
    EXPECT_THAT(after(100s), IsEmpty());
}

TEST_F(TroubleWatchTest, TellsALiveStreamThatIsGivenNothingAndWaitsForOneOfAFile)
{
    _figures.frames = 0;
    _figures.reads = 0;
    _figures.decoding = 5s;
    EXPECT_THAT(after(6s), IsEmpty());
    EXPECT_FALSE(_watch.lacksFrames());
    _figures.isLive = true;
    EXPECT_THAT(after(7s), ElementsAre("cam video: no frame in 5 s"));
    EXPECT_TRUE(_watch.lacksFrames());
    _figures.missingCodec = "NOPE";
    EXPECT_THAT(after(8s), ElementsAre("error: cam video: no decoder for NOPE"));
    EXPECT_FALSE(_watch.lacksFrames());
}

TEST_F(TroubleWatchTest, TellsAtTheEndWhatHasGivenNoFrameThoughItWasRead)
{
    _figures.frames = 0;
    const std::vector<Report> reports = _watch.end(_figures, at(1s));
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].text, "cam video: has given no frame");
    _figures.reads = 0;
    EXPECT_THAT(_watch.end(_figures, at(1s)), IsEmpty());
}
