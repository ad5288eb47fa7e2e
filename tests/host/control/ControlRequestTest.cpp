#include "control/ControlRequest.h"

#include <gmock/gmock.h>

using testing::AllOf;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

namespace {

using Words = std::vector<std::string>;

template <class Request>
std::optional<Request> parsed(const Words &words)
{
    const auto result = ControlRequest::parse(words);
    const auto *const any = std::get_if<ControlRequest::Any>(&result);
    const auto *const request = any ? std::get_if<Request>(any) : nullptr;
    return request ? std::optional(*request) : std::nullopt;
}

std::string errorOf(const Words &words)
{
    const auto result = ControlRequest::parse(words);
    const std::string *const error = std::get_if<std::string>(&result);
    return error ? *error : "none";
}

} // namespace

TEST(ControlRequest, AddsAUrlWithOrWithoutAName)
{
    const auto plain = parsed<ControlRequest::Add>({"add", "clip.mkv"});
    ASSERT_TRUE(plain);
    EXPECT_EQ(plain->url, "clip.mkv");
    EXPECT_FALSE(plain->name);
    const auto named = parsed<ControlRequest::Add>({"add", "a b.mkv", "front door"});
    ASSERT_TRUE(named);
    EXPECT_EQ(named->url, "a b.mkv");
    EXPECT_EQ(named->name, "front door");
}

TEST(ControlRequest, RemovesByName)
{
    const auto request = parsed<ControlRequest::Remove>({"remove", "front door"});
    ASSERT_TRUE(request);
    EXPECT_EQ(request->name, "front door");
}

TEST(ControlRequest, SwitchesModeAndGovernor)
{
    const auto performance = parsed<ControlRequest::Mode>({"mode", "performance"});
    const auto timeSaving = parsed<ControlRequest::Mode>({"mode", "time-saving"});
    ASSERT_TRUE(performance && timeSaving);
    EXPECT_EQ(performance->mode, decoding::Mode::Performance);
    EXPECT_EQ(timeSaving->mode, decoding::Mode::TimeSaving);
    const auto on = parsed<ControlRequest::Governor>({"governor", "on"});
    const auto off = parsed<ControlRequest::Governor>({"governor", "off"});
    ASSERT_TRUE(on && off);
    EXPECT_TRUE(on->on);
    EXPECT_FALSE(off->on);
}

TEST(ControlRequest, AsksAndEndsWithOneWord)
{
    EXPECT_TRUE(parsed<ControlRequest::List>({"list"}));
    EXPECT_TRUE(parsed<ControlRequest::Status>({"status"}));
    EXPECT_TRUE(parsed<ControlRequest::Quit>({"quit"}));
    EXPECT_TRUE(parsed<ControlRequest::Help>({"help"}));
}

TEST(ControlRequest, SaysWhatIsWrongWithIt)
{
    EXPECT_THAT(errorOf({}), HasSubstr("empty"));
    EXPECT_THAT(errorOf({""}), HasSubstr("there is no request \"\""));
    EXPECT_THAT(errorOf({"LIST"}), AllOf(HasSubstr("there is no request \"LIST\""), HasSubstr("help")));
    for (const Words &words : {Words{"add"}, Words{"add", ""}, Words{"add", "a", ""}, Words{"add", "a", "b", "c"}})
        EXPECT_EQ(errorOf(words), "the request is: add URL [NAME]");
    for (const Words &words : {Words{"remove"}, Words{"remove", "a", "b"}})
        EXPECT_EQ(errorOf(words), "the request is: remove NAME");
    for (const Words &words :
         {Words{"mode"}, Words{"mode", "fast"}, Words{"mode", ""}, Words{"mode", "performance", "x"}})
        EXPECT_EQ(errorOf(words), "the request is: mode performance|time-saving");
    for (const Words &words : {Words{"governor"}, Words{"governor", "maybe"}, Words{"governor", "on", "x"}})
        EXPECT_EQ(errorOf(words), "the request is: governor on|off");
    for (const char *const name : {"list", "status", "quit", "help"})
        EXPECT_EQ(errorOf({name, "x"}), std::string("the request is: ") + name);
}

TEST(ControlRequest, HelpsWithAllOfThem)
{
    const Words lines = ControlRequest::help();
    ASSERT_THAT(lines, SizeIs(8));
    EXPECT_THAT(lines[0], StartsWith("add URL [NAME]: "));
    EXPECT_THAT(lines[7], StartsWith("help: "));
}
