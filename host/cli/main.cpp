#include <QCoreApplication>
#include <QThread>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <malloc.h>
#include <optional>
#include <string>
#include <system_error>
#include <unistd.h>
#include <variant>
#include <vector>

#include "cli/CheckRun.h"
#include "cli/CommandLine.h"
#include "cli/DecodeRun.h"
#include "cli/ExitCode.h"
#include "cli/InputSpec.h"
#include "cli/ProbeRun.h"
#include "cli/ReportFile.h"
#include "cli/StandardDescriptors.h"
#include "control/ControlClient.h"
#include "media/ClockTime.h"
#include "media/SafeText.h"
#include "terminal/LineOutput.h"

namespace {

// An input may take ten seconds to open, and its outputs some time to be written to their end.
constexpr std::chrono::seconds controlTimeout(60);
// Of who has told the host to end.
constexpr std::chrono::milliseconds reportPatience(200);
constexpr std::chrono::milliseconds messagePatience(200);

int fail(int exitCode, const std::string &message)
{
    // One line, whatever texts of others the message quotes.
    const std::string line = SafeText::utf8(QString::fromStdString(message).simplified().toStdString());
    LineOutput output(STDERR_FILENO);
    output.write("decoding-host: " + line + '\n');
    static_cast<void>(output.finish(messagePatience)); // Who reads nothing misses it.
    return exitCode;
}

/// The same of a run that has begun, whose messages have their times.
int failRun(const std::string &message)
{
    return fail(ExitCode::failure, ClockTime::full(std::chrono::system_clock::now()) + ": " + message);
}

/// @param patience for which the text may find no room, if it may not wait for ever. @param isTimed its failure, as
///        failRun has it. @return the exit code.
int print(const std::string &text, int descriptor = STDOUT_FILENO,
          std::optional<std::chrono::milliseconds> patience = std::nullopt, bool isTimed = false)
{
    LineOutput output(descriptor);
    output.write(text);
    if (const int error = output.finish(patience)) {
        const std::string message = "cannot write to the standard output: " + std::generic_category().message(error);
        return isTimed ? failRun(message) : fail(ExitCode::failure, message);
    }
    return ExitCode::success;
}

int run(const CommandLine::Exit &exit)
{
    return exit.code == ExitCode::success ? print(exit.text) : fail(exit.code, exit.text);
}

int run(const CheckOptions &options)
{
    const auto result = CheckRun::run(options);
    if (const std::string *const error = std::get_if<std::string>(&result))
        return fail(ExitCode::failure, *error);
    const CheckReport &report = std::get<CheckReport>(result);
    const int exitCode = print(options.json ? report.toJson() : report.toText());
    if (exitCode == ExitCode::success && !report.isClean())
        return fail(ExitCode::failure, "the component left something behind");
    return exitCode;
}

int run(const DecodeOptions &options)
{
    // Who reads an output no more costs that output, which tells it, rather than the run.
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    const auto result = DecodeRun::run(options);
    if (const std::string *const error = std::get_if<std::string>(&result))
        return fail(ExitCode::failure, *error);
    const DecodeReport &report = std::get<DecodeReport>(result);
    const auto error = options.jsonFile ? ReportFile::write(*options.jsonFile, report.toJson()) : std::nullopt;
    int exitCode = options.quiet
                       ? ExitCode::success
                       : print(report.toText(), options.isStandardOutputTaken() ? STDERR_FILENO : STDOUT_FILENO,
                               report.isAwaited ? std::optional(reportPatience) : std::nullopt, true);
    if (error)
        exitCode = failRun(*error);
    // The message says that a report is missing; only the exit code says how the run ended.
    return report.exitCode() == ExitCode::success ? exitCode : report.exitCode();
}

int run(const ProbeOptions &options)
{
    const ProbeRun::Result result = ProbeRun::run(options);
    const int exitCode = print(result.text);
    for (const std::string &error : result.errors)
        fail(ExitCode::failure, error);
    return result.errors.empty() ? exitCode : ExitCode::failure;
}

int run(const ControlOptions &options)
{
    std::vector<std::string> request = options.request;
    // The host has a working directory of its own.
    if (request.size() > 1 && request[0] == "add")
        request[1] = InputSpec::completed(request[1]);
    const ControlClient::Answer answer = ControlClient::ask(options.socket, request, controlTimeout);
    std::string text;
    for (const std::string &line : answer.lines)
        text += line + '\n';
    const int exitCode = print(text);
    switch (answer.outcome) {
    case ControlClient::Outcome::Done:
        return exitCode;
    case ControlClient::Outcome::WrongUsage:
        return fail(ExitCode::wrongUsage, answer.error);
    case ControlClient::Outcome::Failed:
        break;
    }
    return fail(ExitCode::failure, answer.error);
}

} // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): only running out of memory throws, and ends the program
int main(int argc, char **argv)
{
    StandardDescriptors::openClosedOnes();
    // A tick of a decoder thread takes GLib's event loop, which Qt would use, more than twice the instructions of Qt's
    // own.
    if (!qEnvironmentVariableIsSet("QT_NO_GLIB"))
        qputenv("QT_NO_GLIB", "1");
    // Else the C library would keep free memory apart for up to 8 times as many threads.
    mallopt(M_ARENA_MAX, QThread::idealThreadCount()); // NOLINT(concurrency-mt-unsafe): no other thread runs yet
    const QCoreApplication application(argc, argv);
    return std::visit([](const auto &what) { return run(what); }, CommandLine::parse(argc, argv));
}
