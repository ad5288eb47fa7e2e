#ifndef HOST_TERMINAL_STREAMTABLE_H
#define HOST_TERMINAL_STREAMTABLE_H

#include <string>
#include <vector>

#include "terminal/BoardPicture.h"
#include "terminal/BoardView.h"
#include "terminal/StreamRow.h"

/// The table of streams: fits its columns into a width and paints its lines. Where there is little room, columns are
/// narrow and the least important ones are left out; where there is much, it says more. Values only.
class StreamTable final {
public:
    enum class Column {
        Name,
        State,
        Lights,
        Frames,
        Rate,
        Lost,
        Latency,
        Worst,
        Mode,
        Thread,
        Form,
        Damaged,
        NotWritten,
        Connections,
        Trouble,
        LastError
    };

    struct Place {
        Column column;
        int begin; // in cells from the left
        int width;
    };

    /// @param rows all of them: the names in sight must not move the columns.
    StreamTable(int width, const std::vector<StreamRow> &rows);

    const std::vector<Place> &places() const { return _places; }

    /// Paints the titles, with an arrow at the one that is sorted by.
    void paintHeading(BoardPicture &picture, int line, const BoardView &view) const;
    void paintRow(BoardPicture &picture, int line, const StreamRow &row) const;

private:
    void paintLights(BoardPicture &picture, int line, const Place &place, const StreamRow &row) const;

    const bool _isWide;
    std::vector<Place> _places; // from left to right
};

#endif
