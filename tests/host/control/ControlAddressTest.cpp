#include "control/ControlAddress.h"

#include <QByteArray>

#include <gmock/gmock.h>

using testing::HasSubstr;

TEST(ControlAddress, IsByDefaultInTheDirectoryOfTheUsersSession)
{
    const QByteArray before = qgetenv("XDG_RUNTIME_DIR");
    qputenv("XDG_RUNTIME_DIR", "/run/user/1000");
    EXPECT_EQ(ControlAddress::defaultPath(), "/run/user/1000/decoding-host.sock");
    for (const char *const unusable : {"", "run"}) {
        qputenv("XDG_RUNTIME_DIR", unusable);
        EXPECT_EQ(ControlAddress::defaultPath(), std::nullopt) << unusable;
    }
    qunsetenv("XDG_RUNTIME_DIR");
    EXPECT_EQ(ControlAddress::defaultPath(), std::nullopt);
    if (!before.isNull())
        qputenv("XDG_RUNTIME_DIR", before);
}

TEST(ControlAddress, TakesAPathThatFits)
{
    const std::string longest(107, 'x');
    const auto address = ControlAddress::of(longest);
    ASSERT_TRUE(std::holds_alternative<sockaddr_un>(address));
    EXPECT_EQ(std::get<sockaddr_un>(address).sun_path, longest);

    const auto tooLong = ControlAddress::of(longest + 'x');
    ASSERT_TRUE(std::holds_alternative<std::string>(tooLong));
    EXPECT_THAT(std::get<std::string>(tooLong), HasSubstr("longer than 107 bytes"));
    EXPECT_TRUE(std::holds_alternative<std::string>(ControlAddress::of("")));
}
