// What readers of spools ask of the system: linux/SpoolFiles.cpp and windows/SpoolFiles.cpp, one of
// them built.
//
// Paths and names are UTF-8, or on Linux whatever bytes the system has. Why something failed is
// told in words, for a message; empty for no failure.
#pragma once

#include <zmu/foundation/Types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace zmu_spool {

/// An open file or a lock; -1 for none.
using SystemFile = std::intptr_t;
inline constexpr SystemFile noSystemFile = -1;

/// The absolute path of a folder that exists, without links and without a separator at its end;
/// empty, with `why`, for what is none.
std::string absoluteFolder(const std::string& path, std::string& why);

/// Gives the name of each entry of a folder, in no order.
std::string listFolder(const std::string& folder,
                       const std::function<void(std::string_view name)>& take);

/// The size of a file in bytes, as its writer has it. Follows no link; false if there is none.
bool measureFile(const std::string& path, zmu::u64& size);
/// Whether there is a process of that number on this machine; true where that cannot be told.
bool isRunning(zmu::u64 process);

/// The name of a user, who is given as SpoolHandle::user() does. False if none is told, be it that
/// there is none, or that whoever knows names does not answer.
bool findUserName(const std::string& user, std::string& name);

/// A spool file that is open for reading, and what is known of it from then.
class SpoolHandle {
  public:
    /// Opens what the path leads to, but no link, no device and no pipe. Waits for nothing.
    explicit SpoolHandle(const std::string& path);
    ~SpoolHandle();
    SpoolHandle(const SpoolHandle&) = delete;
    SpoolHandle& operator=(const SpoolHandle&) = delete;

    bool isOpen() const { return m_file != noSystemFile; }
    /// Why it is not open.
    const std::string& why() const { return m_why; }
    /// There is nothing of that name.
    bool isMissing() const { return m_isMissing; }

    /// In bytes, at this moment.
    zmu::u64 size() const;
    /// Whom the file belongs to, by the system's number: "1000", or "S-1-5-21-…". Empty if that is
    /// not told.
    std::string user() const;
    /// Why its lines could be another's than the owner's; empty if they cannot. Others must be able
    /// neither to write it nor, by way of its folder, to give it another name.
    std::string distrust(const std::string& folder) const;
    /// Reads up to `size` bytes from `position` on. Fewer, with `why`, if that failed, and without
    /// it if there are no more.
    std::size_t read(zmu::u64 position, char* bytes, std::size_t size, std::string& why) const;
    /// Whether no process writes it any more. False where the system does not tell.
    bool isWriterGone() const;

  private:
    std::string m_path;
    SystemFile m_file = noSystemFile;
    bool m_isMissing = false;
    std::string m_why;
};

/// Removes a spool file that has `size` bytes, that belongs to `user`, and that nobody writes. A
/// file that is not there any more is removed.
std::string removeSpoolFile(const std::string& path, zmu::u64 size, const std::string& user);

/// Writes a file of these bytes in the place of `path`, whole or not at all, so that it is there
/// after a loss of power, too. `path` with ".new" behind it is used on the way.
std::string replaceFile(const std::string& path, std::string_view bytes);
/// Reads a file whole. One that is not there is `isMissing`, and no failure.
std::string readWholeFile(const std::string& path, std::size_t sizeMax, std::string& bytes,
                          bool& isMissing);
/// Brings to the disk what other handles of this process have written to a file.
std::string syncFile(const std::string& path);

/// Makes a file that only this process has a lock on, until it ends or unlocks it. noSystemFile if
/// another one has it; throws std::runtime_error if the file cannot be made.
SystemFile lockFile(const std::string& path);
void unlockFile(SystemFile lock);

} // namespace zmu_spool
