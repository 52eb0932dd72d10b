// A settings file on disk, whose text SettingsText.h understands.
//
// Writers of one file take turns by a lock file beside it, "FILE.lock", as Qt's settings do.
#pragma once

#include <optional>
#include <string>

namespace zmu {

/// The text of a settings file, "" if there is none. Nothing, with the reason in errno, for one
/// that cannot be read whole: a change would lose the rest of it. One that is empty is given a
/// moment, since an editor may be writing it anew.
std::optional<std::string> readSettings(const std::string& file);

/// The lock of a file among processes, held by this object.
class SettingsLock {
  public:
    /// Waits for another process's lock for a second at most; one that its process has left behind
    /// does not count.
    explicit SettingsLock(const std::string& file);
    ~SettingsLock();
    SettingsLock(const SettingsLock&) = delete;
    SettingsLock& operator=(const SettingsLock&) = delete;

    bool isHeld() const { return m_descriptor >= 0; }

  private:
    std::string m_path;
    int m_descriptor = -1;
};

/// Gives the file, or the one that it is a link to, that text. It is replaced as a whole where its
/// folder allows that, so that a full disk leaves the old one; who may write only the file itself
/// writes into it. Whether all of it is on the disk.
bool replaceSettings(const std::string& file, const std::string& text);

} // namespace zmu
