#include "terminal/BoardPicture.h"

#include "CharacterSet.h"
#include <gmock/gmock.h>

using Tone = BoardPicture::Tone;

namespace {

class BoardPictureInUtf8 : public testing::Test {
    const CharacterSet _set{"C.UTF-8"};
};

} // namespace

TEST_F(BoardPictureInUtf8, PutsTextWhereItBelongs)
{
    BoardPicture picture(10, 2);
    EXPECT_EQ(picture.put(1, 3, "abc", Tone::Bad), 6);
    EXPECT_EQ(picture.text(0), "");
    EXPECT_EQ(picture.text(1), "   abc");
    EXPECT_EQ(picture.line(1)[3].tone, Tone::Bad);
    EXPECT_EQ(picture.line(1)[6].tone, Tone::Plain);
}

TEST_F(BoardPictureInUtf8, CutsOffWhatIsBeside)
{
    BoardPicture picture(4, 1);
    EXPECT_EQ(picture.put(0, 2, "abc"), 5);
    picture.put(0, -1, "xy");
    picture.put(-1, 0, "no");
    picture.put(1, 0, "no");
    EXPECT_EQ(picture.text(0), "y ab");
}

TEST_F(BoardPictureInUtf8, LeavesNoHalfOfAWideCharacter)
{
    BoardPicture picture(4, 1);
    EXPECT_EQ(picture.put(0, 0, "門門"), 4);
    picture.put(0, 1, "a");
    EXPECT_EQ(picture.text(0), " a門");
    picture.put(0, 2, "b");
    EXPECT_EQ(picture.text(0), " ab");
    picture.put(0, 3, "門");
    EXPECT_EQ(picture.text(0), " ab") << "there is no room for its right half";
}

TEST_F(BoardPictureInUtf8, HighlightsLines)
{
    BoardPicture picture(2, 2);
    picture.put(1, 0, "a", Tone::Good);
    picture.highlight(1);
    picture.put(1, 1, "b");
    picture.highlight(2);
    EXPECT_FALSE(picture.line(0)[0].isHighlighted);
    EXPECT_TRUE(picture.line(1)[0].isHighlighted);
    EXPECT_TRUE(picture.line(1)[1].isHighlighted);
    EXPECT_FALSE(picture.line(1)[0].looksAs(picture.line(1)[1]));
}

TEST_F(BoardPictureInUtf8, HasAnySize)
{
    BoardPicture picture(-1, -5);
    picture.put(0, 0, "a");
    EXPECT_EQ(picture.width(), 0);
    EXPECT_EQ(picture.height(), 0);
}
