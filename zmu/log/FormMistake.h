// What is wrong with the form of a log, and where.
#pragma once

#include <vector>

namespace zmu {

/// A place in a form file and what is wrong there. A form is dismissed for the first mistake that
/// has a code; without one the log only looks otherwise than its author meant.
struct FormMistake {
    const wchar_t* what = nullptr; ///< Static; null where the code's meaning says it all.
    int code = 0;                  ///< The DX code for which the form is dismissed.
    int line = 0;                  ///< From 1; 0 is unknown.
    int column = 0;                ///< In bytes, from 1; 0 is unknown, or the line as a whole.
};

using FormMistakes = std::vector<FormMistake>;

} // namespace zmu
