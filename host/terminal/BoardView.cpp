#include "terminal/BoardView.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <string_view>
#include <utility>

#include "terminal/RowHealth.h"

using SortColumn = BoardView::SortColumn;

namespace {

constexpr std::ptrdiff_t beyondAnyRow = std::numeric_limits<std::ptrdiff_t>::max() / 4;

/// The figure by which a row is sorted, so that the one to look at first is the smallest; nothing for a row without
/// one.
std::optional<double> sortFigure(const StreamRow &row, SortColumn column)
{
    switch (column) {
    case SortColumn::Health:
        return -RowHealth::of(row).degree;
    case SortColumn::FramesPerSecond:
        return row.framesPerSecond() && !std::isnan(*row.framesPerSecond()) ? row.framesPerSecond() : std::nullopt;
    case SortColumn::Lost:
        return -static_cast<double>(row.lost());
    case SortColumn::Latency:
        return row.latencyMs() ? std::optional(-static_cast<double>(*row.latencyMs())) : std::nullopt;
    case SortColumn::Input:
    case SortColumn::Name:
        break;
    }
    return std::nullopt;
}

bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

/// @return the end of the run of digits, or of the one character, that begins at @p begin.
std::size_t pieceEnd(const std::string &text, std::size_t begin)
{
    std::size_t end = begin + 1;
    while (isDigit(text[begin]) && end < text.size() && isDigit(text[end]))
        ++end;
    return end;
}

/// @return whether @p left comes before @p right when runs of digits count as numbers: "cam-9" before "cam-10".
bool comesBefore(const std::string &left, const std::string &right)
{
    std::size_t leftEnd = 0;
    std::size_t rightEnd = 0;
    while (leftEnd < left.size() && rightEnd < right.size()) {
        const std::size_t leftBegin = std::exchange(leftEnd, pieceEnd(left, leftEnd));
        const std::size_t rightBegin = std::exchange(rightEnd, pieceEnd(right, rightEnd));
        const std::string_view leftPiece(&left[leftBegin], leftEnd - leftBegin);
        const std::string_view rightPiece(&right[rightBegin], rightEnd - rightBegin);
        // Without leading zeros, the longer number is the greater one.
        if (isDigit(leftPiece[0]) && isDigit(rightPiece[0]) && leftPiece.size() != rightPiece.size())
            return leftPiece.size() < rightPiece.size();
        if (leftPiece != rightPiece)
            return leftPiece < rightPiece;
    }
    return leftEnd == left.size() && rightEnd < right.size();
}

} // namespace

BoardAction BoardView::handleKey(BoardKey key)
{
    if (key == BoardKey::Quit)
        return BoardAction::Quit;
    if (_showsHelp) {
        _showsHelp = false;
        return BoardAction::Redraw;
    }

    switch (key) {
    case BoardKey::Up:
        moveSelection(-1);
        break;
    case BoardKey::Down:
        moveSelection(1);
        break;
    case BoardKey::PageUp:
        moveSelection(-static_cast<std::ptrdiff_t>(_pageRows));
        break;
    case BoardKey::PageDown:
        moveSelection(static_cast<std::ptrdiff_t>(_pageRows));
        break;
    case BoardKey::Home:
        moveHome();
        break;
    case BoardKey::End:
        moveSelection(beyondAnyRow);
        break;
    case BoardKey::NextSort:
        _sortColumn = _sortColumn == SortColumn::Latency ? SortColumn::Health
                                                         : static_cast<SortColumn>(static_cast<int>(_sortColumn) + 1);
        _isReversed = false;
        moveHome();
        break;
    case BoardKey::ReverseSort:
        _isReversed = !_isReversed;
        moveHome();
        break;
    case BoardKey::Help:
        _showsHelp = true;
        break;
    case BoardKey::PerformanceMode:
        return BoardAction::PerformanceMode;
    case BoardKey::TimeSavingMode:
        return BoardAction::TimeSavingMode;
    case BoardKey::ToggleGovernor:
        return BoardAction::ToggleGovernor;
    case BoardKey::Quit:
    case BoardKey::Other:
        return BoardAction::None;
    }
    return BoardAction::Redraw;
}

BoardView::Arrangement BoardView::arrange(const std::vector<StreamRow> &rows, std::size_t pageRows)
{
    Arrangement result;
    result.order = sorted(rows);
    _pageRows = std::max<std::size_t>(pageRows, 1);
    const std::ptrdiff_t moveBy = std::exchange(_moveBy, 0);
    if (rows.empty()) {
        _top = 0;
        return result;
    }

    std::ptrdiff_t place = 0;
    if (_selectedName) {
        const auto found = std::find_if(result.order.begin(), result.order.end(),
                                        [&](std::size_t index) { return rows[index].name() == *_selectedName; });
        place = found != result.order.end() ? found - result.order.begin() : static_cast<std::ptrdiff_t>(_selected);
    }
    const std::size_t last = result.order.size() - 1;
    _selected =
        static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(place + moveBy, 0, static_cast<std::ptrdiff_t>(last)));
    if (moveBy != 0)
        _selectedName = _selected > 0 ? std::optional(rows[result.order[_selected]].name()) : std::nullopt;

    // As little as it takes to have the selection in sight, and no blank rows below the last one.
    const std::size_t lowestTop = result.order.size() > _pageRows ? result.order.size() - _pageRows : 0;
    const std::size_t firstTop = _selected + 1 > _pageRows ? _selected + 1 - _pageRows : 0;
    _top = std::min(std::clamp(_top, firstTop, _selected), lowestTop);

    result.top = _top;
    result.selected = _selected;
    return result;
}

std::vector<std::size_t> BoardView::sorted(const std::vector<StreamRow> &rows) const
{
    std::vector<std::size_t> order(rows.size());
    std::iota(order.begin(), order.end(), std::size_t(0));
    if (_sortColumn == SortColumn::Input) {
        if (_isReversed)
            std::reverse(order.begin(), order.end());
        return order;
    }
    if (_sortColumn == SortColumn::Name) {
        std::stable_sort(order.begin(), order.end(), [&](std::size_t left, std::size_t right) {
            return _isReversed ? comesBefore(rows[right].name(), rows[left].name())
                               : comesBefore(rows[left].name(), rows[right].name());
        });
        return order;
    }

    std::vector<std::optional<double>> figures;
    figures.reserve(rows.size());
    for (const StreamRow &row : rows)
        figures.push_back(sortFigure(row, _sortColumn));
    std::stable_sort(order.begin(), order.end(), [&](std::size_t left, std::size_t right) {
        if (!figures[left] || !figures[right])
            return figures[left].has_value() && !figures[right];
        return _isReversed ? *figures[right] < *figures[left] : *figures[left] < *figures[right];
    });
    return order;
}

void BoardView::moveSelection(std::ptrdiff_t by)
{
    _moveBy = std::clamp(_moveBy + by, -beyondAnyRow, beyondAnyRow);
}

void BoardView::moveHome()
{
    _selectedName.reset();
    _moveBy = 0;
    _top = 0;
}
