#include "terminal/CellText.h"

#include <QString>
#include <QVector>

#include <algorithm>
#include <cwchar>
#include <langinfo.h>
#include <string_view>

#include "media/SafeText.h"

namespace {

constexpr std::size_t maxGlyphBytes = 20; // the screen library keeps five code points a cell

std::string toUtf8(uint codePoint)
{
    return QString::fromUcs4(&codePoint, 1).toStdString();
}

} // namespace

CellText::CellText(const std::string &text)
{
    const QVector<uint> codePoints = SafeText::of(text).toUcs4();
    for (const uint codePoint : codePoints) {
        const int width = wcwidth(static_cast<wchar_t>(codePoint));
        if (width < 0)
            append({"?", 1});
        else if (width > 0)
            append({toUtf8(codePoint), width});
        else if (!_glyphs.empty() && _glyphs.back().text.size() < maxGlyphBytes - 4)
            _glyphs.back().text += toUtf8(codePoint);
    }
}

std::string CellText::toString() const
{
    std::string text;
    for (const Glyph &glyph : _glyphs)
        text += glyph.text;
    return text;
}

CellText CellText::shortenedInTheMiddle(int width) const
{
    // Names of streams more often differ at their ends.
    const int shown = std::max(width - 1, 0);
    return _width <= width ? *this : shortened(shown / 2, shown - shown / 2);
}

CellText CellText::shortenedAtTheEnd(int width) const
{
    return _width <= width ? *this : shortened(std::max(width - 1, 0), 0);
}

bool CellText::isUnicode()
{
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody changes the locale of a program with threads
    return std::string_view(nl_langinfo(CODESET)) == "UTF-8";
}

void CellText::append(const Glyph &glyph)
{
    _glyphs.push_back(glyph);
    _width += glyph.width;
}

CellText CellText::shortened(int beginWidth, int endWidth) const
{
    CellText result;
    if (beginWidth + endWidth <= 0)
        return result;
    for (const Glyph &glyph : _glyphs) {
        if (result._width + glyph.width > beginWidth)
            break;
        result.append(glyph);
    }
    result.append({isUnicode() ? "…" : "~", 1});

    int width = 0;
    auto end = _glyphs.end();
    while (end != _glyphs.begin() && width + (end - 1)->width <= endWidth)
        width += (--end)->width;
    std::for_each(end, _glyphs.end(), [&result](const Glyph &glyph) { result.append(glyph); });
    return result;
}
