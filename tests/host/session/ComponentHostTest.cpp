#include "session/ComponentHost.h"

#include <QLibrary>

#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;
using testing::Optional;

int counted(const char *symbol)
{
    const auto count = reinterpret_cast<int (*)()>(QLibrary::resolve(QStringLiteral(REFUSING_COMPONENT), symbol));
    return count ? count() : -1;
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
