#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <iterator>
#include <string>

#include "HostProcess.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;

int startedThreads(const HostProcess &run)
{
    return QJsonDocument::fromJson(QByteArray::fromStdString(run.output))
        .object()[QStringLiteral("threads")]
        .toArray()
        .size();
}

} // namespace

TEST(DecodingHost, ShowsTheComponentAndThatNothingIsLeftBehind)
{
    const HostProcess result =
        HostProcess::run({QStringLiteral("check"), QStringLiteral("--threads"), QStringLiteral("3")});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_THAT(result.output,
                AllOf(HasSubstr("base.avformat.DecodingManager"), //
                      HasSubstr("e0711c9b-7725-4e3c-bdbf-b716c3a34142: IDecodingManager, ITuneDecoding"),
                      HasSubstr("252e7437-a55d-4499-9660-194d7d81b5d8: IDecodingManager, ITuneDecoding"),
                      HasSubstr("threads    3 ("), HasSubstr("still published: nothing; threads left: none"),
                      HasSubstr("objects    none alive")));
}

TEST(DecodingHost, ReportsTheSameAsJson)
{
    const HostProcess result = HostProcess::run(
        {QStringLiteral("check"), QStringLiteral("--threads"), QStringLiteral("1"), QStringLiteral("--json")});
    EXPECT_EQ(result.exitCode, 0);
    QJsonParseError error;
    const QJsonObject report = QJsonDocument::fromJson(QByteArray::fromStdString(result.output), &error).object();
    ASSERT_EQ(error.error, QJsonParseError::NoError) << result.output;
    EXPECT_EQ(report[QStringLiteral("component")].toObject()[QStringLiteral("name")].toString(),
              QStringLiteral("base.avformat.DecodingManager"));
    EXPECT_EQ(report[QStringLiteral("published")].toArray().size(), 2);
    EXPECT_EQ(report[QStringLiteral("threads")].toArray().size(), 1);
    const QJsonObject afterStop = report[QStringLiteral("afterStop")].toObject();
    EXPECT_EQ(afterStop[QStringLiteral("published")].toArray().size(), 0);
    EXPECT_EQ(afterStop[QStringLiteral("threads")].toArray().size(), 0);
    EXPECT_TRUE(afterStop[QStringLiteral("liveObjects")].toObject().isEmpty());
}

TEST(DecodingHost, TakesTheThreadsFromTheCommandLineThenTheEnvironmentThenTheFile)
{
    QTemporaryDir folder;
    const QString file = folder.filePath(QStringLiteral("host.ini"));
    QFile settings(file);
    ASSERT_TRUE(settings.open(QIODevice::WriteOnly));
    settings.write("THREADS=5\n");
    settings.close();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("DECODING_THREADS"));
    QStringList arguments{QStringLiteral("check"), QStringLiteral("--json"), QStringLiteral("--settings"), file};
    EXPECT_EQ(startedThreads(HostProcess::run(arguments, environment)), 5);
    environment.insert(QStringLiteral("DECODING_THREADS"), QStringLiteral("4"));
    EXPECT_EQ(startedThreads(HostProcess::run(arguments, environment)), 4);
    arguments << QStringLiteral("--threads") << QStringLiteral("0");
    EXPECT_EQ(startedThreads(HostProcess::run(arguments, environment)), 0);
}

