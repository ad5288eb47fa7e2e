#ifndef HOST_TERMINAL_BOARDPICTURE_H
#define HOST_TERMINAL_BOARDPICTURE_H

#include <cstddef>
#include <string>
#include <vector>

#include "terminal/CellText.h"

/// A full screen of cells, painted before it goes to a terminal. It has no colours, but tones; what a tone looks like
/// is the terminal's matter. Values only.
class BoardPicture final {
public:
    enum class Tone {
        Plain,
        Dim,
        Strong,
        /// The line above a table.
        Heading,
        /// What lies over everything else.
        Overlay,
        Good,
        Warning,
        Bad,
        /// A text that is to be seen first.
        Alarm
    };

    struct Cell {
        std::string text = " "; // one glyph in UTF-8; empty in the right half of a wide one
        Tone tone = Tone::Plain;
        bool isHighlighted = false;

        bool looksAs(const Cell &other) const { return tone == other.tone && isHighlighted == other.isHighlighted; }
    };

    /// A blank one. @param width, height negative ones count as 0.
    BoardPicture(int width, int height);

    int width() const { return _width; }
    int height() const { return _height; }

    /// Writes @p text as far as it fits on the line; beside the picture, nothing.
    /// @return the column after it.
    int put(int row, int column, const CellText &text, Tone tone = Tone::Plain);
    int put(int row, int column, const std::string &text, Tone tone = Tone::Plain);

    /// Marks the whole line as the selected one.
    void highlight(int row);
    /// Gives the whole line a tone.
    void setTone(int row, Tone tone);

    const std::vector<Cell> &line(int row) const { return _lines.at(static_cast<std::size_t>(row)); }
    /// @return the line's text without the blanks at its end.
    [[nodiscard]] std::string text(int row) const;

private:
    const int _width;
    const int _height;
    std::vector<std::vector<Cell>> _lines; // _height of them, each of _width cells
};

#endif
