#include <algorithm>
#include <set>

#include "DecodeFixture.h"
#include <gmock/gmock.h>

namespace {

using testing::Contains;
using testing::HasSubstr;

/// A system that gives the host so many threads, and refuses all others.
class FewThreads : public DecodeFixture {
protected:
    ~FewThreads() override
    {
        qunsetenv("LD_PRELOAD");
        qunsetenv("THREADS_TO_START");
        qunsetenv("THREADS_AT_ONCE");
    }

    static HostRun decodeWith(int threads)
    {
        qputenv("LD_PRELOAD", REFUSED_THREADS);
        qputenv("THREADS_TO_START", QByteArray::number(threads));
        return HostRun::decode(
            {"--threads", "2", "--duration", "0.3", sample("cup.mp4"), "door=lavfi:testsrc2=rate=25:size=64x48"});
    }
};

} // namespace

TEST_F(FewThreads, AreReportedWhereTheyAreMissingAndEndNoRunWithoutAWord)
{
    const std::vector<std::string> places = {"no thread for the session", "no threads to write the outputs",
                                             "no thread to open the inputs", "door: there is no thread to read it",
                                             "cup.mp4: there is no thread to read it"};
    std::set<std::string> named;
    constexpr int most = 100;
    int threads = 0;
    for (; threads < most; ++threads) {
        SCOPED_TRACE(threads);
        const HostRun run = decodeWith(threads);
        if (run.exitCode == 0)
            break;
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_THAT(run.errors, Contains(testing::AnyOf(HasSubstr("no thread "), HasSubstr("no threads "),
                                                        HasSubstr("threads started: the system allows no more"))));
        for (const std::string &error : run.errors) {
            for (const std::string &place : places) {
                if (error.find(place) != std::string::npos)
                    named.insert(place);
            }
        }
    }
    EXPECT_LT(threads, most);
    EXPECT_EQ(named, std::set<std::string>(places.begin(), places.end()));
}

TEST_F(FewThreads, DecodeAllFilesAsTheyComeFree)
{
    qputenv("LD_PRELOAD", REFUSED_THREADS);
    qputenv("THREADS_AT_ONCE", "12");
    QStringList arguments{"--threads", "2"};
    for (int file = 0; file < 30; ++file)
        arguments << sample("tree.avi");
    const HostRun run = HostRun::decode(arguments);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.errors, testing::Not(testing::IsEmpty()));
    EXPECT_THAT(run.errors, testing::Each(testing::AllOf(HasSubstr("there is no thread to read it"),
                                                         HasSubstr("ulimit -u"), HasSubstr("trying again"))));
    ASSERT_EQ(run.inputs().size(), 30);
    for (const QJsonValue &input : run.inputs())
        EXPECT_EQ(input["streams"][0]["frames"].toInt(), 24);
    run.expectNothingLeft();
}

TEST_F(FewThreads, AreEnoughWithoutThoseThatLibavcodecIsRefused)
{
    qputenv("LD_PRELOAD", REFUSED_THREADS);
    const auto decodedWith = [](int threads, const char *ofCodec) {
        qputenv("THREADS_AT_ONCE", QByteArray::number(threads));
        return HostRun::decode({"--threads", "1", "--streams", "video", "--codec-threads", ofCodec, sample("cup.mp4")});
    };
    int enough = 1;
    while (enough < 100 && decodedWith(enough, "1").exitCode != 0)
        ++enough;
    ASSERT_LT(enough, 100);
    for (int threads = enough; threads < enough + 6; ++threads) {
        SCOPED_TRACE(threads);
        const HostRun run = decodedWith(threads, "4");
        EXPECT_EQ(run.exitCode, 0);
        EXPECT_EQ(run.stream("cup.mp4", "video")["frames"].toInt(), 217);
    }
}
