#include "session/CodecThreads.h"

#include <memory>

#include <gtest/gtest.h>

TEST(CodecThreads, AreOneMoreThanTheCoresOfAFileAlone)
{
    const auto threads = std::make_shared<CodecThreads>(0, 4);
    const CodecThreads::Share file(threads);
    EXPECT_EQ(threads->forFile(), 5);
}

TEST(CodecThreads, AreFewerTheMoreInputsThereAre)
{
    const auto threads = std::make_shared<CodecThreads>(0, 4);
    const CodecThreads::Share first(threads);
    {
        const CodecThreads::Share second(threads);
        EXPECT_EQ(threads->forFile(), 3);
        const CodecThreads::Share third(threads);
        EXPECT_EQ(threads->forFile(), 1);
    }
    EXPECT_EQ(threads->forFile(), 5);
}

TEST(CodecThreads, AreNoMoreThanAreOfUse)
{
    const auto threads = std::make_shared<CodecThreads>(0, 128);
    const CodecThreads::Share file(threads);
    EXPECT_EQ(threads->forFile(), CodecThreads::most);
    EXPECT_EQ(CodecThreads(0, 1).forFile(), 1);
}

TEST(CodecThreads, AreAsManyAsWereChosenHoweverManyInputsThereAre)
{
    const auto threads = std::make_shared<CodecThreads>(2, 1);
    const CodecThreads::Share first(threads);
    const CodecThreads::Share second(threads);
    EXPECT_EQ(threads->forFile(), 2);
}
