#include "manager/DecoderThread.h"

#include <gmock/gmock.h>

TEST(DecoderThread, RunsItsEventLoopUntilItIsQuit)
{
    DecoderThread thread;
    thread.start();
    thread.waitUntilRunning();
    EXPECT_TRUE(thread.isRunning());
    EXPECT_FALSE(thread.isFinished());
    thread.quit();
    EXPECT_TRUE(thread.wait(60000));
}

TEST(DecoderThread, IsNotWaitedForWhenItDoesNotRun)
{
    DecoderThread thread;
    thread.waitUntilRunning();
    EXPECT_FALSE(thread.isRunning());
}
