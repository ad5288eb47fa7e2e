#include "cli/WarningLog.h"

#include <QDebug>

#include <thread>

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

TEST(WarningLog, KeepsWarningsOfAllThreadsUntilTheyAreTaken)
{
    WarningLog log;
    qWarning("first: %d", 1);
    std::thread([] { qCritical("second"); }).join();
    EXPECT_THAT(log.take(), ElementsAre("first: 1", "second"));
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST(WarningLog, DropsWhatIsNoWarning)
{
    WarningLog log;
    qDebug() << "detail";
    qInfo("news");
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST(WarningLog, WritesWhatIsFatalBehindTheWarningsBeforeQtEndsTheProgram)
{
    WarningLog log;
    qWarning("no room left");
    EXPECT_DEATH(qFatal("nothing\nworks"), "^decoding-host: ....-..-..T..:..:..: no room left\n"
                                           "decoding-host: ....-..-..T..:..:..: nothing.works\n$");
}

TEST(WarningLog, WritesWhatComesTooLateForIt)
{
    QtMessageHandler handler = nullptr;
    {
        const WarningLog log;
        handler = qInstallMessageHandler(nullptr);
    }
    testing::internal::CaptureStderr();
    handler(QtWarningMsg, QMessageLogContext(), QStringLiteral("late"));
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::MatchesRegex("decoding-host: ....-..-..T..:..:..: late\n"));
}

TEST(WarningLog, LeavesTheChannelsAsItFoundThem)
{
    const QtMessageHandler before = qInstallMessageHandler(nullptr);
    qInstallMessageHandler(before);
    {
        const WarningLog log;
    }
    const QtMessageHandler after = qInstallMessageHandler(nullptr);
    qInstallMessageHandler(after);
    EXPECT_EQ(after, before);
}
