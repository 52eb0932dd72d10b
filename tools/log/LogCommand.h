// `zmu log`: a log read back.
#pragma once

#include <tools/Command.h>

namespace zmu_tools {

void addLogCommand(CLI::App& app, Run& run);

} // namespace zmu_tools
