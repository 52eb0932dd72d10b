// `zmu check`: the response specs of a module that exists.
#pragma once

#include <tools/Command.h>

namespace zmu_tools {

void addCheckCommand(CLI::App& app, Run& run);

} // namespace zmu_tools
