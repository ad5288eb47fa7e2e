#include "app/InputNames.h"

#include <gmock/gmock.h>

TEST(InputNames, AreTheFilesNameAndItsStem)
{
    InputNames names;
    const InputNames::Name name = names.next("/media/archive.2/clip.final.mp4");
    EXPECT_EQ(name.shown, "clip.final.mp4");
    EXPECT_EQ(name.stem, "clip.final");
}

TEST(InputNames, AreNumberedWhereTheyWouldBeTheSame)
{
    InputNames names;
    names.next("a/clip.mp4");
    const InputNames::Name sameFile = names.next("b/clip.mp4");
    EXPECT_EQ(sameFile.shown, "clip.mp4 (2)");
    EXPECT_EQ(sameFile.stem, "clip-2");
    const InputNames::Name sameStem = names.next("clip.avi");
    EXPECT_EQ(sameStem.shown, "clip.avi");
    EXPECT_EQ(sameStem.stem, "clip-3");
}

TEST(InputNames, DoNotMeetTheNumberOfAnother)
{
    InputNames names;
    names.next("clip-2.mp4");
    names.next("clip.mp4");
    EXPECT_EQ(names.next("other/clip.mp4").stem, "clip-3");
}

TEST(InputNames, AreThereForAnAddressWithoutAFileName)
{
    InputNames names;
    const InputNames::Name name = names.next("rtsp://camera/");
    EXPECT_EQ(name.shown, "rtsp://camera/");
    EXPECT_EQ(name.stem, "input");
}
