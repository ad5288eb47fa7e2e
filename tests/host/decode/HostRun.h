#ifndef HOST_DECODE_TESTS_HOSTRUN_H
#define HOST_DECODE_TESTS_HOSTRUN_H

#include <QJsonArray>
#include <QJsonObject>
#include <QStringList>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

/// What became of one run of `decoding-host decode`.
struct HostRun {
    /// Runs the program with @p arguments, `--quiet` and, unless they name a file for it, `--json`, to its end. It is a
    /// failure of the calling test when it crashes or takes longer than @p limit.
    /// @param whileRunning called once it was started, with its process id. @param program null: the host itself.
    static HostRun decode(
        const QStringList &arguments, std::chrono::seconds limit = std::chrono::seconds(100),
        const std::function<void(qint64)> &whileRunning = [](qint64) {}, const char *program = nullptr);

    int exitCode = -1; // -1: it crashed, or had to be killed
    std::string output;
    std::vector<std::string> errors; // lines of the standard error output
    QJsonObject report;              // empty when none was written

    QJsonArray inputs() const { return report["inputs"].toArray(); }
    QJsonObject totals() const { return report["totals"].toObject(); }
    /// The part of the report about the input of this name; empty when the report has none.
    QJsonObject input(const std::string &name) const;
    /// The same for its stream of this kind, "video" or "audio".
    QJsonObject stream(const std::string &name, const std::string &kind) const;

    /// Fails the calling test unless the report says that nothing was left behind.
    void expectNothingLeft() const;
    /// Fails it unless all of that, exit code 0 and no error.
    void expectSuccess() const;
};

#endif
