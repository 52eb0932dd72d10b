// How entries are shown: as lines of text, or as JSON.
#pragma once

#include "LogReader.h"

#include <string>

namespace zmu_tools::logs {

/// Names, from those of the form's variables, and texts of one entry as a JSON object in a line:
///
///     {"log":"...","time":"2026-11-22T14:03:07.045","situation":1001,"severity":"good",
///      "text":"Session 7 has ended.","ENTRY_ID":12,...,"SITUATION_DSCRP":"<b class=...>..."}
///
/// What the body does not tell is left out, and a text that is no entry has only `log` and `raw`;
/// of zeros in the place of a text there is their number, `zeros`. Variables between which nothing
/// tells the border stand under their names with a plus sign between.
void appendJsonLine(std::string& output, const Entry& entry, const std::string& logName);

/// How lines of text look.
struct LineStyle {
    bool isColoured = false;
    int width = 0; ///< Columns that a line has; 0 for any number.
};

/// An entry as a line: time, situation, text. Beyond the width it goes on below its text.
void appendTextLine(std::string& output, const Entry& entry, const LineStyle& style);

/// The text of an entry as a reader sees it; what is no entry as it stands.
std::u16string shownText(const Entry& entry);

} // namespace zmu_tools::logs
