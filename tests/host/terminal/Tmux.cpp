#include "Tmux.h"

#include <QProcess>
#include <QProcessEnvironment>

#include <algorithm>

#include "fakes/WaitUntil.h"
#include <gmock/gmock.h>

namespace {

std::vector<std::string> linesOf(const std::string &text)
{
    std::vector<std::string> lines;
    for (const QString &line : QString::fromStdString(text).split(QLatin1Char('\n'))) {
        std::string shown = line.toStdString();
        lines.push_back(shown.erase(shown.find_last_not_of(' ') + 1));
    }
    return lines;
}

bool hasLine(const Tmux::Screen &screen, const std::string &begin)
{
    return std::any_of(screen.begin(), screen.end(),
                       [&begin](const std::string &line) { return line.compare(0, begin.size(), begin) == 0; });
}

} // namespace

Tmux::Tmux(int width, int height)
{
    run({"-f", "/dev/null", "new-session", "-d", "-x", QString::number(width), "-y", QString::number(height),
         "env TERM=tmux-256color PS1='$ ' ENV= sh"});
    screenWith("$");
}

Tmux::~Tmux()
{
    run({"kill-server"});
}

void Tmux::type(const QString &command) const
{
    // The shell may not have prompted yet: then its prompt, too, comes before the output.
    run({"send-keys", "-l", "echo; " + command});
    press({"Enter"});
}

void Tmux::press(const QStringList &keys) const
{
    run(QStringList{"send-keys"} + keys);
}

void Tmux::resize(int width, int height) const
{
    run({"resize-window", "-x", QString::number(width), "-y", QString::number(height)});
}

Tmux::Screen Tmux::screen() const
{
    return linesOf(run({"capture-pane", "-p"}));
}

std::string Tmux::look() const
{
    return run({"capture-pane", "-p", "-e"});
}

Tmux::Screen Tmux::screenWhen(const std::function<bool(const Screen &)> &condition) const
{
    Screen last;
    const bool came = waitUntil([&] {
        last = screen();
        return condition(last);
    });
    EXPECT_TRUE(came) << testing::PrintToString(last);
    return last;
}

Tmux::Screen Tmux::screenWith(const std::string &text) const
{
    SCOPED_TRACE("a line that begins with " + text);
    return screenWhen([&text](const Screen &lines) { return hasLine(lines, text); });
}

std::string Tmux::value(const QString &format) const
{
    return QString::fromStdString(run({"display-message", "-p", "#{" + format + "}"})).trimmed().toStdString();
}

std::string Tmux::run(const QStringList &arguments) const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char *const name : {"TMUX", "NO_COLOR", "COLUMNS", "LINES"})
        environment.remove(name);
    environment.insert("LC_ALL", "C.UTF-8");
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start("tmux", QStringList{"-u", "-S", _folder.filePath("tmux")} + arguments);
    EXPECT_TRUE(process.waitForFinished(30'000)) << "tmux: " << process.errorString().toStdString();
    EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
    return process.readAllStandardOutput().toStdString();
}
