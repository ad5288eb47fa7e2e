#include "media/SafeText.h"

#include <gmock/gmock.h>

TEST(SafeText, KeepsWhatPeopleWrite)
{
    for (const std::string text :
         {"", "Tür 3 / Süd: 50 % <a> \"b\" \\ ~", "門カメラ", "e\u0301", "\U0001f3a5", "عربى", "\u00a0", "…"})
        EXPECT_EQ(SafeText::utf8(text), text);
}

TEST(SafeText, LeavesNothingThatCommandsTheTerminalOrEndsTheLine)
{
    EXPECT_EQ(SafeText::utf8("a\x1b]0;title\x07"), "a?]0;title?");
    EXPECT_EQ(SafeText::utf8("a\u009b2Jb"), "a?2Jb") << "a control sequence may begin with one character, too";
    EXPECT_EQ(SafeText::utf8("a\r\n\t\x7f\x08"), "a?????");
    EXPECT_EQ(SafeText::utf8(std::string("a\0b", 3)), "a?b");
    EXPECT_EQ(SafeText::utf8("a\u2028b\u2029c\u0085"), "a?b?c?");
}

TEST(SafeText, LeavesNothingThatTurnsTheDirectionOfWritingOrIsNotSeen)
{
    EXPECT_EQ(SafeText::utf8("\u202a\u202b\u202c\u202d\u202e"), "?????");
    EXPECT_EQ(SafeText::utf8("\u2066\u2067\u2068\u2069\u200e\u200f\u061c"), "???????");
    EXPECT_EQ(SafeText::utf8("a\u200bb\u200cc\u200dd\u2060e\u00adf"), "a?b?c?d?e?f");
    EXPECT_EQ(SafeText::utf8("\U000e0041"), "?");
}

TEST(SafeText, ShowsAByteOrderMarkWhereverItStands)
{
    EXPECT_EQ(SafeText::utf8("\ufeff"), "?");
    EXPECT_EQ(SafeText::utf8("\ufeffa\ufeffb"), "?a?b");
}

TEST(SafeText, LeavesNothingWithoutACommonMeaning)
{
    EXPECT_EQ(SafeText::utf8("\ue000\U000f0000\U0010fffd"), "???") << "private";
    EXPECT_EQ(SafeText::utf8("\u0378\uffff\U0010ffff"), "???") << "not assigned";
}

TEST(SafeText, ReplacesWhatIsNotUtf8)
{
    EXPECT_EQ(SafeText::utf8("a\xff"
                             "b"),
              "a?b");
    EXPECT_EQ(SafeText::utf8("a\xc3"), "a?");
    EXPECT_EQ(SafeText::utf8("\xed\xa0\x80"), "???") << "half a character of UTF-16";
    EXPECT_EQ(SafeText::utf8("\xc0\x9b").find('\x1b'), std::string::npos) << "an escape character in too many bytes";
    EXPECT_EQ(SafeText::utf8("a\ufffd"), "a?");
}

TEST(SafeText, IsTheSameInBothForms)
{
    EXPECT_EQ(SafeText::of("T\u00fcr\x1b\U0001f3a5"), QString::fromUtf8("T\u00fcr?\U0001f3a5"));
}
