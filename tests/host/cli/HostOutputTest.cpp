#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

#include <fcntl.h>
#include <string>
#include <unistd.h>

#include "HostProcess.h"
#include "fakes/WaitUntil.h"
#include <sys/stat.h>

namespace {

using testing::AllOf;
using testing::HasSubstr;

} // namespace

TEST(HostOutput, GoesToADirectoryWhoseNameIsNotUtf8)
{
    QTemporaryDir folder;
    const HostProcess result = HostProcess::runScript(
        QStringLiteral("out=$(printf 'o\\377ut'); '%1' decode '%2' --output framemd5:\"$out\"; code=$?; "
                       "ls \"$out\"; rm -r \"$out\"; exit $code")
            .arg(QStringLiteral(HOST_FILE), QStringLiteral(SAMPLES_DIR "/tree.avi")),
        folder.path());
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_THAT(result.output, HasSubstr("\ntree.video.framemd5\n"));
}

TEST(HostOutput, SaysWhatIsWrongWithADirectoryWhoseNameIsNotUtf8)
{
    QTemporaryDir folder;
    const HostProcess result = HostProcess::runScript(
        QStringLiteral("out=$(printf 'o\\377ut'); : > \"$out\"; '%1' decode '%2' --json - --output "
                       "framemd5:\"$out\"; code=$?; rm \"$out\"; exit $code")
            .arg(QStringLiteral(HOST_FILE), QStringLiteral(SAMPLES_DIR "/tree.avi")),
        folder.path());
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.errors, HasSubstr("cannot create the directory o?ut: a file is in the way\n"));
    EXPECT_THAT(result.output, HasSubstr("cannot create the directory o?ut: a file is in the way\""));
}

TEST(HostOutput, RefusesAReportThatCannotBeWrittenOrWouldReplaceAnOutputBeforeItBegins)
{
    QTemporaryDir folder;
    const QString output = QStringLiteral("wav:") + folder.filePath(QStringLiteral("out"));
    const QStringList decode{QStringLiteral("decode"), QStringLiteral(SAMPLES_DIR "/cup.mp4"),
                             QStringLiteral("--output"), output, QStringLiteral("--json")};
    const HostProcess onOutput = HostProcess::run(decode + QStringList{folder.filePath(QStringLiteral("out/cup.wav"))});
    EXPECT_EQ(onOutput.exitCode, 2);
    EXPECT_THAT(onOutput.errors,
                AllOf(isOneLine(), HasSubstr("out/cup.wav\" may be a file that the output wav writes")));
    const HostProcess nowhere =
        HostProcess::run(decode + QStringList{folder.filePath(QStringLiteral("none/report.json"))});
    EXPECT_EQ(nowhere.exitCode, 1);
    EXPECT_THAT(nowhere.errors, AllOf(isOneLine(), HasSubstr("none/report.json: No such file or directory")));
    EXPECT_FALSE(QDir(folder.path()).exists(QStringLiteral("out")));
    EXPECT_EQ(HostProcess::run(decode + QStringList{folder.filePath(QStringLiteral("out/report.json"))}).exitCode, 0);
}

TEST(HostOutput, SaysThatItsOutputCannotBeWritten)
{
    QProcess host;
    host.setStandardOutputFile(QStringLiteral("/dev/full"));
    host.start(QStringLiteral(HOST_FILE), {QStringLiteral("check"), QStringLiteral("--threads"), QStringLiteral("1")});
    ASSERT_TRUE(host.waitForFinished(60000));
    EXPECT_EQ(host.exitCode(), 1);
    EXPECT_THAT(host.readAllStandardError().toStdString(),
                AllOf(isOneLine(), HasSubstr("cannot write to the standard output")));
}

TEST(HostOutput, HasNothingElseInThePlaceOfStandardDescriptorsItWasStartedWithout)
{
    QProcess host; // once the shell has become it
    host.start(QStringLiteral("sh"), {QStringLiteral("-c"), QStringLiteral("exec '" HOST_FILE "' decode " //
                                                                           "lavfi:testsrc2=rate=25 <&- >&- 2>&-")});
    ASSERT_TRUE(host.waitForStarted());
    const QDir descriptors(QStringLiteral("/proc/%1/fd").arg(host.processId()));
    const auto isNull = [&descriptors](const char *number) {
        return QFile::symLinkTarget(descriptors.filePath(QLatin1String(number))) == QLatin1String("/dev/null");
    };
    // The fourth is opened after the first three: none of these is in use by then.
    EXPECT_TRUE(waitUntil([&] { return descriptors.exists(QStringLiteral("3")) && isNull("0"); }));
    EXPECT_TRUE(isNull("1"));
    EXPECT_TRUE(isNull("2"));
    host.kill();
    EXPECT_TRUE(host.waitForFinished(60000));
}

TEST(HostOutput, KeepsStandardDescriptorsThatAreOpen)
{
    QProcess host;
    host.start(QStringLiteral("sh"), {QStringLiteral("-c"), QStringLiteral("exec '" HOST_FILE "' --version <&- 2>&-")});
    ASSERT_TRUE(host.waitForFinished(60000));
    EXPECT_EQ(host.readAllStandardOutput(), "decoding-host " PROJECT_VERSION "\n");
}

