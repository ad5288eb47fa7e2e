#include "terminal/BoardPainter.h"

#include <algorithm>
#include <array>
#include <utility>

#include "media/ClockTime.h"
#include "terminal/BoardFigures.h"
#include "terminal/CellText.h"
#include "terminal/RowHealth.h"
#include "terminal/StreamRow.h"
#include "terminal/StreamTable.h"

using BoardFigures::count;
using decoding::Mode;
using decoding::Snapshot;
using SortColumn = BoardView::SortColumn;
using Tone = BoardPicture::Tone;

namespace {

constexpr int anyWidth = 20;

std::string counted(qint64 number, const char *noun)
{
    return count(number, anyWidth) + ' ' + noun + (number == 1 ? "" : "s");
}

/// How the height is given to the parts, from the top.
struct Heights {
    bool load = false;
    bool governor = false;
    bool threads = false;
    bool heading = false;
    int rows = 0;
    bool detail = false;
    int messages = 0;
    bool keys = false;
};

/// @param rowCount that there are. @param governorLine whether the governor needs a line of its own.
Heights heightsFor(const Snapshot &snapshot, std::size_t rowCount, int height, bool governorLine)
{
    Heights heights;
    heights.load = height >= 3;
    heights.heading = height >= 4;
    heights.keys = height >= 6;
    heights.threads = height >= 10 && !snapshot.threads.empty();
    heights.governor = height >= 10 && governorLine;
    heights.detail = height >= 12;
    heights.rows = std::max(height - 1 - heights.load - heights.heading - heights.keys - heights.threads -
                                heights.governor - heights.detail,
                            0);

    // Messages take what the rows leave over, and a part of a large picture from the rows.
    const int left = std::max(heights.rows - static_cast<int>(rowCount), 0);
    const int room = height >= 16 ? std::clamp(left, height / 10, height / 4) : 0;
    heights.messages = std::min(room, static_cast<int>(snapshot.messages.size()));
    heights.rows -= heights.messages;
    return heights;
}

const char *sortText(const BoardView &view)
{
    const bool isReversed = view.isReversed();
    switch (view.sortColumn()) {
    case SortColumn::Health:
        return isReversed ? "best first" : "worst first";
    case SortColumn::Input:
        return isReversed ? "as given, reversed" : "as given";
    case SortColumn::Name:
        return isReversed ? "by name, reversed" : "by name";
    case SortColumn::FramesPerSecond:
        return isReversed ? "fastest first" : "slowest first";
    case SortColumn::Lost:
        return isReversed ? "least lost first" : "most lost first";
    case SortColumn::Latency:
        return isReversed ? "least late first" : "latest first";
    }
    return "";
}

void paintTitle(BoardPicture &picture, std::chrono::milliseconds running, const std::vector<StreamRow> &rows,
                const BoardView &view, const BoardView::Arrangement &arrangement, int pageRows)
{
    const auto unwell =
        std::count_if(rows.begin(), rows.end(), [](const StreamRow &row) { return RowHealth::of(row).isUnwell(); });
    int column = picture.put(0, 0, counted(static_cast<qint64>(rows.size()), "stream"), Tone::Strong);
    column = unwell > 0 ? picture.put(0, column + 2, " " + count(unwell, anyWidth) + " unwell ", Tone::Bad)
                        : picture.put(0, column + 2, rows.empty() ? "" : "all well", Tone::Good);
    column = picture.put(0, column + 2, "running " + BoardFigures::clock(running));

    const std::size_t last = std::min(arrangement.top + static_cast<std::size_t>(pageRows), rows.size());
    std::string range;
    if (last - std::min(arrangement.top, last) < rows.size())
        range = "   " + std::to_string(arrangement.top + 1) + "-" + std::to_string(last) + " of " +
                std::to_string(rows.size());
    const CellText right(sortText(view) + range);
    if (column + 2 + right.width() <= picture.width())
        picture.put(0, picture.width() - right.width(), right);
}

/// The texts of the line about the load, except for the bars after the first, which show the same.
struct LoadTexts {
    std::string measured;
    std::string component; // where it does not fit, left out
    std::string decoders;
    std::string mode;

