#ifndef HOST_TERMINAL_BOARDVIEW_H
#define HOST_TERMINAL_BOARDVIEW_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "terminal/StreamRow.h"

/// A key as the board understands it, from whatever terminal.
enum class BoardKey {
    Up,
    Down,
    PageUp,
    PageDown,
    Home,
    End,
    NextSort,
    ReverseSort,
    PerformanceMode,
    TimeSavingMode,
    ToggleGovernor,
    Help,
    Quit,
    Other
};

/// What a key asks of the program behind the board.
enum class BoardAction {
    None,
    /// Only the board itself looks different now.
    Redraw,
    PerformanceMode,
    TimeSavingMode,
    ToggleGovernor,
    Quit,
    /// The terminal is gone: nobody looks any more, and no key will come.
    TerminalLost
};

/// What the operator has chosen to see: the order of the streams, the selected one, and which of them are in sight.
/// Reentrant.
class BoardView final {
public:
    enum class SortColumn { Health, Input, Name, FramesPerSecond, Lost, Latency };

    /// The rows in the order chosen.
    struct Arrangement {
        std::vector<std::size_t> order; // indices into the rows
        std::size_t top = 0;            // index into the order: the first row in sight
        std::size_t selected = 0;       // index into the order; of no meaning when that is empty
    };

    BoardAction handleKey(BoardKey key);

    /// Sorts @p rows and lets the selection and the part in sight follow. Rows that are equal in the sorted column keep
    /// the order of the input; values that are not known come last. A selection that was moved stays on its stream, by
    /// name, and on its place where that stream is gone; one that was never moved, or was moved home, stays on the
    /// first row, whichever that is.
    /// @param pageRows how many rows there is room for.
    Arrangement arrange(const std::vector<StreamRow> &rows, std::size_t pageRows);

    SortColumn sortColumn() const { return _sortColumn; }
    bool isReversed() const { return _isReversed; }
    bool showsHelp() const { return _showsHelp; }

private:
    [[nodiscard]] std::vector<std::size_t> sorted(const std::vector<StreamRow> &rows) const;
    void moveSelection(std::ptrdiff_t by);
    void moveHome();

    SortColumn _sortColumn = SortColumn::Health;
    bool _isReversed = false;
    bool _showsHelp = false;

    std::optional<std::string> _selectedName; // nothing while the first row is selected, whichever it is
    std::size_t _selected = 0;                // place of the selected row at the last arrangement
    std::ptrdiff_t _moveBy = 0;               // how far it was moved since then
    std::size_t _top = 0;
    std::size_t _pageRows = 1; // at the last arrangement
};

#endif
