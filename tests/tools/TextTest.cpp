// Text of the tools.
#include <tools/Text.h>

#include <gtest/gtest.h>

using namespace zmu_tools;

TEST(ToolText, NearestNameForgivesSlipsAndNothingElse)
{
    const std::vector<std::string> names = {"display", "log", "arguments", "plugins"};
    EXPECT_EQ(nearestName("dispaly", names), "display");
    EXPECT_EQ(nearestName("Argument", names), "arguments");
    EXPECT_EQ(nearestName("plug-ins", names), "plugins");
    EXPECT_EQ(nearestName("lgo", names), "log");
    EXPECT_EQ(nearestName("colour", names), "");
    EXPECT_EQ(nearestName("", names), "");
    EXPECT_EQ(nearestName(std::string(64, 'a'), {std::string(65, 'a')}), std::string(65, 'a'));
    EXPECT_EQ(nearestName(std::string(300000, 'a'), {std::string(300000, 'a')}), "");
}

TEST(ToolText, TerminalsAreShownWhatTheyWouldObey)
{
    EXPECT_EQ(harmless("a\tb\x1b[31mred\x7f"), "a\tb\\x1b[31mred\\x7f");
    EXPECT_EQ(harmless("\xc2\x9b"
                       "31m \xc3\xa9"),
              "\\u009b31m \xc3\xa9");
    EXPECT_EQ(narrowed(widened("na\xc3\xafve \xf0\x9f\x98\x80")), "na\xc3\xafve \xf0\x9f\x98\x80");
}
