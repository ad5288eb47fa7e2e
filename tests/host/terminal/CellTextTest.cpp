#include "terminal/CellText.h"

#include "CharacterSet.h"
#include <gmock/gmock.h>

namespace {

class CellTextInUtf8 : public testing::Test {
    const CharacterSet _set{"C.UTF-8"};
};

} // namespace

TEST_F(CellTextInUtf8, KeepsPrintableText)
{
    const CellText text("Tür 3 / Süd");
    EXPECT_EQ(text.toString(), "Tür 3 / Süd");
    EXPECT_EQ(text.width(), 11);
    EXPECT_EQ(CellText("").width(), 0);
}

TEST_F(CellTextInUtf8, CountsWideCharactersTwice)
{
    EXPECT_EQ(CellText("門1").width(), 3);
    EXPECT_EQ(CellText("門1").glyphs().front().width, 2);
}

TEST_F(CellTextInUtf8, CombiningMarksShareTheCellOfTheirCharacter)
{
    const CellText text("e\u0301a");
    EXPECT_EQ(text.width(), 2);
    ASSERT_EQ(text.glyphs().size(), 2U);
    EXPECT_EQ(text.glyphs()[0].text, "e\u0301");
}

TEST_F(CellTextInUtf8, DropsCombiningMarksThatNoCellHasRoomFor)
{
    std::string text("e");
    for (int i = 0; i < 1000; ++i)
        text += "\u0301";
    EXPECT_EQ(CellText(text).width(), 1);
    EXPECT_LE(CellText(text).toString().size(), 20U);
    EXPECT_EQ(CellText("\u0301x").toString(), "x");
}

TEST_F(CellTextInUtf8, KeepsCommandsFromTheTerminal)
{
    EXPECT_EQ(CellText("a\x1b[2Jb").toString(), "a?[2Jb");
    EXPECT_EQ(CellText("a\r\n\tb\x7f").toString(), "a???b?");
    EXPECT_EQ(CellText("a\u009bJ").toString(), "a?J") << "a control sequence may begin with one character, too";
    EXPECT_EQ(CellText("a\u202eb").toString(), "a?b") << "nothing turns the direction of writing";
    EXPECT_EQ(CellText("a\u2028b\ue000c").toString(), "a?b?c") << "as SafeText has it";
    EXPECT_EQ(CellText(std::string("a\0b", 3)).toString(), "a?b");
}

TEST_F(CellTextInUtf8, ReplacesWhatIsNotUtf8)
{
    EXPECT_EQ(CellText("a\xff"
                       "b")
                  .toString(),
              "a?b");
}

TEST_F(CellTextInUtf8, ShortensInTheMiddle)
{
    const CellText text("rtsp://10.0.0.17/stream1 video");
    EXPECT_EQ(text.shortenedInTheMiddle(30).toString(), "rtsp://10.0.0.17/stream1 video");
    EXPECT_EQ(text.shortenedInTheMiddle(15).toString(), "rtsp://…1 video");
    EXPECT_EQ(text.shortenedInTheMiddle(2).toString(), "…o");
    EXPECT_EQ(text.shortenedInTheMiddle(1).toString(), "");
    EXPECT_EQ(text.shortenedInTheMiddle(-1).toString(), "");
}

TEST_F(CellTextInUtf8, ShortensAtTheEnd)
{
    EXPECT_EQ(CellText("reconnecting").shortenedAtTheEnd(6).toString(), "recon…");
    EXPECT_EQ(CellText("reconnecting").shortenedAtTheEnd(12).toString(), "reconnecting");
}

TEST_F(CellTextInUtf8, NeverExceedsTheWidthWithWideCharacters)
{
    const CellText text("門門門門門門門門門門");
    for (int width = 0; width <= 20; ++width) {
        EXPECT_LE(text.shortenedInTheMiddle(width).width(), width);
        EXPECT_LE(text.shortenedAtTheEnd(width).width(), width);
    }
    EXPECT_EQ(text.shortenedInTheMiddle(9).toString(), "門門…門門");
}

TEST(CellText, IsAsciiInALocaleThatIsNotUtf8)
{
    const CharacterSet set("C");
    EXPECT_FALSE(CellText::isUnicode());
    EXPECT_EQ(CellText("T\u00fcr 門").toString(), "T?r ?");
    EXPECT_EQ(CellText("reconnecting").shortenedAtTheEnd(6).toString(), "recon~");
}
