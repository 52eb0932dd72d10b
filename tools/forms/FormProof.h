// What is wrong with a form of a log, all of it, before a log is written with it.
//
//     const FormVerdict verdict = proveForm(bytes);
//     for (const FormFinding& finding : verdict.findings)
//         std::cerr << finding.line << ':' << finding.column << ": " << finding.what;
//
// The library judges: a data set learns the form, which is never opened as a log's. It stops at the
// first mistake; that one is then mended in a copy and the form learned again, until it is good.
// Nothing is traced.
#pragma once

#include <QByteArray>

#include <cstddef>
#include <string>
#include <vector>

namespace zmu_tools {

struct FormFinding {
    /// The DX code for which the library dismisses the form; 0 for what it takes.
    int code = 0;
    bool isWarning = false; ///< The form is used all the same.
    std::string name;       ///< Of the code; empty without one.
    std::string what;       ///< What is wrong, and what would be right. Fit for a terminal.
    int line = 0;           ///< From 1; 0 for the form as a whole.
    int column = 0;         ///< In bytes, from 1; 0 for the line as a whole.
};

struct FormVerdict {
    std::vector<FormFinding> findings; ///< By line and column.
    /// Whether the library would use the form.
    bool isUsed = true;
    /// Elements that the description of an entry may have, the variables of the body being of
    /// usual lengths; 0 for a form that is not used.
    std::size_t descriptionRoom = 0;
};

/// Judges the bytes of a form. Throws nothing but std::bad_alloc.
FormVerdict proveForm(const QByteArray& form);

/// Why a form file cannot be read; empty if it can.
std::string whyFormUnreadable(const std::string& path);

/// Judges a file: also whether the library may read it and trusts who can write it.
FormVerdict proveFormFile(const std::string& path);

} // namespace zmu_tools
