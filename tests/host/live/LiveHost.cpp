#include "LiveHost.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QRegularExpression>

#include <algorithm>
#include <unistd.h>

#include <gmock/gmock.h>

namespace {

constexpr std::chrono::seconds answerLimit(30); // only a hang reaches it

std::vector<std::string> fieldsOf(const std::string &line)
{
    std::vector<std::string> fields;
    for (const QString &field : QString::fromStdString(line).split('\t'))
        fields.push_back(field.toStdString());
    return fields;
}

std::optional<int> fieldInMs(const std::string &field)
{
    return field == "-" ? std::nullopt : std::optional<int>(std::stoi(field));
}

} // namespace

LiveHost::LiveHost(const QStringList &arguments, QStringList launcher, const Terminal &terminal)
{
    if (!terminal.name.isEmpty()) {
        _process.setStandardOutputFile(terminal.name);
        _process.setStandardErrorFile(terminal.name);
    }
    if (terminal.hasKeys)
        _process.setStandardInputFile(terminal.name);
    launcher << QStringLiteral(HOST_FILE);
    const QString program = launcher.takeFirst();
    const QStringList own{"decode", "--control", QString::fromStdString(socket()), "--board",
                          "always", "--json",    _folder.filePath("report.json")};
    _process.start(program, launcher + own + arguments);
    EXPECT_TRUE(_process.waitForStarted());
    EXPECT_TRUE(until([this] { return ask({"help"}).outcome == ControlClient::Outcome::Done; }));
}

LiveHost::~LiveHost()
{
    if (!_hasEnded && _process.state() == QProcess::NotRunning)
        ADD_FAILURE() << "the host has ended by itself: " << testing::PrintToString(end().errors);
    _process.kill();
    _process.waitForFinished();
}

ControlClient::Answer LiveHost::ask(const std::vector<std::string> &words) const
{
    return ControlClient::ask(socket(), words, answerLimit);
}

std::vector<std::string> LiveHost::request(const std::vector<std::string> &words) const
{
    ControlClient::Answer answer = ask(words);
    EXPECT_EQ(answer.outcome, ControlClient::Outcome::Done) << testing::PrintToString(words) << ": " << answer.error;
    return std::move(answer.lines);
}

std::vector<LiveHost::Row> LiveHost::list() const
{
    std::vector<Row> rows;
    for (const std::string &line : request({"list"})) {
        const std::vector<std::string> fields = fieldsOf(line);
        EXPECT_GE(fields.size(), 14u) << line;
        if (fields.size() >= 14)
            rows.push_back({fields[0], fields[1], fields[2], std::stoll(fields[3]), std::stoll(fields[5]),
                            fieldInMs(fields[6]), fieldInMs(fields[7]), fields[8], std::stoll(fields[9]),
                            std::stoll(fields[10]), std::stoll(fields[11]), std::stoll(fields[13])});
    }
    return rows;
}

LiveHost::Row LiveHost::row(const std::string &input, const std::string &kind) const
{
    const std::vector<Row> rows = list();
    const auto found =
        std::find_if(rows.begin(), rows.end(), [&](const Row &row) { return row.input == input && row.kind == kind; });
    return found == rows.end() ? Row() : *found;
}

std::map<std::string, std::string> LiveHost::status() const
{
    std::map<std::string, std::string> values;
    for (const std::string &line : request({"status"})) {
        const std::size_t sign = line.find('=');
        EXPECT_NE(sign, std::string::npos) << line;
        values[line.substr(0, sign)] = line.substr(sign + 1);
    }
    return values;
}

bool LiveHost::shows(const char *pattern)
{
    const QRegularExpression expression(QString::fromLatin1(pattern));
    std::size_t next = _board.size();
    return until([&] {
        for (; next < _board.size(); ++next) {
            if (expression.match(QString::fromStdString(_board[next].text)).hasMatch())
                return true;
        }
        return false;
    });
}

std::vector<LiveHost::Line> LiveHost::messages(const char *pattern) const
{
    const QRegularExpression expression(QString::fromLatin1(pattern));
    std::vector<Line> found;
    for (const Line &line : _messages) {
        if (expression.match(QString::fromStdString(line.text)).hasMatch())
            found.push_back(line);
    }
    return found;
}

LiveHost::Holdings LiveHost::holdings() const
{
    const auto count = [this](const char *what) {
        const QDir folder(QStringLiteral("/proc/%1/%2").arg(processId()).arg(QLatin1String(what)));
        return static_cast<int>(folder.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size());
    };
    return {count("fd"), count("task"), residentBytes()};
}

qint64 LiveHost::residentBytes() const
{
    QFile file(QStringLiteral("/proc/%1/statm").arg(processId()));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    return file.readAll().split(' ').value(1).toLongLong() * sysconf(_SC_PAGESIZE);
}

HostRun LiveHost::quit()
{
    request({"quit"});
    return end();
}

HostRun LiveHost::end(std::chrono::milliseconds limit)
{
    _hasEnded = true;
    const bool ended = untilBefore(Clock::now() + limit, [this] { return _process.state() == QProcess::NotRunning; });
    EXPECT_TRUE(ended) << "the host did not end within " << limit.count() << " ms";
    if (!ended) {
        _process.kill();
        _process.waitForFinished();
    }
    readOn();

    HostRun run;
    run.exitCode = _process.exitStatus() == QProcess::NormalExit ? _process.exitCode() : -1;
    for (const Line &line : _board)
        run.output += line.text + '\n';
    for (const Line &line : _messages)
        run.errors.push_back(line.text);
    EXPECT_NE(run.exitCode, -1) << testing::PrintToString(run.errors);
    QFile json(_folder.filePath(QStringLiteral("report.json")));
    if (json.open(QIODevice::ReadOnly))
        run.report = QJsonDocument::fromJson(json.readAll()).object();
    return run;
}

void LiveHost::readOn()
{
    constexpr int napMs = 10;
    if (_process.state() != QProcess::NotRunning)
        _process.waitForReadyRead(napMs);
    take(QProcess::StandardOutput, _board);
    take(QProcess::StandardError, _messages);
}

void LiveHost::take(QProcess::ProcessChannel channel, std::vector<Line> &lines)
{
    _process.setReadChannel(channel);
    while (_process.canReadLine())
        lines.push_back({Clock::now(), _process.readLine().trimmed().toStdString()});
}
