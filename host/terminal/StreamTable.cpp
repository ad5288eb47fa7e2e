#include "terminal/StreamTable.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <optional>

#include "terminal/BoardFigures.h"
#include "terminal/RowHealth.h"

using Column = StreamTable::Column;
using Tone = BoardPicture::Tone;
using decoding::Light;
using decoding::Mode;
using decoding::State;

namespace {

constexpr int wideFrom = 120;
constexpr int markerWidth = 2; // the mark of an unwell stream and a gap
constexpr int minNameWidth = 10;
constexpr int maxNameWidth = 64;
constexpr int minTroubleWidth = 20;
constexpr int minLastErrorWidth = 30; // with the time of the day

struct ColumnForm {
    Column column;
    const char *title;
    const char *wideTitle;
    int width;
    int wideWidth;
    bool isRight;  // its figures stand at its right edge
    int dropOrder; // the columns with the smallest one go first where room is short
};

/// The columns between the name and the texts at the right, in their order.
constexpr std::array<ColumnForm, 10> forms{{
    {Column::State, "State", "State", 7, 10, false, 4},
    {Column::Lights, "MLCTKND", "M L C T K N D", 7, 13, false, 10},
    {Column::Frames, "Frames", "Frames", 8, 13, true, 3},
    {Column::Rate, "fps", "fps", 5, 7, true, 9},
    {Column::Lost, "Lost", "Lost", 6, 9, true, 5},
    {Column::Damaged, "Damaged", "Damaged", 7, 7, true, 7},
    {Column::NotWritten, "Not wr.", "Not written", 7, 11, true, 8},
    {Column::Latency, "Latency", "Latency ms", 7, 10, true, 6},
    {Column::Worst, "Worst", "Worst ms", 6, 8, true, 2},
    {Column::Mode, "Mode", "Mode", 5, 11, false, 1},
}};

/// Columns behind the thread of wide tables, in the order in which they get what room is left.
constexpr std::array<ColumnForm, 2> wideForms{{
    {Column::Form, "", "Codec", 0, 15, false, 0},
    {Column::Connections, "", "Connected", 0, 9, true, 0},
}};

const ColumnForm *formOf(Column column)
{
    const auto isIt = [=](const auto &form) { return form.column == column; };
    const auto found = std::find_if(forms.begin(), forms.end(), isIt);
    if (found != forms.end())
        return &*found;
    const auto wide = std::find_if(wideForms.begin(), wideForms.end(), isIt);
    return wide != wideForms.end() ? &*wide : nullptr;
}

const char *titleOf(Column column, bool isWide)
{
    if (const ColumnForm *const form = formOf(column))
        return isWide ? form->wideTitle : form->title;
    switch (column) {
    case Column::Name:
        return "Stream";
    case Column::Thread:
        return "Thread";
    case Column::LastError:
        return "Last error";
    default:
        return "Trouble";
    }
}

std::optional<Column> columnOf(BoardView::SortColumn sort)
{
    switch (sort) {
    case BoardView::SortColumn::Name:
        return Column::Name;
    case BoardView::SortColumn::FramesPerSecond:
        return Column::Rate;
    case BoardView::SortColumn::Lost:
        return Column::Lost;
    case BoardView::SortColumn::Latency:
        return Column::Latency;
    case BoardView::SortColumn::Health:
    case BoardView::SortColumn::Input:
        break;
    }
    return std::nullopt;
}

const char *stateText(State state, bool isWide)
{
    if (!isWide) {
        switch (state) {
        case State::Connecting:
            return "connect";
        case State::Running:
            return "run";
        case State::Waiting:
            return "wait";
        case State::NoDecoder:
            return "no dec.";
        case State::Queued:
        case State::Ready:
        case State::Ended:
        case State::Failed:
            break;
        }
    }
    return toText(state);
}

Tone stateTone(State state)
{
    switch (state) {
    case State::Ready:
    case State::Running:
        return Tone::Plain;
    case State::Connecting:
        return Tone::Warning;
    case State::Queued:
    case State::Ended:
        return Tone::Dim;
    case State::Waiting:
    case State::Failed:
    case State::NoDecoder:
        break;
    }
    return Tone::Alarm;
}

bool isSavingTime(const StreamRow &row)
{
    return row.isTuned() && row.mode() == Mode::TimeSaving;
}

const char *modeText(const StreamRow &row, bool isWide)
{
    if (isWide || !row.isTuned())
        return row.modeText();
    return isSavingTime(row) ? "save" : "perf";
}

/// As the latency light has it.
Tone latencyTone(std::optional<std::int64_t> ms, Tone worst)
{
    if (!ms || *ms < 50)
        return Tone::Plain;
    return *ms < 150 ? Tone::Warning : worst;
}

struct Text {
    std::string text;
    Tone tone = Tone::Plain;
};

Text textOf(Column column, const StreamRow &row, int width, bool isWide)
{
    const RowHealth health = RowHealth::of(row);
    switch (column) {
    case Column::Name:
        return {row.name(), health.isUnwell() ? Tone::Alarm : Tone::Plain};
    case Column::State:
        return {stateText(row.state(), isWide), stateTone(row.state())};
    case Column::Frames:
        return {BoardFigures::count(row.frames(), width)};
    case Column::Rate:
        return {BoardFigures::rate(row.framesPerSecond()),
                health.degree == RowHealth::Still ? Tone::Alarm : Tone::Plain};
    case Column::Lost:
        return {BoardFigures::count(row.lost(), width), row.lost() > 0 ? Tone::Warning : Tone::Plain};
    case Column::Latency:
        return {BoardFigures::milliseconds(row.latencyMs()), latencyTone(row.latencyMs(), Tone::Alarm)};
    case Column::Worst:
        return {BoardFigures::milliseconds(row.worstLatencyMs()), latencyTone(row.worstLatencyMs(), Tone::Warning)};
    case Column::Mode:
        return {modeText(row, isWide), isSavingTime(row) ? Tone::Warning : Tone::Plain};
    case Column::Thread:
        return {row.threadName()};
    case Column::Form:
        return {row.form()};
    case Column::Damaged:
        return {BoardFigures::count(row.damaged(), width), row.damaged() > 0 ? Tone::Warning : Tone::Plain};
    case Column::NotWritten:
        return {BoardFigures::count(row.notWritten(), width), row.notWritten() > 0 ? Tone::Warning : Tone::Plain};
    case Column::Connections:
        return {BoardFigures::count(row.connections(), width)};
    case Column::LastError:
        return {row.lastError()};
    case Column::Trouble:
        return {row.trouble().empty() ? std::string(health.text()) : row.trouble()};
    case Column::Lights:
        break;
    }
    return {};
}

/// Whether @p column is to be there: what hardly ever happens takes no room until it does.
bool isOfUse(Column column, const std::vector<StreamRow> &rows)
{
    const auto hasHappened = [&rows](std::int64_t (StreamRow::*count)() const) {
        return std::any_of(rows.begin(), rows.end(), [count](const StreamRow &row) { return (row.*count)() > 0; });
    };
    if (column == Column::Damaged)
        return hasHappened(&StreamRow::damaged);
    return column != Column::NotWritten || hasHappened(&StreamRow::notWritten);
}

int widest(const std::vector<StreamRow> &rows, const std::string &(StreamRow::*text)() const)
{
    int width = 0;
    for (const StreamRow &row : rows)
        width = std::max(width, CellText((row.*text)()).width());
    return width;
}

} // namespace

