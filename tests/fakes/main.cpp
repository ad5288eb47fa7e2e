#include <QCoreApplication>

#include <gmock/gmock.h>

#if defined(__SANITIZE_THREAD__)
#include "fakes/AnnouncedQt.h"
using Application = AnnouncedApplication;
#else
using Application = QCoreApplication;
#endif

/// The main program of tests that use Qt: timers, events and threads need an application object.
int main(int argc, char **argv)
{
    // Death tests start the program anew; the threads of the tests before them are not there then.
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    testing::InitGoogleMock(&argc, argv);
    Application application(argc, argv);
    return RUN_ALL_TESTS();
}
