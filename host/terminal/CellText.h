#ifndef HOST_TERMINAL_CELLTEXT_H
#define HOST_TERMINAL_CELLTEXT_H

#include <string>
#include <vector>

/// A text as it stands in the cells of a terminal, made safe by SafeText. A question mark also stands for what the
/// program's locale (LC_CTYPE) has no width for; in one that is not UTF-8, that is everything beyond ASCII. Values
/// only.
class CellText final {
public:
    /// A character and what combines with it.
    struct Glyph {
        std::string text; // UTF-8
        int width;        // in cells: 1 or 2
    };

    /// @param text UTF-8.
    explicit CellText(const std::string &text);

    const std::vector<Glyph> &glyphs() const { return _glyphs; }
    /// @return in cells.
    int width() const { return _width; }
    [[nodiscard]] std::string toString() const;

    /// @return the text; when it is wider than @p width cells, its beginning and its end with an ellipsis between them,
    ///         as wide as that or one cell less.
    [[nodiscard]] CellText shortenedInTheMiddle(int width) const;
    /// The same with the end left out.
    [[nodiscard]] CellText shortenedAtTheEnd(int width) const;

    /// @return whether the program's locale writes UTF-8.
    static bool isUnicode();

private:
    CellText() = default;

    void append(const Glyph &glyph);
    [[nodiscard]] CellText shortened(int beginWidth, int endWidth) const;

    std::vector<Glyph> _glyphs;
    int _width = 0; // the sum of the glyphs'
};

#endif
