// `zmu explain`: codes in each form in which somebody meets them.
#include <gtest/gtest.h>

#include <QRegularExpression>

#include "ToolRun.h"

using namespace zmu_tools;

TEST(Explain, KnowsEachFormInWhichACodeIsMet)
{
    const struct {
        std::vector<std::string> codes;
        std::vector<std::string> words; // in this order
    } rows[] = {
        {{"135"},
         {"DX135 LogNameIsFormName, of a monitor", "raised by", "ZarnData::", "meaning",
          "the log and the form have the same name", "usual cause", "what to do"}},
        {{"#135"}, {"LogNameIsFormName"}},
        {{"252/KindOutOfRange"}, {"DX252 KindOutOfRange"}},
        {{"KindOutOfRange"}, {"DX252 KindOutOfRange"}},
        {{"ZGW5/45"}, {"ZGW5 MonitorNotCreated", "DX45 FileNotOpened", "what to do"}},
        {{"ZGW5/WLE45"}, {"ZGW5 MonitorNotCreated", "DX45 FileNotOpened"}},
        {{"zgw43/5"}, {"ZGW43 DirectoryNotCreated", "WLE5 ERROR_ACCESS_DENIED"}},
        {{"ZGW57/WLE0"},
         {"ZGW57 TagSourceFailed", "zmu_module_version", "WLE0: nothing has failed"}},
        {{"WLE2"}, {"WLE2 ERROR_FILE_NOT_FOUND, of the system", "what to do"}},
        {{"status", "14"}, {"STATUS14 DialogNotCreated, of the status dialog"}},
        {{"STATUS14", "4"}, {"STATUS14", "DX4 DisplayFunctionMissing", "or else", "ZGW4 "}},
        {{"0"}, {"DX0: nothing has failed"}},
    };
    for (const auto& row : rows) {
        std::vector<std::string> arguments = {"explain"};
        arguments.insert(arguments.end(), row.codes.begin(), row.codes.end());
        const ToolRun run = runTool(arguments);
        EXPECT_EQ(run.exit, Exit::Good) << row.codes[0] << run.errors;
        std::size_t at = 0;
        for (const std::string& word : row.words) {
            at = run.output.find(word, at);
            ASSERT_NE(at, std::string::npos) << row.codes[0] << " has no " << word << ":\n"
                                             << run.output;
        }
    }
}

TEST(Explain, SaysWhatIsNoCode)
{
    for (const char* const code : {"99999", "ZGW8", "WLE7777", "KindOutOfRang", "", "/", "5/",
                                   "ZGW", "99999999999999999999", "\x1b[2J", "status"}) {
        const ToolRun run = runTool({"explain", "135", code});
        EXPECT_EQ(run.exit, Exit::Findings) << code;
        EXPECT_NE(run.errors.find("is no code"), std::string::npos) << code << run.errors;
        EXPECT_EQ(run.errors.find('\x1b'), std::string::npos);
    }
    EXPECT_NE(runTool({"explain", "KindOutOfRang"}).errors.find("KindOutOfRange is one"),
              std::string::npos);
    EXPECT_EQ(runTool({"explain"}).exit, Exit::Usage);
}
