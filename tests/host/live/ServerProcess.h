#ifndef TESTS_HOST_LIVE_SERVERPROCESS_H
#define TESTS_HOST_LIVE_SERVERPROCESS_H

#include <QStringList>

#include <algorithm>
#include <csignal>
#include <memory>
#include <vector>

#include "ChildProcess.h"
#include <gmock/gmock.h>

/// A program that sends media, and ends with its owner at the latest. Belongs to one thread.
class ServerProcess final {
public:
    ServerProcess(const QString &program, const QStringList &arguments)
    {
        _process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        _process.start(program, arguments);
        EXPECT_TRUE(_process.waitForStarted()) << program.toStdString();
    }
    ~ServerProcess() { kill(); }
    Q_DISABLE_COPY(ServerProcess)

    /// Serves the pictures of @p file by RTSP at @p port, and returns when clients can connect.
    /// @param more further arguments of the server.
    static std::unique_ptr<ServerProcess> rtsp(const QString &file, quint16 port, const QStringList &more = {})
    {
        auto server = std::make_unique<ServerProcess>(
            QStringLiteral("/usr/bin/python3"),
            QStringList{QStringLiteral(RTSP_SERVER_FILE), QString::number(port), file} + more);
        EXPECT_TRUE(server->_process.waitForReadyRead()) << "the RTSP server does not come up";
        return server;
    }

    /// Sends @p file in real time as a transport stream to @p url.
    static std::unique_ptr<ServerProcess> transportStream(const QString &file, const QString &url,
                                                          const QString &muxer = QStringLiteral("mpegts"))
    {
        return std::make_unique<ServerProcess>(
            QStringLiteral("ffmpeg"),
            QStringList{QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-re"), QStringLiteral("-i"),
                        file, QStringLiteral("-c"), QStringLiteral("copy"), QStringLiteral("-f"), muxer, url});
    }

    /// @return how many lines @p text the program has written behind its first one.
    int linesOf(const char *text)
    {
        while (_process.waitForReadyRead(1)) {
        }
        while (_process.canReadLine())
            _lines.push_back(_process.readLine().trimmed());
        return static_cast<int>(std::count(_lines.begin(), _lines.end(), text));
    }

    bool isRunning()
    {
        _process.waitForReadyRead(1); // notices the end
        return _process.state() != QProcess::NotRunning;
    }

    /// Has the program end by itself.
    void end()
    {
        _process.terminate();
        _process.waitForFinished();
    }

    /// Has it do nothing until it goes on, with its connections as they are.
    void pause() { ::kill(static_cast<pid_t>(_process.processId()), SIGSTOP); }
    void goOn() { ::kill(static_cast<pid_t>(_process.processId()), SIGCONT); }

    void kill()
    {
        _process.kill();
        _process.waitForFinished();
    }

private:
    ChildProcess _process;
    std::vector<QByteArray> _lines;
};

#endif