TEST(HostOutput, PrintsItsReportThoughTheOtherOneCannotBeWritten)
{
    const HostProcess result = HostProcess::run({QStringLiteral("decode"), QStringLiteral("--json"),
                                                 QStringLiteral("/dev/full"), QStringLiteral(SAMPLES_DIR "/tree.avi")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.output, AllOf(HasSubstr("tree.avi"), HasSubstr("1 input, 1 stream")));
    EXPECT_THAT(result.errors, AllOf(isOneLine(), HasSubstr("cannot write /dev/full: ")));
}

TEST(HostOutput, DoesNotWriteItsReportOverAnInput)
{
    QTemporaryDir folder;
    const QString clip = folder.filePath(QStringLiteral("cup.mp4"));
    ASSERT_TRUE(QFile::copy(QStringLiteral(SAMPLES_DIR "/cup.mp4"), clip));
    const qint64 size = QFile(clip).size();
    const HostProcess result = HostProcess::run({QStringLiteral("decode"), QStringLiteral("--json"), clip, clip});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.errors, AllOf(isOneLine(), HasSubstr("one of the inputs")));
    EXPECT_EQ(QFile(clip).size(), size);
}

TEST(HostOutput, DoesNotWriteAnOutputOverAnInput)
{
    QTemporaryDir folder;
    const QString sound = folder.filePath(QStringLiteral("cup.wav")); // only its name matters
    ASSERT_TRUE(QFile::copy(QStringLiteral(SAMPLES_DIR "/cup.mp4"), sound));
    const qint64 size = QFile(sound).size();
    const HostProcess result =
        HostProcess::run({QStringLiteral("decode"), QStringLiteral("--quiet"), QStringLiteral("--output"),
                          QStringLiteral("wav:") + folder.path(), sound});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.errors, AllOf(isOneLine(), HasSubstr("one of the inputs")));
    EXPECT_EQ(QFile(sound).size(), size);
}

TEST(HostOutput, WritesAnOutputToTheStandardOutputAndAllElseToTheErrorOutput)
{
    QTemporaryDir folder;
    const QString clip = QStringLiteral(SAMPLES_DIR "/cup.mp4");
    for (const QString &kind : {QStringLiteral("framemd5"), QStringLiteral("y4m"), QStringLiteral("raw")}) {
        const QStringList common{QStringLiteral("decode"),    clip,
                                 QStringLiteral("--streams"), QStringLiteral("video"),
                                 QStringLiteral("--board"),   QStringLiteral("always"),
                                 QStringLiteral("--output")};
        ASSERT_EQ(HostProcess::run(QStringList(common) << kind + QLatin1Char(':') + folder.path()).exitCode, 0);
        const HostProcess result = HostProcess::run(QStringList(common) << kind + QStringLiteral(":-"));
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_THAT(result.errors, AllOf(HasSubstr("board running_s="), HasSubstr("1 input, 1 stream, 217 frames")));
        QFile file(folder.filePath(kind == QLatin1String("y4m") ? QStringLiteral("cup.y4m")
                                                                : QStringLiteral("cup.video.") + kind));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        EXPECT_TRUE(result.output == file.readAll().toStdString()) << kind.toStdString();
    }
    EXPECT_FALSE(QFile::exists(QStringLiteral("-")));
}

TEST(HostOutput, WritesItsJsonReportToTheStandardOutput)
{
    const HostProcess result = HostProcess::run({QStringLiteral("decode"), QStringLiteral("--json"),
                                                 QStringLiteral("-"), QStringLiteral(SAMPLES_DIR "/tree.avi")});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.errors, HasSubstr("1 input, 1 stream"));
    EXPECT_TRUE(QJsonDocument::fromJson(QByteArray::fromStdString(result.output)).isObject()) << result.output;
}

TEST(HostOutput, GoesOnWhenTheReaderOfItsStandardOutputGoes)
{
    QTemporaryDir folder;
    const QString pipe = folder.filePath(QStringLiteral("pipe"));
    ASSERT_EQ(::mkfifo(qUtf8Printable(pipe), 0600), 0);
    const int reader = ::open(qUtf8Printable(pipe), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    QProcess host;
    host.setStandardOutputFile(pipe, QIODevice::Append);
    host.start(QStringLiteral(HOST_FILE),
               {QStringLiteral("decode"), QStringLiteral("--streams"), QStringLiteral("video"),
                QStringLiteral("--output"), QStringLiteral("y4m:-"), QStringLiteral("--output"),
                QStringLiteral("raw:") + folder.path(), QStringLiteral(SAMPLES_DIR "/cup.mp4")});
    char byte = 0;
    EXPECT_TRUE(waitUntil([&] { return ::read(reader, &byte, 1) == 1; }));
    ::close(reader);
    ASSERT_TRUE(host.waitForFinished(60000));
    EXPECT_EQ(host.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(host.exitCode(), 1);
    EXPECT_THAT(host.readAllStandardError().toStdString(),
                HasSubstr("cannot write the standard output: its reader has closed it"));
    EXPECT_EQ(QFile(folder.filePath(QStringLiteral("cup.video.raw"))).size(), 217 * 640 * 480 * 3 / 2);
}
