// The command line of `zmu`.
#include <tools/Command.h>

#include <gtest/gtest.h>

#include <zmu/Version.h>

#include "ToolRun.h"

using namespace zmu_tools;

TEST(Command, AnswersWithItsDocumentedStatuses)
{
    EXPECT_EQ(runTool({"--version"}).output, "zmu " ZMU_VERSION_STRING "\n");
    for (const std::vector<std::string>& line : {std::vector<std::string>{"--help"},
                                                 {"help"},
                                                 {"help", "form", "check"},
                                                 {"check", "--help"}}) {
        const ToolRun run = runTool(line);
        EXPECT_EQ(run.exit, Exit::Good) << line[0];
        EXPECT_NE(run.output.find("Usage: zmu"), std::string::npos) << run.output;
        EXPECT_EQ(run.output.find("manual"), std::string::npos) << "a hidden command";
        EXPECT_EQ(run.errors, "");
    }
    EXPECT_EQ(runTool({"help", "form", "check"}).output,
              runTool({"form", "check", "--help"}).output);
    EXPECT_NE(runTool({"--help"}).output.find("3 if something cannot be read"), std::string::npos);

    const struct {
        std::vector<std::string> line;
        const char* words;
    } wrong[] = {
        {{}, "--help"},
        {{"--no-such-option"}, "there is no option '--no-such-option'\n"},
        {{"--versoin"}, "'--version' is one"},
        {{"chekc"}, "there is no command 'chekc', 'check' is one"},
        {{"form", "previw", "x"}, "there is no command 'previw', 'preview' is one"},
        {{"nonsense\x1b[2J"}, "there is no command 'nonsense\\x1b[2J'; see"},
        {{"help", "explian"}, "'explain' is one"},
        {{"check", "x", "--affix=3"}, "'--affixes' is one"},
        {{"check", "x", "--plug-ins=many"}, "--plug-ins"},
        {{"check"}, "MODULE"},
    };
    for (const auto& row : wrong) {
        const ToolRun run = runTool(row.line);
        EXPECT_EQ(run.exit, Exit::Usage) << row.words;
        EXPECT_NE(run.errors.find(row.words), std::string::npos) << row.words << '\n' << run.errors;
        EXPECT_EQ(run.output, "");
    }
}
