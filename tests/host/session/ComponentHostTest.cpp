#include "session/ComponentHost.h"

#include <QLibrary>

#include <thread>

#include "modkit/Settings.h"
#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;
using testing::Optional;

int counted(const char *symbol)
{
    const auto count = reinterpret_cast<int (*)()>(QLibrary::resolve(QStringLiteral(REFUSING_COMPONENT), symbol));
    return count ? count() : -1;
}

/// What a component is told that starts one QThread without a name, and others with names.
ModkitPtr<ISettings> settingsOf(int wanted, int named)
{
    auto *const settings = new Settings;
    settings->addMap({{"THREADS", std::to_string(wanted)}, {"NAMED", std::to_string(named)}}, "the test");
    return ModkitPtr<ISettings>(settings);
}

} // namespace

TEST(ComponentHost, DoesNotStopAComponentWhoseInitFailed)
{
    ObjectRegistry registry;
    {
        ComponentHost host(ModkitPtr<ISettings>(), registry);
        EXPECT_THAT(host.start(QStringLiteral(REFUSING_COMPONENT)), Optional(HasSubstr("test.RefusingComponent")));
        EXPECT_EQ(counted("refusingComponentInitCalls"), 1);
        EXPECT_EQ(counted("refusingComponentLiveObjects"), 0);
        host.stop();
    }
    EXPECT_EQ(counted("refusingComponentStopCalls"), 0);
}

TEST(ComponentHost, TakesThreadsWithNamesOfTheirOwnForWhatTheyAre)
{
    ObjectRegistry registry;
    ComponentHost host(settingsOf(4, 4), registry);
    EXPECT_EQ(host.start(QStringLiteral(THREADED_COMPONENT)), std::nullopt);
    host.stop();
}

TEST(ComponentHost, BlamesTheSystemForNoThreadThatItHasNotRefused)
{
    // A sanitizer may start a thread of its own with the first one.
    std::thread([] {}).join();
    ObjectRegistry registry;
    ComponentHost host(settingsOf(8, 2), registry);
    EXPECT_THAT(host.start(QStringLiteral(THREADED_COMPONENT)),
                Optional(testing::AllOf(testing::StartsWith("3 of 8 decoder threads started: "),
                                        testing::Not(HasSubstr("system")))));
}
