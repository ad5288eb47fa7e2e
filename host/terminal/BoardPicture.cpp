#include "terminal/BoardPicture.h"

#include <algorithm>

BoardPicture::BoardPicture(int width, int height)
    : _width(std::max(width, 0))
    , _height(std::max(height, 0))
    , _lines(static_cast<std::size_t>(_height), std::vector<Cell>(static_cast<std::size_t>(_width)))
{
}

int BoardPicture::put(int row, int column, const CellText &text, Tone tone)
{
    for (const CellText::Glyph &glyph : text.glyphs()) {
        if (row >= 0 && row < _height && column >= 0 && column + glyph.width <= _width) {
            std::vector<Cell> &cells = _lines[static_cast<std::size_t>(row)];
            const auto first = static_cast<std::size_t>(column);
            const std::size_t behind = first + static_cast<std::size_t>(glyph.width);
            // What is left of a wide glyph that is written over in part is blank.
            if (cells[first].text.empty())
                cells[first - 1].text = " ";
            if (behind < cells.size() && cells[behind].text.empty())
                cells[behind].text = " ";
            cells[first] = {glyph.text, tone, cells[first].isHighlighted};
            if (glyph.width == 2)
                cells[first + 1] = {std::string(), tone, cells[first + 1].isHighlighted};
        }
        column += glyph.width;
    }
    return column;
}

int BoardPicture::put(int row, int column, const std::string &text, Tone tone)
{
    return put(row, column, CellText(text), tone);
}

void BoardPicture::highlight(int row)
{
    if (row < 0 || row >= _height)
        return;
    for (Cell &cell : _lines[static_cast<std::size_t>(row)])
        cell.isHighlighted = true;
}

void BoardPicture::setTone(int row, Tone tone)
{
    if (row < 0 || row >= _height)
        return;
    for (Cell &cell : _lines[static_cast<std::size_t>(row)])
        cell.tone = tone;
}

std::string BoardPicture::text(int row) const
{
    std::string text;
    for (const Cell &cell : line(row))
        text += cell.text;
    return text.erase(text.find_last_not_of(' ') + 1);
}
