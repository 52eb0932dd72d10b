// Reading a settings file from disk, whose text SettingsText.h understands. As that, it needs
// nothing of the library.
#pragma once

#include <optional>
#include <string>

namespace zmu {

/// The text of a settings file as it was at one moment, "" if there is none. Nothing, with the
/// reason in errno, for one that cannot be read whole: a change would lose the rest of it. One that
/// is being written is given a tenth of a second, and so is one that is empty, since an editor may
/// be writing it anew, unless it `mayBeEmpty`. The calling thread is one that is not cancelled.
std::optional<std::string> readSettings(const std::string& file, bool mayBeEmpty = false);

} // namespace zmu