    int width() const { return static_cast<int>(measured.size() + component.size() + decoders.size() + mode.size()); }
};

std::string percentOf(const Snapshot::Load &load)
{
    const std::string text = BoardFigures::percent(load.now);
    return std::string(5 - std::min<std::size_t>(text.size(), 5), ' ') + text;
}

LoadTexts loadTexts(const Snapshot &snapshot, int width)
{
    LoadTexts texts{"CPU load " + percentOf(snapshot.measuredLoad) + "  ", "  component's " + percentOf(snapshot.load),
                    "  " + counted(snapshot.decoders, "decoder") + "  ", std::string(toText(snapshot.mode)) + " mode"};
    if (texts.width() > width)
        texts.component.clear();
    return texts;
}

std::string governorText(const Snapshot &snapshot)
{
    return snapshot.governor.empty() ? std::string() : "  Governor " + snapshot.governor;
}

constexpr double highLoad = 0.9;
constexpr int minBars = 10;
constexpr int maxBars = 60;

void paintLoad(BoardPicture &picture, int line, const Snapshot &snapshot, const LoadHistory &loads,
               const std::string &governor)
{
    const LoadTexts texts = loadTexts(snapshot, picture.width());
    const int room = picture.width() - texts.width() - CellText(governor).width();
    const int bars = std::min(room, maxBars);
    int column =
        picture.put(line, 0, texts.measured, snapshot.measuredLoad.now >= highLoad ? Tone::Warning : Tone::Strong);
    if (bars >= minBars) {
        picture.put(line, column, loads.bars(static_cast<std::size_t>(bars), CellText::isUnicode()));
        column += bars; // the texts behind do not move while the history grows
    }
    column = picture.put(line, column, texts.component + texts.decoders);
    column = picture.put(line, column, texts.mode, snapshot.mode == Mode::Performance ? Tone::Plain : Tone::Warning);
    picture.put(line, column, governor);
}

/// @return what all names begin with, up to a slash.
std::string commonPrefix(const std::vector<Snapshot::Thread> &threads)
{
    const std::string prefix = threads[0].name.substr(0, threads[0].name.rfind('/') + 1);
    const bool isCommon = std::all_of(threads.begin(), threads.end(), [&prefix](const Snapshot::Thread &thread) {
        return thread.name.compare(0, prefix.size(), prefix) == 0;
    });
    return isCommon ? prefix : std::string();
}

/// Each thread with the number of its decoders; where they do not fit with their full names, without what all names
/// begin with; and as many of them as fit.
void paintThreads(BoardPicture &picture, int line, const std::vector<Snapshot::Thread> &threads)
{
    const std::string title("Decoders on ");
    std::string text(title);
    for (const Snapshot::Thread &thread : threads)
        text += thread.name + ": " + std::to_string(thread.decoders) + "  ";
    if (CellText(text).width() - 2 > picture.width()) {
        const std::string prefix = commonPrefix(threads);
        text = title + prefix;
        for (std::size_t i = 0; i < threads.size(); ++i) {
            const std::string more = " +" + std::to_string(threads.size() - i) + " threads";
            const std::string next =
                " " + threads[i].name.substr(prefix.size()) + ":" + std::to_string(threads[i].decoders);
            const bool isLast = i + 1 == threads.size();
            if (CellText(text + next + (isLast ? std::string() : more)).width() > picture.width()) {
                text += more;
                break;
            }
            text += next;
        }
    }
    picture.put(line, 0, text);
}

/// @return what the narrow table has no room for, as far as there is something to tell.
std::string figuresOf(const StreamRow &row)
{
    std::string text;
    const auto add = [&text](const std::string &figure) { text += "; " + figure; };
    if (!row.form().empty())
        add(row.form());
    if (row.damaged() > 0)
        add(count(row.damaged(), anyWidth) + " damaged");
    if (row.notWritten() > 0)
        add(count(row.notWritten(), anyWidth) + " not written");
    if (row.connections() > 1)
        add(counted(row.connections(), "connection"));
    if (!row.lastError().empty())
        add("last error " + row.lastError());
    return text;
}

void paintDetail(BoardPicture &picture, int line, const StreamRow &row)
{
    const RowHealth health = RowHealth::of(row);
    const std::string verdict = health.degree == RowHealth::Well ? "well" : health.text();
    std::string trouble = row.trouble();
    if (!trouble.empty())
        trouble = trouble == verdict ? std::string() : "; " + trouble;
    const std::string thread = row.threadName().empty() ? std::string() : " on " + row.threadName();
    const CellText name = CellText(row.name()).shortenedInTheMiddle(picture.width() / 3);
    int column = picture.put(line, 0, name, health.isUnwell() ? Tone::Alarm : Tone::Strong);
    column = picture.put(line, column, thread + ": ");
    picture.put(line, column,
                CellText(verdict + trouble + figuresOf(row)).shortenedAtTheEnd(std::max(picture.width() - column, 0)));
}

CellText timedText(const Snapshot::Message &message)
{
    return CellText(ClockTime::ofDay(message.at) + ' ' + message.text);
}

void paintKeys(BoardPicture &picture, int line)
{
    const std::array<std::pair<const char *, const char *>, 7> keys{
        {{"q", "quit"},
         {"?", "help"},
         {"s S", "sort"},
         {"p", "performance"},
         {"t", "time-saving"},
         {"g", "governor"},
         {CellText::isUnicode() ? "↑↓" : "Up Down", "select"}}};
    int column = 0;
    for (const auto &[key, meaning] : keys) {
        if (column + CellText(key).width() + 1 + CellText(meaning).width() > picture.width())
            return;
        column = picture.put(line, column, key, Tone::Strong);
        column = picture.put(line, column + 1, meaning, Tone::Dim) + 2;
    }
}

void paintHelp(BoardPicture &picture)
{
    const std::array<const char *, 20> lines{
        "Lights: G good, Y warning or alternative, R bad",
        "  M mode: G performance, Y time-saving",
        "  L blocks lost before the last: Y 1 or 2, R more",
        "  C the last look at the queue found a block",
        "  T worst latency of a key block: Y 50, R 150 ms",
        "  K key block read from the queue",
        "  N empty block read: the stream was ended",
        "  D block taken to be decoded, Y to catch up; not",
        "    whether there is a codec, or what came of it",
        "! in front of a stream: look at it first; tells",
        "  damage, codecs and outputs, which no light does",
        "",
        "s      sort by the next column     S  reverse",
        "Up, Down, PgUp, PgDn, Home, End    select",
        "p      performance mode: decode every block",
        "t      time-saving mode: key blocks only",
        "g      let the governor switch the mode, or not",
        "q      quit",
        "",
        "Any key closes this help.",
    };
    constexpr int helpWidth = 54;
    const int height = static_cast<int>(lines.size()) + 2;
    const int left = std::max((picture.width() - helpWidth) / 2, 0);
    const int top = std::max((picture.height() - height) / 2, 0);
    for (int line = 0; line < height; ++line)
        picture.put(top + line, left, std::string(helpWidth, ' '), Tone::Overlay);
    for (std::size_t i = 0; i < lines.size(); ++i)
        picture.put(top + 1 + static_cast<int>(i), left + 2, lines[i], Tone::Overlay);
}

} // namespace

