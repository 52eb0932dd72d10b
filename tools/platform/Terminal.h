// What standard output leads to.
#pragma once

namespace zmu_tools {

/// Makes standard output take UTF-8 and, if it is a terminal, colours.
void prepareOutput();
/// Whether standard output is a terminal that shows colours.
bool isTerminal();
/// Columns of that terminal; 0 if it does not tell.
int terminalWidth();

} // namespace zmu_tools
