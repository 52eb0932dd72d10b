// `zmu explain`: what a code means.
#pragma once

#include <tools/Command.h>

namespace zmu_tools {

void addExplainCommand(CLI::App& app, Run& run);

} // namespace zmu_tools