BoardPicture BoardPainter::paint(const Snapshot &snapshot, const LoadHistory &loads, BoardView &view, int width,
                                 int height)
{
    const std::vector<StreamRow> rows = StreamRow::of(snapshot);
    BoardPicture picture(width, height);
    const std::string governor = governorText(snapshot);
    const bool governorLine =
        !governor.empty() && loadTexts(snapshot, width).width() + minBars + CellText(governor).width() > width;
    const Heights heights = heightsFor(snapshot, rows.size(), height, governorLine);
    const BoardView::Arrangement arrangement = view.arrange(rows, static_cast<std::size_t>(heights.rows));

    paintTitle(picture, snapshot.running, rows, view, arrangement, heights.rows);
    int line = 1;
    if (heights.load)
        paintLoad(picture, line++, snapshot, loads, governorLine ? std::string() : governor);
    if (heights.governor)
        picture.put(line++, 0, CellText(governor.substr(2)).shortenedAtTheEnd(width));
    if (heights.threads)
        paintThreads(picture, line++, snapshot.threads);

    const StreamTable table(width, rows);
    if (heights.heading)
        table.paintHeading(picture, line++, view);
    for (int i = 0; i < heights.rows; ++i, ++line) {
        const std::size_t place = arrangement.top + static_cast<std::size_t>(i);
        if (place >= arrangement.order.size())
            continue;
        table.paintRow(picture, line, rows[arrangement.order[place]]);
        if (place == arrangement.selected)
            picture.highlight(line);
    }

    if (heights.detail) {
        if (!arrangement.order.empty())
            paintDetail(picture, line, rows[arrangement.order[arrangement.selected]]);
        ++line;
    }
    const auto messages = static_cast<std::size_t>(heights.messages);
    for (std::size_t i = snapshot.messages.size() - messages; i < snapshot.messages.size(); ++i, ++line)
        picture.put(line, 0, timedText(snapshot.messages[i]).shortenedAtTheEnd(width), Tone::Dim);
    if (heights.keys)
        paintKeys(picture, line);
    if (view.showsHelp())
        paintHelp(picture);
    return picture;
}
