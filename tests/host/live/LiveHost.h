#ifndef TESTS_HOST_LIVE_LIVEHOST_H
#define TESTS_HOST_LIVE_LIVEHOST_H

#include <QStringList>
#include <QTemporaryDir>

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "control/ControlClient.h"
#include "host/decode/HostRun.h"

/// A `decoding-host decode` that runs beside the test, takes requests and writes the board as lines. Belongs to one
/// thread; what the host writes is read while that thread waits for something, and at its end.
class LiveHost final {
public:
    using Clock = std::chrono::steady_clock;

    /// What the host wrote, and when it was read.
    struct Line {
        Clock::time_point at;
        std::string text;
    };

    /// A line of the request `list`.
    struct Row {
        std::string input;
        std::string kind;
        std::string state;
        qint64 frames = 0;
        qint64 lost = 0;
        std::optional<int> latencyMs;
        std::optional<int> worstLatencyMs;
        std::string mode;
        qint64 dropped = 0; // by its outputs
        qint64 damaged = 0;
        qint64 notWritten = 0;
        qint64 connections = 0;
    };

    /// What it holds of the system.
    struct Holdings {
        int descriptors = 0;
        int threads = 0;
        qint64 residentBytes = 0;
    };

    /// What it writes to in place of the test.
    struct Terminal {
        QString name; // empty: none
        bool hasKeys;
    };

    /// Starts it, and returns once it takes requests. @param arguments behind `decode`.
    /// @param launcher a program that starts it with what stands behind, and its own arguments; empty: none.
    explicit LiveHost(const QStringList &arguments, QStringList launcher = {}, const Terminal &terminal = Terminal());
    /// Kills it, unless it has ended. It is a failure of the calling test when it has done that by itself.
    ~LiveHost();
    Q_DISABLE_COPY(LiveHost)

    ControlClient::Answer ask(const std::vector<std::string> &words) const;
    /// Asks for what must succeed; fails the calling test otherwise.
    std::vector<std::string> request(const std::vector<std::string> &words) const;

    std::vector<Row> list() const;
    /// The row of the input's stream of this kind; an empty one when the list has none.
    Row row(const std::string &input, const std::string &kind = "video") const;
    std::map<std::string, std::string> status() const;

    /// Waits until @p condition holds, for half a minute at most. @return whether it does.
    template <class Condition>
    bool until(Condition condition)
    {
        return untilBefore(Clock::now() + std::chrono::seconds(30), condition);
    }
    /// Reads what the host writes for @p duration.
    void watch(std::chrono::milliseconds duration)
    {
        untilBefore(Clock::now() + duration, [] { return false; });
    }
    /// Waits until the board has a new line that @p pattern, a regular expression, is found in. @return whether it
    /// does.
    bool shows(const char *pattern);

    /// What it said on its standard error output.
    const std::vector<Line> &messages() const { return _messages; }
    /// Those of them that @p pattern is found in.
    std::vector<Line> messages(const char *pattern) const;
    /// The lines of the board, and at last the report for people.
    const std::vector<Line> &board() const { return _board; }

    /// As of what was read last.
    bool isRunning() const { return _process.state() != QProcess::NotRunning; }
    qint64 processId() const { return _process.processId(); }
    std::string socket() const { return _folder.filePath(QStringLiteral("control")).toStdString(); }
    Holdings holdings() const;
    /// Physical memory that it holds now.
    qint64 residentBytes() const;

    /// Asks it to quit, and waits for its end.
    HostRun quit();
    /// Waits for its end. It is a failure of the calling test when it crashes or takes longer than @p limit.
    HostRun end(std::chrono::milliseconds limit = std::chrono::seconds(30));

private:
    template <class Condition>
    bool untilBefore(Clock::time_point deadline, Condition condition)
    {
        while (!condition()) {
            if (Clock::now() > deadline)
                return false;
            if (_process.state() == QProcess::NotRunning)
                return condition();
            readOn();
        }
        return true;
    }
    void readOn();
    void take(QProcess::ProcessChannel channel, std::vector<Line> &lines);

    const QTemporaryDir _folder;
    ChildProcess _process;
    bool _hasEnded = false; // as the test has it
    std::vector<Line> _messages;
    std::vector<Line> _board;
};

#endif