TEST(DecodingHost, NamesALibraryThatIsNotThere)
{
    const HostProcess result = HostProcess::run(
        {QStringLiteral("check"), QStringLiteral("--component"), QStringLiteral("/nowhere/libNothing.so")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_THAT(result.errors, AllOf(isOneLine(), HasSubstr("/nowhere/libNothing.so")));
}

TEST(DecodingHost, NamesALibraryThatIsNoComponent)
{
    const HostProcess result = HostProcess::run(
        {QStringLiteral("check"), QStringLiteral("--component"), QStringLiteral(LIBRARY_WITHOUT_EXPORTS)});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.errors, AllOf(isOneLine(), HasSubstr(LIBRARY_WITHOUT_EXPORTS), HasSubstr("ModkitGetObject")));
}

TEST(DecodingHost, DoesNotDecodeWithAComponentThatIsNoDecodingManager)
{
    const HostProcess result =
        HostProcess::run({QStringLiteral("decode"), QStringLiteral("--component"),
                          QStringLiteral(COMPONENT_WITHOUT_INTERFACES), QStringLiteral(SAMPLES_DIR "/cup.mp4")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_THAT(result.errors,
                AllOf(isOneLine(), HasSubstr(COMPONENT_WITHOUT_INTERFACES), HasSubstr("IDecodingManager")));
}

TEST(DecodingHost, NamesASettingsFileThatIsNotThere)
{
    const HostProcess result =
        HostProcess::run({QStringLiteral("check"), QStringLiteral("--settings"), QStringLiteral("/nowhere/host.ini")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.errors, AllOf(isOneLine(), HasSubstr("/nowhere/host.ini")));
}

TEST(DecodingHost, RefusesThreadsThatAreNoNumberOrWouldUseUpTheMachine)
{
    for (const char *count : {"-1", "1025", "2147483647", "99999999999", "many", ""}) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DECODING_THREADS"), QString::fromLatin1(count));
        const HostProcess ofEnvironment = HostProcess::run({QStringLiteral("check")}, environment);
        EXPECT_EQ(ofEnvironment.exitCode, 1) << count;
        EXPECT_THAT(ofEnvironment.errors, AllOf(isOneLine(), HasSubstr("THREADS"), HasSubstr(count)));
        const HostProcess ofCommandLine =
            HostProcess::run({QStringLiteral("check"), QStringLiteral("--threads"), QString::fromLatin1(count)});
        EXPECT_EQ(ofCommandLine.exitCode, 2) << count;
        EXPECT_THAT(ofCommandLine.errors, AllOf(isOneLine(), HasSubstr("--threads"), HasSubstr(count)));
    }
}

TEST(DecodingHost, DoesNotDecodeWithoutThreads)
{
    const HostProcess result = HostProcess::run({QStringLiteral("decode"), QStringLiteral("--threads"),
                                                 QStringLiteral("0"), QStringLiteral(SAMPLES_DIR "/cup.mp4")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.errors, AllOf(isOneLine(), HasSubstr("THREADS")));
}

TEST(DecodingHost, SaysHowManyThreadsStartedWhereTheSystemRefusesSome)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LD_PRELOAD"), QStringLiteral(REFUSED_THREADS));
    // It wants to be the first itself.
    environment.insert(QStringLiteral("ASAN_OPTIONS"),
                       environment.value(QStringLiteral("ASAN_OPTIONS")) + QStringLiteral(":verify_asan_link_order=0"));
    environment.insert(QStringLiteral("THREADS_TO_START"), QStringLiteral("10"));
    const HostProcess check =
        HostProcess::run({QStringLiteral("check"), QStringLiteral("--threads"), QStringLiteral("64")}, environment);
    EXPECT_EQ(check.exitCode, 1);
    EXPECT_EQ(check.output, "");
    EXPECT_THAT(check.errors, AllOf(isOneLine(), HasSubstr(" 10 of 64 decoder threads started: ")));

    environment.insert(QStringLiteral("THREADS_TO_START"), QStringLiteral("11")); // one is the session's
    QTemporaryDir folder;
    const HostProcess decode = HostProcess::run(
        {QStringLiteral("decode"), QStringLiteral("--threads"), QStringLiteral("64"), QStringLiteral("--output"),
         QStringLiteral("framemd5:") + folder.path(), QStringLiteral(SAMPLES_DIR "/cup.mp4")},
        environment);
    EXPECT_EQ(decode.exitCode, 1);
    EXPECT_EQ(decode.output, "");
    EXPECT_THAT(decode.errors, AllOf(isOneLine(), HasSubstr(" 10 of 64 decoder threads started: ")));
    EXPECT_TRUE(QDir(folder.path()).isEmpty()) << "something was decoded";
}

TEST(DecodingHost, SaysInOneLineWhatIsWrongWithATextOfSeveralLines)
{
    EXPECT_THAT(
        HostProcess::run({QStringLiteral("check"), QStringLiteral("--threads"), QStringLiteral("one\nor two")}).errors,
        AllOf(isOneLine(), HasSubstr("one or two")));
    EXPECT_THAT(
        HostProcess::run({QStringLiteral("check"), QStringLiteral("--component"), QStringLiteral("/no\nwhere.so")})
            .errors,
        AllOf(isOneLine(), HasSubstr("/no where.so")));
}

TEST(DecodingHost, RefusesArgumentsThatMakeNoSense)
{
    const QStringList cases[] = {
        {},
        {QStringLiteral("camera.mp4")},
        {QStringLiteral("check"), QStringLiteral("camera.mp4")},
        {QStringLiteral("decode")},
        {QStringLiteral("probe")},
        {QStringLiteral("decode"), QStringLiteral("--output"), QStringLiteral("mkv"), QStringLiteral("camera.mp4")},
    };
    const char *const culprits[] = {"command", "camera.mp4", "camera.mp4", "INPUT", "INPUT", "mkv"};
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const HostProcess result = HostProcess::run(cases[i]);
        EXPECT_EQ(result.exitCode, 2) << culprits[i];
        EXPECT_EQ(result.output, "");
        EXPECT_THAT(result.errors, AllOf(isOneLine(), HasSubstr(culprits[i])));
    }
}

TEST(DecodingHost, WritesHelpAndVersionToTheStandardOutput)
{
    for (const char *const command : {"decode", "probe", "check"}) {
        const HostProcess result = HostProcess::run({QString::fromLatin1(command), QStringLiteral("--help")});
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(result.errors, "");
        EXPECT_THAT(result.output, HasSubstr("Usage: decoding-host " + std::string(command)));
    }
    const HostProcess version = HostProcess::run({QStringLiteral("--version")});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_EQ(version.output, "decoding-host " PROJECT_VERSION "\n");
}
