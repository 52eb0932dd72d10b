// The text of HTML, as far as descriptions of situations go.
#pragma once

#include "Pattern.h"

#include <string>
#include <string_view>

namespace zmu_tools::logs {

/// `text` with its entities as the characters that they stand for. One that is not known stays as
/// it is.
std::u16string withoutEntities(TextView text);

/// `html` without tags and comments, in one line: breaks and whatever begins a new block are
/// blanks, and several blanks are one. A tag that does not end is text.
std::u16string plainText(TextView html);

/// "note", "good", "warning" or "fault", if that is how a description begins; else empty.
std::string_view severityOf(TextView description);

} // namespace zmu_tools::logs
