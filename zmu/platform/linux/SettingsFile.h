// A change of a settings file on disk, which SettingsReader.h reads and whose text SettingsText.h
// understands.
//
// Writers of one file take turns by a lock file beside it, "FILE.lock", as Qt's settings do.
#pragma once

#include <optional>
#include <string>

namespace zmu {

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

/// A change of a settings file, which is locked while this object lives. What is read and written
/// is the file itself where its name is a link.
class SettingsChange {
  public:
    explicit SettingsChange(const std::string& name);

    /// Whether this process may write the file, and has its lock. Who may not make a file beside it
    /// cannot lock it either, and has only its own value.
    bool isAllowed() const { return m_isAllowed; }

    /// As readSettings.
    std::optional<std::string> read(bool mayBeEmpty) const;

    /// Gives the file that text. It is replaced as a whole where its folder allows that, so that a
    /// full disk leaves the old one; who may write only the file itself writes into it. Whether all
    /// of it is on the disk.
    bool write(const std::string& text);

  private:
    std::string m_file;
    std::optional<SettingsLock> m_lock;
    bool m_mayReplace = false;
    bool m_isAllowed = false;
};

} // namespace zmu
