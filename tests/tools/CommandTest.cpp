// The command line of `zmu`.
#include <tools/Command.h>

#include <gtest/gtest.h>

#include <zmu/Version.h>

using namespace zmu_tools;

TEST(Command, AnswersWithItsDocumentedStatuses)
{
    testing::internal::CaptureStdout();
    EXPECT_EQ(runCommandLine({"--version"}), Exit::Good);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "zmu " ZMU_VERSION_STRING "\n");
    testing::internal::CaptureStdout();
    EXPECT_EQ(runCommandLine({"--help"}), Exit::Good);
    EXPECT_NE(testing::internal::GetCapturedStdout().find("Usage: zmu"), std::string::npos);
    testing::internal::CaptureStderr();
    EXPECT_EQ(runCommandLine({}), Exit::Usage);
    EXPECT_EQ(runCommandLine({"--no-such-option"}), Exit::Usage);
    EXPECT_EQ(runCommandLine({"nonsense"}), Exit::Usage);
    EXPECT_FALSE(testing::internal::GetCapturedStderr().empty());
}
