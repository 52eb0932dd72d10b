// `zmu compile`: from a catalogue to a header, modules and pages.
#pragma once

#include <tools/Command.h>

namespace zmu_tools {

void addCompileCommand(CLI::App& app, Run& run);

} // namespace zmu_tools
