// `zmu form`: what is wrong with a form, and how it looks.
#pragma once

#include <tools/Command.h>

namespace zmu_tools {

void addFormCommand(CLI::App& app, Run& run);

} // namespace zmu_tools
