#include "terminal/StreamTable.h"

#include <algorithm>
#include <array>
#include <optional>

#include "terminal/BoardFigures.h"
#include "terminal/RowHealth.h"

using Column = StreamTable::Column;
using Row = BoardState::Row;
using Tone = BoardPicture::Tone;

namespace {

constexpr int wideFrom = 120;
constexpr int markerWidth = 2; // the mark of an unwell stream and a gap
constexpr int minNameWidth = 10;
constexpr int maxNameWidth = 64;
constexpr int minTroubleWidth = 20;

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
constexpr std::array<ColumnForm, 8> forms{{
    {Column::State, "State", "State", 7, 10, false, 4},
    {Column::Lights, "MLCTKND", "M L C T K N D", 7, 13, false, 8},
    {Column::Frames, "Frames", "Frames", 8, 13, true, 2},
    {Column::Rate, "fps", "fps", 5, 7, true, 7},
    {Column::Lost, "Lost", "Lost", 6, 9, true, 5},
    {Column::Latency, "Latency", "Latency ms", 7, 10, true, 6},
    {Column::Worst, "Worst", "Worst ms", 6, 8, true, 3},
    {Column::Mode, "Mode", "Mode", 5, 11, false, 1},
}};

const ColumnForm *formOf(Column column)
{
    const auto found =
        std::find_if(forms.begin(), forms.end(), [=](const auto &form) { return form.column == column; });
    return found != forms.end() ? &*found : nullptr;
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

const char *stateText(Row::State state, bool isWide)
{
    switch (state) {
    case Row::State::Connecting:
        return isWide ? "connecting" : "connect";
    case Row::State::Running:
        return isWide ? "running" : "run";
    case Row::State::Waiting:
        return isWide ? "waiting" : "wait";
    case Row::State::Ended:
        return "ended";
    case Row::State::Failed:
        return "failed";
    }
    return "";
}

Tone stateTone(Row::State state)
{
    switch (state) {
    case Row::State::Running:
        return Tone::Plain;
    case Row::State::Connecting:
        return Tone::Warning;
    case Row::State::Ended:
        return Tone::Dim;
    case Row::State::Waiting:
    case Row::State::Failed:
        break;
    }
    return Tone::Alarm;
}

const char *modeText(Row::Mode mode, bool isWide)
{
    switch (mode) {
    case Row::Mode::Performance:
        return isWide ? "performance" : "perf";
    case Row::Mode::TimeSaving:
        return isWide ? "time-saving" : "save";
    case Row::Mode::Fixed:
        return "fixed";
    }
    return "";
}

/// As the latency light has it.
Tone latencyTone(std::optional<qint64> ms, Tone worst)
{
    if (!ms || *ms < 50)
        return Tone::Plain;
    return *ms < 150 ? Tone::Warning : worst;
}

struct Text {
    std::string text;
    Tone tone = Tone::Plain;
};

Text textOf(Column column, const Row &row, int width, bool isWide)
{
    const RowHealth health = RowHealth::of(row);
    switch (column) {
    case Column::Name:
        return {row.name, health.isUnwell() ? Tone::Alarm : Tone::Plain};
    case Column::State:
        return {stateText(row.state, isWide), stateTone(row.state)};
    case Column::Frames:
        return {BoardFigures::count(row.frames, width)};
    case Column::Rate:
        return {BoardFigures::rate(row.framesPerSecond), health.degree == RowHealth::Still ? Tone::Alarm : Tone::Plain};
    case Column::Lost:
        return {BoardFigures::count(row.lost, width), row.lost > 0 ? Tone::Warning : Tone::Plain};
    case Column::Latency:
        return {BoardFigures::milliseconds(row.latencyMs), latencyTone(row.latencyMs, Tone::Alarm)};
    case Column::Worst:
        return {BoardFigures::milliseconds(row.worstLatencyMs), latencyTone(row.worstLatencyMs, Tone::Warning)};
    case Column::Mode:
        return {modeText(row.mode, isWide), row.mode == Row::Mode::TimeSaving ? Tone::Warning : Tone::Plain};
    case Column::Thread:
        return {row.threadName};
    case Column::Trouble:
        return {row.trouble.empty() ? std::string(health.text()) : row.trouble};
    case Column::Lights:
        break;
    }
    return {};
}

int widest(const std::vector<Row> &rows, std::string Row::*text)
{
    int width = 0;
    for (const Row &row : rows)
        width = std::max(width, CellText(row.*text).width());
    return width;
}

} // namespace

StreamTable::StreamTable(int width, const std::vector<Row> &rows)
    : _isWide(width >= wideFrom)
{
    const int gap = _isWide ? 2 : 1;
    const auto widthOf = [this](const ColumnForm &form) { return _isWide ? form.wideWidth : form.width; };

    std::vector<ColumnForm> kept(forms.begin(), forms.end());
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

    const int nameWidth = std::max(std::min({room, maxNameWidth, std::max(widest(rows, &Row::name), minNameWidth)}), 0);
    room -= nameWidth;
    int begin = markerWidth;
    const auto add = [&](Column column, int columnWidth) {
        _places.push_back({column, begin, columnWidth});
        begin += columnWidth + gap;
    };
    add(Column::Name, nameWidth);
    for (const ColumnForm &form : kept)
        add(form.column, widthOf(form));

    const int threadWidth = std::max(widest(rows, &Row::threadName), 6);
    if (_isWide && room >= gap + threadWidth) {
        add(Column::Thread, threadWidth);
        room -= gap + threadWidth;
    }
    if (_isWide && room >= gap + minTroubleWidth)
        add(Column::Trouble, room - gap);
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

void StreamTable::paintRow(BoardPicture &picture, int line, const Row &row) const
{
    const bool isOver = row.state == Row::State::Ended;
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

void StreamTable::paintLights(BoardPicture &picture, int line, const Place &place, const Row &row) const
{
    for (std::size_t i = 0; row.lights && i < BoardState::lightCount; ++i) {
        const int column = place.begin + static_cast<int>(i) * (_isWide ? 2 : 1);
        switch ((*row.lights)[i]) {
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
