#include "terminal/DisplayText.h"

#include <gtest/gtest.h>

TEST(DisplayText, ReplacesWhatWouldCommandTheTerminal)
{
    EXPECT_EQ(DisplayText::printable("a\nb\x1b[0m\t\xe2\x80\xae"
                                     "c \xc3\xa4"),
              QString::fromUtf8("a?b?[0m??c \xc3\xa4"));
    EXPECT_EQ(DisplayText::printable("a\u2028b\ue000c\xff"), QStringLiteral("a?b?c?")) << "as SafeText has it";
}

TEST(DisplayText, ShortensAtTheLeftOnlyWhatIsTooWide)
{
    EXPECT_EQ(DisplayText::shortenedAtLeft(QStringLiteral("clip.mp4"), 8), QStringLiteral("clip.mp4"));
    EXPECT_EQ(DisplayText::shortenedAtLeft(QStringLiteral("clip.mp4"), 7), QStringLiteral("....mp4"));
    EXPECT_EQ(DisplayText::shortenedAtLeft(QStringLiteral("clip.mp4"), 2), QStringLiteral(".."));
    EXPECT_EQ(DisplayText::shortenedAtLeft(QStringLiteral("clip.mp4"), 0), QString());
}

TEST(DisplayText, NeverCutsACharacterInHalf)
{
    // A character of two halves, of which only the second would fit.
    EXPECT_EQ(DisplayText::shortenedAtLeft(QString::fromUtf8("abcd\xf0\x9f\x8e\xac.mp4"), 8),
              QStringLiteral("....mp4"));
}

TEST(DisplayText, GroupsNumbersAndPutsNounsInThePlural)
{
    EXPECT_EQ(DisplayText::grouped(1234567), QStringLiteral("1,234,567"));
    EXPECT_EQ(DisplayText::grouped(1234.56, 1), QStringLiteral("1,234.6"));
    EXPECT_EQ(DisplayText::counted(0, QStringLiteral("frame")), QStringLiteral("0 frames"));
    EXPECT_EQ(DisplayText::counted(1, QStringLiteral("frame")), QStringLiteral("1 frame"));
    EXPECT_EQ(DisplayText::counted(12345, QStringLiteral("frame")), QStringLiteral("12,345 frames"));
}