StreamTable::StreamTable(int width, const std::vector<StreamRow> &rows)
    : _isWide(width >= wideFrom)
{
    const int gap = _isWide ? 2 : 1;
    const auto widthOf = [this](const ColumnForm &form) { return _isWide ? form.wideWidth : form.width; };

    std::vector<ColumnForm> kept;
    std::copy_if(forms.begin(), forms.end(), std::back_inserter(kept),
                 [&rows](const ColumnForm &form) { return isOfUse(form.column, rows); });
    int room = width - markerWidth;
    for (const ColumnForm &form : kept)
        room -= gap + widthOf(form);
    while (room < minNameWidth && !kept.empty()) {
        const auto first =
            std::min_element(kept.begin(), kept.end(), [](const ColumnForm &left, const ColumnForm &right) {
                return left.dropOrder < right.dropOrder;
            });
        room += gap + widthOf(*first);
        kept.erase(first);
    }

    const int nameWidth =
        std::max(std::min({room, maxNameWidth, std::max(widest(rows, &StreamRow::name), minNameWidth)}), 0);
    room -= nameWidth;
    int begin = markerWidth;
    const auto add = [&](Column column, int columnWidth) {
        _places.push_back({column, begin, columnWidth});
        begin += columnWidth + gap;
    };
    add(Column::Name, nameWidth);
    for (const ColumnForm &form : kept)
        add(form.column, widthOf(form));

    const int threadWidth = std::max(widest(rows, &StreamRow::threadName), 6);
    if (_isWide && room >= gap + threadWidth) {
        add(Column::Thread, threadWidth);
        room -= gap + threadWidth;
    }
    if (!_isWide)
        return;
    for (const ColumnForm &form : wideForms) {
        if (room < gap + form.wideWidth + gap + minTroubleWidth)
            break;
        add(form.column, form.wideWidth);
        room -= gap + form.wideWidth;
    }
    const bool showsLast = room >= gap + minTroubleWidth + gap + minLastErrorWidth;
    const int lastWidth = showsLast ? std::max(minLastErrorWidth, (room - 2 * gap) / 2) : 0;
    if (room >= gap + minTroubleWidth)
        add(Column::Trouble, room - gap - (showsLast ? gap + lastWidth : 0));
    if (showsLast)
        add(Column::LastError, lastWidth);
}

