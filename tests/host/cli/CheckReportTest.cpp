#include "cli/CheckReport.h"

#include <gmock/gmock.h>

using testing::HasSubstr;

TEST(CheckReport, IsCleanWhenNothingIsLeft)
{
    EXPECT_TRUE(CheckReport().isClean());
}

TEST(CheckReport, NamesEverythingThatIsLeft)
{
    CheckReport published;
    published.stillPublished = {"e0711c9b-7725-4e3c-bdbf-b716c3a34142"};
    EXPECT_FALSE(published.isClean());
    EXPECT_THAT(published.toText(), HasSubstr("still published: e0711c9b-7725-4e3c-bdbf-b716c3a34142"));

    CheckReport running;
    running.threadsLeft = {11, 12};
    EXPECT_FALSE(running.isClean());
    EXPECT_THAT(running.toText(), HasSubstr("threads left: 2 (11, 12)"));

    CheckReport alive;
    alive.objectsLeft = {{"FormatManager", 2}};
    EXPECT_FALSE(alive.isClean());
    EXPECT_THAT(alive.toText(), HasSubstr("2 of FormatManager still alive"));
    EXPECT_THAT(alive.toJson(), HasSubstr("\"FormatManager\": 2"));
}

TEST(CheckReport, ShowsWhateverTextsTheComponentGivesInOneLineEach)
{
    CheckReport report;
    report.componentName = "two\nlines";
    report.componentPath = "d/lib\x1b[31mX.so";
    report.published = {{"identi\x07"
                         "fier",
                         {"IOne\x1b[2J", "I%1Two"}}};
    report.stillPublished = {"still\rthere"};
    report.objectsLeft = {{"Type\xff", 1}};
    EXPECT_EQ(report.toText(), "component  two?lines, from d/lib?[31mX.so\n"
                               "published  identi?fier: IOne?[2J, I%1Two\n"
                               "threads    none started\n"
                               "stopped    still published: still?there; threads left: none\n"
                               "objects    1 of Type? still alive\n");
}
