// What `zmu collect` says on standard error of the form of its log.
#include "MadeSpools.h"
#include "ToolRun.h"

using namespace zmu_test;
using zmu_tools::Exit;

using FormTraces = MadeSpools;

TEST_F(FormTraces, TellOfABadFormAndNotOfOneThatNobodyNamed)
{
    folder.makeFolder("logs");
    const auto tracesOf = [this](u64 sequence) {
        write(spoolName(int(sequence)), spoolLine(sequence));
        const ToolRun run = runTool({"collect", place(), "--once", "--log-dir", path("logs")});
        EXPECT_EQ(run.exit, Exit::Good);
        return run.errors;
    };
    const std::string usual = tracesOf(1);
    EXPECT_EQ(usual.find("bpw_template"), std::string::npos) << usual;
    folder.makeFolder("logs/Templates");
    folder.write("logs/Templates/bpw_template.html", "^HEAD\n");
    const std::string told = tracesOf(2);
    EXPECT_NE(told.find("SectionsAllEmpty"), std::string::npos) << told;
}