void StreamTable::paintHeading(BoardPicture &picture, int line, const BoardView &view) const
{
    picture.setTone(line, Tone::Heading);
    const std::optional<Column> sorted = columnOf(view.sortColumn());
    const bool isRising = (view.sortColumn() == BoardView::SortColumn::Name ||
                           view.sortColumn() == BoardView::SortColumn::FramesPerSecond) != view.isReversed();
    for (const Place &place : _places) {
        const CellText title = CellText(titleOf(place.column, _isWide)).shortenedAtTheEnd(place.width);
        const ColumnForm *const form = formOf(place.column);
        const bool isRight = form && form->isRight;
        const int begin = isRight ? place.begin + place.width - title.width() : place.begin;
        const int end = picture.put(line, begin, title, Tone::Heading);
        if (place.column != sorted)
            continue;
        const char *const arrow = CellText::isUnicode() ? (isRising ? "▲" : "▼") : (isRising ? "^" : "v");
        picture.put(line, isRight ? begin - 1 : end + 1, arrow, Tone::Heading);
    }
}

void StreamTable::paintRow(BoardPicture &picture, int line, const StreamRow &row) const
{
    const bool isOver = row.state() == State::Ended;
    if (RowHealth::of(row).isUnwell())
        picture.put(line, 0, "!", Tone::Alarm);
    for (const Place &place : _places) {
        if (place.column == Column::Lights) {
            paintLights(picture, line, place, row);
            continue;
        }
        const Text text = textOf(place.column, row, place.width, _isWide);
        const ColumnForm *const form = formOf(place.column);
        const CellText shown = place.column == Column::Name ? CellText(text.text).shortenedInTheMiddle(place.width)
                                                            : CellText(text.text).shortenedAtTheEnd(place.width);
        const int begin = form && form->isRight ? place.begin + place.width - shown.width() : place.begin;
        picture.put(line, begin, shown, isOver ? Tone::Dim : text.tone);
    }
}

void StreamTable::paintLights(BoardPicture &picture, int line, const Place &place, const StreamRow &row) const
{
    for (std::size_t i = 0; row.lights() && i < decoding::Snapshot::lightCount; ++i) {
        const int column = place.begin + static_cast<int>(i) * (_isWide ? 2 : 1);
        switch ((*row.lights())[i]) {
        case Light::Good:
            picture.put(line, column, "G", Tone::Good);
            break;
        case Light::Warning:
            picture.put(line, column, "Y", Tone::Warning);
            break;
        case Light::Bad:
            picture.put(line, column, "R", Tone::Bad);
            break;
        case Light::Black:
            picture.put(line, column, CellText::isUnicode() ? "·" : ".", Tone::Dim);
            break;
        }
    }
}
