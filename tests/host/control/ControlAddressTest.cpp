#include "control/ControlAddress.h"

#include <gmock/gmock.h>

using testing::HasSubstr;

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
