// `zmu collect`: the situations of many processes in one log.
#pragma once

#include <tools/Command.h>

namespace zmu_tools {

void addCollectCommand(CLI::App& app, Run& run);

} // namespace zmu_tools
