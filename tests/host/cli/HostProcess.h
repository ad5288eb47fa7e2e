#ifndef TESTS_HOST_CLI_HOSTPROCESS_H
#define TESTS_HOST_CLI_HOSTPROCESS_H

#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>

#include <string>

#include <gmock/gmock.h>

/// What became of one run of the program.
struct HostProcess {
    /// Runs it to its end; 60 s at the most.
    static HostProcess run(const QStringList &arguments,
                           const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment())
    {
        QProcess host;
        host.setProcessEnvironment(environment);
        host.start(QStringLiteral(HOST_FILE), arguments);
        return endOf(host);
    }
    /// Has `/bin/sh` run @p script, for what QProcess cannot do, such as arguments that are no text.
    static HostProcess runScript(const QString &script, const QString &directory)
    {
        QProcess shell;
        shell.setWorkingDirectory(directory);
        shell.start(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), script});
        return endOf(shell);
    }

    int exitCode;
    std::string output;
    std::string errors;

private:
    static HostProcess endOf(QProcess &process)
    {
        if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit)
            return {-1, std::string(), "did not end by itself"};
        return {process.exitCode(), process.readAllStandardOutput().toStdString(),
                process.readAllStandardError().toStdString()};
    }
};

/// One line that names the program and ends.
inline testing::Matcher<std::string> isOneLine()
{
    return testing::MatchesRegex("decoding-host: [^\n]+\n");
}

#endif
