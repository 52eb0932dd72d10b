// A command line of `zmu` in this process, and what it has said.
#pragma once

#include <tools/Command.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

struct ToolRun {
    zmu_tools::Exit exit;
    std::string output;
    std::string errors;
};

inline ToolRun runTool(const std::vector<std::string>& arguments)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const zmu_tools::Exit exit = zmu_tools::runCommandLine(arguments);
    std::string output = testing::internal::GetCapturedStdout();
    return {exit, output, testing::internal::GetCapturedStderr()};
}
