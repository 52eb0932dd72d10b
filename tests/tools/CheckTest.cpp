// `zmu check`, in this process, and as a program where a module ends its process.
#include <tools/Command.h>
#include <tools/proof/SpecProof.h>

#include <gtest/gtest.h>

#include <zmu/monitor/DxCodes.h>

#include <QCoreApplication>
#include <QProcess>

#include "ToolRun.h"

using namespace zmu_tools;

namespace {

const std::string module = ZMU_TEST_MISTAKEN;

} // namespace

TEST(Check, NamesEachMistakeOfAModule)
{
    const ToolRun run =
        runTool({"check", module, "--affixes", "6", "--plug-ins=1", "--text=500", "--ids=1-99"});
    EXPECT_EQ(run.exit, Exit::Findings);
    std::string output = run.output;
    for (std::size_t at; (at = output.find(module)) != std::string::npos;)
        output.replace(at, module.size(), "M");
    EXPECT_EQ(output,
              "M:2: header: error: 252/KindOutOfRange, the approval kind is neither 1 nor 2\n"
              "    3~0||``Hello.`\n"
              "    ^\n"
              "M:3: display: warning: the display text is cut: it can have 520 characters, "
              "and there is room for 511, which texts of at most 491 leave free [with the "
              "longest arguments]\n"
              "    2~0~2~s|64~255``The user's name is %1.`|``User...\n"
              "                    ^\n"
              "M:4: header: error: 247/PlugInIdOutOfRange, a plug-in number outside the table\n"
              "    2~0~~~1||``Hello.`\n"
              "          ^\n"
              "M:5: spec: error: 261/SpecFields, a response spec does not have three fields\n"
              "    A text for people: not 50 %, ~ or so.\n"
              "                                         ^\n"
              "M:7: spec: error: 261/SpecFields, a response spec does not have three fields\n"
              "    7~\n"
              "      ^\n"
              "M: 6 response specs, 4 of them with mistakes, 1 warnings; 0 other strings\n");
}

TEST(Check, TellsWhatIsMeantAsASpecAndWhatIsMissing)
{
    const ToolRun run = runTool({"check", module, "--ids", "1"});
    EXPECT_EQ(run.exit, Exit::Findings);
    EXPECT_NE(run.output.find("--affixes FIRST-LAST"), std::string::npos) << run.output;
    EXPECT_EQ(runTool({"check", module, "--ids", "1-1", "--affixes", "6-6"}).exit, Exit::Good);
    EXPECT_EQ(runTool({"check", module, "--ids", "8-99"}).exit, Exit::Findings);
    EXPECT_EQ(runTool({"check", module, "--ids", "102"}).exit, Exit::Findings);

    const std::vector<std::string> first = {"check", module, "--ids=1", "--affixes=6",
                                            "--text=910"};
    const auto withForm = [&first](const char* form) {
        std::vector<std::string> line = first;
        line.push_back(std::string("--form=") + form);
        return runTool(line);
    };
    EXPECT_EQ(runTool(first).exit, Exit::Good);
    EXPECT_NE(withForm(ZMU_TEST_TEMPLATES "/bpw_template.html").output.find("178/SectionNot"),
              std::string::npos);
    EXPECT_EQ(withForm(__FILE__).exit, Exit::Unreadable);

    for (const char* const range : {"5-1", "0-3", "x", "1-", "1-2-3", "99999999999"})
        EXPECT_EQ(runTool({"check", module, "--ids", range}).exit, Exit::Usage) << range;
    EXPECT_EQ(runTool({"check", module, "--affixes", "1-40000"}).exit, Exit::Usage);
    for (const char* const file : {"/no/such/module", ".", __FILE__}) {
        const ToolRun unreadable = runTool({"check", file});
        EXPECT_EQ(unreadable.exit, Exit::Unreadable) << file;
        EXPECT_NE(unreadable.errors.find(file), std::string::npos) << unreadable.errors;
    }
    const std::vector<SpecFinding> missing = proveString(GetModuleHandleW(nullptr), 77, {});
    ASSERT_EQ(missing.size(), 1U);
    EXPECT_EQ(missing[0].code, zmu::dx::SpecNotLoaded);
}

TEST(Check, OutlivesAModuleThatEndsItsProcess)
{
    for (const char* const ids : {"2-100", "101", "2"}) {
        QProcess tool;
        tool.start(ZMU_TEST_TOOL, {"check", QString::fromStdString(module), "--ids", ids});
        ASSERT_TRUE(tool.waitForFinished(60'000)) << tool.errorString().toStdString();
        const std::string last = std::string(ids).substr(std::string(ids).find('-') + 1);
        const bool isEnd = last.size() == 3;
        EXPECT_EQ(tool.exitCode(), static_cast<int>(isEnd ? Exit::Unreadable : Exit::Findings));
        const std::string errors = tool.readAllStandardError().toStdString();
        EXPECT_EQ(errors.find("the module has ended its process when it was asked for string " +
                              last) != std::string::npos,
                  isEnd)
            << errors;
        EXPECT_EQ(tool.readAllStandardOutput().contains("KindOutOfRange"), *ids == '2');
    }
}
