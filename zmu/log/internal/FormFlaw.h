// What is wrong with the percent signs and the brackets of a form.
#pragma once

#include <zmu/log/ZarnForm.h>

#include <cstddef>

namespace zmu {

/// A place in a text, and what is wrong there; no `what`: nothing is.
struct FormFlaw {
    const wchar_t* what = nullptr;
    std::size_t offset = 0;
};

/// Why a compiled section can never be formatted. Its own text may ask for inserts, too, which
/// must have a variable, and one of their kind.
FormFlaw findRefused(const wchar_t* format, int varCount, const Zarn_FORM_VAR* vars);

/// Where in `source` stands what compiling it has put at `offset` of its format. The first
/// `varCount` names between the brackets have become inserts of `vars`.
std::size_t offsetInSource(const wchar_t* source, std::size_t offset, wchar_t open, wchar_t close,
                           int varCount, const Zarn_FORM_VAR* vars);

/// A percent sign that the formatter leaves out of what it shows.
FormFlaw findLonePercent(const wchar_t* format);

/// A bracket of a section's text that is opened and never closed.
FormFlaw findUnclosedBracket(const wchar_t* text, wchar_t open, wchar_t close);

} // namespace zmu
