// `zmu ship`: from the spools of a machine to servers that keep what is on its way.
#pragma once

#include <tools/Command.h>

namespace zmu_tools {

void addShipCommand(CLI::App& app, Run& run);

} // namespace zmu_tools
