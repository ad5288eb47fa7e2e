#include "cli/LoadLimitsText.h"

#include <gmock/gmock.h>

namespace {

std::string errorOf(const char *text)
{
    const auto result = LoadLimitsText::parse(text);
    const std::string *const error = std::get_if<std::string>(&result);
    return error ? *error : "none";
}

} // namespace

TEST(LoadLimitsText, IsTwoLoadsWithAColonBetween)
{
    const auto result = LoadLimitsText::parse("0.55:1.25");
    const auto *const limits = std::get_if<decoding::LoadLimits>(&result);
    ASSERT_NE(limits, nullptr) << std::get<std::string>(result);
    EXPECT_EQ(limits->low, 0.55);
    EXPECT_EQ(limits->high, 1.25);
}

TEST(LoadLimitsText, SaysWhatIsWrongWithWhichText)
{
    using testing::AllOf;
    using testing::HasSubstr;
    for (const char *const text : {"", ":", "0.6", "0.6:", ":0.9", "a:b", "0.6:0.9:1", "0,6:0,9", "nan:0.9", "0.6:nan",
                                   "0.6:inf", "-inf:0.9", "0.6-0.9", "60%:90%"})
        EXPECT_THAT(errorOf(text), AllOf(HasSubstr("LOW:HIGH"), HasSubstr("\"" + std::string(text) + "\""))) << text;
    EXPECT_THAT(errorOf("0:0.9"), HasSubstr("above 0"));
    EXPECT_THAT(errorOf("-0.1:0.9"), HasSubstr("above 0"));
    EXPECT_THAT(errorOf("0.9:0.6"), HasSubstr("LOW is less than HIGH"));
    EXPECT_THAT(errorOf("0.9:0.9"), HasSubstr("LOW is less than HIGH"));
}
