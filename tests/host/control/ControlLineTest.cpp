#include "control/ControlLine.h"

#include <gmock/gmock.h>

using testing::HasSubstr;

namespace {

using Words = std::vector<std::string>;

Words wordsOf(const std::string &request)
{
    const auto result = ControlLine::split(request);
    const auto *const words = std::get_if<Words>(&result);
    return words ? *words : Words{"error: " + std::get<std::string>(result)};
}

std::string lineErrorOf(const std::string &request)
{
    const auto result = ControlLine::split(request);
    const std::string *const error = std::get_if<std::string>(&result);
    return error ? *error : "none";
}

} // namespace

TEST(ControlLine, IsWordsWithSpacesBetween)
{
    EXPECT_EQ(wordsOf("list"), (Words{"list"}));
    EXPECT_EQ(wordsOf("  add   clip.mkv  "), (Words{"add", "clip.mkv"}));
    EXPECT_EQ(wordsOf(""), Words());
    EXPECT_EQ(wordsOf("   "), Words());
}

TEST(ControlLine, TakesWhatStandsInQuotationMarksForOneWord)
{
    EXPECT_EQ(wordsOf(R"(add "my clip.mkv" "")"), (Words{"add", "my clip.mkv", ""}));
    EXPECT_EQ(wordsOf(R"(add "a \"b\" \\ c")"), (Words{"add", R"(a "b" \ c)"}));
    EXPECT_EQ(wordsOf(R"("\a")"), (Words{"a"}));
}

TEST(ControlLine, TakesEverythingElseAsItStands)
{
    EXPECT_EQ(wordsOf(R"(add rtsp://a:b@h/p?q="1"&r='2'#\n)"), (Words{"add", R"(rtsp://a:b@h/p?q="1"&r='2'#\n)"}));
    EXPECT_EQ(wordsOf("remove T\xc3\xbcr \xf0\x9f\x8e\xa5"), (Words{"remove", "T\xc3\xbcr", "\xf0\x9f\x8e\xa5"}));
}

TEST(ControlLine, RefusesQuotationMarksThatDoNotEndAWord)
{
    for (const char *const request :
         {R"(")", R"(add ")", R"(add "a)", R"(add "a\")", R"(add "a\)", R"(add "a"b)", R"("""")"})
        EXPECT_THAT(lineErrorOf(request), HasSubstr("quotation mark")) << request;
}

TEST(ControlLine, RefusesWhatIsNoText)
{
    for (const char *const request : {"\xff", "add \xc3", "\xc0\xaf", "\xed\xa0\x80", "\xf5\x80\x80\x80"})
        EXPECT_EQ(lineErrorOf(request), "the request is not UTF-8") << request;
    for (const std::string &request : {std::string("li\0st", 5), std::string("a\tb"), std::string("a\x1b[2J"),
                                       std::string("a\x7f"), std::string("a\xc2\x85")})
        EXPECT_EQ(lineErrorOf(request), "the request holds control characters") << request;
}

TEST(ControlLine, IsSplitIntoTheWordsThatItWasJoinedFrom)
{
    for (const Words &words :
         {Words{}, Words{""}, Words{"", "", ""}, Words{"add", "a b", "c"}, Words{R"("quoted")", R"(\)", R"(a\ b)"},
          Words{R"(a"b)", R"("a)", R"(a")", R"( ")", R"(" \")"}, Words{" ", "  x  "}, Words{"T\xc3\xbcr zu"}})
        EXPECT_EQ(wordsOf(ControlLine::join(words)), words) << ControlLine::join(words);
    EXPECT_EQ(ControlLine::join({"add", "rtsp://h/\"x\"", "my name"}), R"(add rtsp://h/"x" "my name")");
}

TEST(ControlLine, HasFieldsThatNeitherEndItNorCommandATerminal)
{
    EXPECT_EQ(ControlLine::field("T\xc3\xbcr a\tb\nc\rd\x1b[2J\x7f"), "T\xc3\xbcr a?b?c?d?[2J?");
    EXPECT_EQ(ControlLine::field("a\xff"), "a?");
    EXPECT_EQ(ControlLine::field("a\u202eb\u200bc\u2028d"), "a?b?c?d") << "nor turn the direction of writing";
}

TEST(ControlLine, KeepsTheTabsBetweenTheFieldsOfOthers)
{
    EXPECT_EQ(ControlLine::fields("a\x1b[2J\tb\u202e\t\tc\r\t"), "a?[2J\tb?\t\tc?\t");
    EXPECT_EQ(ControlLine::fields("T\xc3\xbcr"), "T\xc3\xbcr");
    EXPECT_EQ(ControlLine::fields(""), "");
}
