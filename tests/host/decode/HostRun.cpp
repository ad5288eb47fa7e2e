#include "HostRun.h"

#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>

#include <gmock/gmock.h>

HostRun HostRun::decode(const QStringList &arguments, std::chrono::seconds limit,
                        const std::function<void(qint64)> &whileRunning, const char *program)
{
    const QTemporaryDir folder;
    QFile json(folder.filePath(QStringLiteral("report.json")));
    QStringList all{"decode", "--quiet"};
    if (!arguments.contains("--json"))
        all << "--json" << json.fileName();
    QProcess process;
    process.start(QString::fromLocal8Bit(program ? program : HOST_FILE), all + arguments);
    EXPECT_TRUE(process.waitForStarted());
    whileRunning(process.processId());
    const bool ended = process.waitForFinished(static_cast<int>(std::chrono::milliseconds(limit).count()));
    EXPECT_TRUE(ended) << "the host did not end within " << limit.count() << " s";
    if (!ended) {
        process.kill();
        process.waitForFinished();
    }

    HostRun run;
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.output = process.readAllStandardOutput().toStdString();
    for (const QByteArray &line : process.readAllStandardError().split('\n')) {
        if (!line.isEmpty())
            run.errors.push_back(line.toStdString());
    }
    EXPECT_NE(run.exitCode, -1) << testing::PrintToString(run.errors);
    if (json.open(QIODevice::ReadOnly))
        run.report = QJsonDocument::fromJson(json.readAll()).object();
    return run;
}

QJsonObject HostRun::input(const std::string &name) const
{
    for (const QJsonValue &each : inputs()) {
        if (each.toObject()["name"].toString().toStdString() == name)
            return each.toObject();
    }
    return QJsonObject();
}

QJsonObject HostRun::stream(const std::string &name, const std::string &kind) const
{
    for (const QJsonValue &each : input(name)["streams"].toArray()) {
        if (each.toObject()["kind"].toString().toStdString() == kind)
            return each.toObject();
    }
    return QJsonObject();
}

void HostRun::expectNothingLeft() const
{
    const QJsonObject left = report["afterStop"].toObject();
    ASSERT_FALSE(left.isEmpty()) << "there is no report";
    EXPECT_EQ(left["liveObjects"].toObject(), QJsonObject());
    EXPECT_EQ(left["bigBlocks"].toInt(-1), 0);
    EXPECT_EQ(left["threads"].toArray().size(), 0);
    EXPECT_EQ(left["published"].toArray().size(), 0);
}

void HostRun::expectSuccess() const
{
    EXPECT_EQ(exitCode, 0);
    EXPECT_THAT(errors, testing::IsEmpty());
    expectNothingLeft();
}
