#include "media/SafeText.h"

#include <QChar>
#include <QVector>

namespace {

constexpr const char *byteOrderMark = "\xef\xbb\xbf";

bool isSafe(uint codePoint)
{
    switch (QChar::category(codePoint)) {
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Other_Surrogate:
    case QChar::Other_PrivateUse:
    case QChar::Other_NotAssigned:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return false;
    default:
        return codePoint != QChar::ReplacementCharacter; // which stands for what is not UTF-8
    }
}

} // namespace

QString SafeText::of(const std::string &text)
{
    QVector<uint> codePoints = QString::fromStdString(text).toUcs4();
    // Qt leaves it out where it stands at the beginning: two names would look the same.
    if (text.rfind(byteOrderMark, 0) == 0)
        codePoints.prepend('?');
    for (uint &codePoint : codePoints) {
        if (!isSafe(codePoint))
            codePoint = '?';
    }
    return QString::fromUcs4(codePoints.constData(), codePoints.size());
}

std::string SafeText::utf8(const std::string &text)
{
    return of(text).toStdString();
}
