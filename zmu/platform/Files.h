// Files, as far as they must not cost memory: nothing here allocates, and nothing throws.
//
// A path is wide text, taken as the system takes it: relative ones from the current directory, with
// no prefix that means anything else than a file. An open file is named by the C library's number
// for it, -1 for none, and is not inherited by the host's child processes.
#pragma once

#include <zmu/foundation/Types.h>

namespace zmu {

enum class FileUse {
    Read,
    ReadWrite, ///< Makes the file if there is none.
    New,       ///< As ReadWrite, but fails if there is anything of that name.
};

/// Opens a regular file, shared with everybody. -1 with the last error on failure, also for what is
/// no regular file: a pipe or a device would block, or never end.
int openFile(const wchar_t* path, FileUse use);
/// Any number is right, -1 too.
void closeFile(int file);

/// Bytes of an open file; -1 if the system does not tell.
i64 sizeOf(int file);
/// Cuts an open file, or fills it up with zeros. Whether that worked.
bool resizeFile(int file, i64 size);

/// Bytes that a file may have, all ones for no limit. Asked before a write, where passing the limit
/// would not only fail but send the host a deadly signal.
u64 fileSizeLimit();

/// Reads up to `size` bytes from `position` on. Returns the bytes read, fewer than `size` at the
/// end of the file, -1 on failure.
i64 readAt(int file, i64 position, char* data, i64 size);

/// Writes `size` bytes at `position`. Returns the bytes that the system has taken, fewer than
/// `size` when it refuses the rest. What the system's own position in the file is afterwards is not
/// said.
i64 writeAt(int file, i64 position, const char* data, i64 size);

/// Which file it is that is open, or that a name leads to.
struct FileIdentity {
    u64 device = 0;
    u64 number = 0;
    u64 links = 0; ///< Names that lead to it.
    i64 size = -1;

    bool isThere() const { return size >= 0; }
    bool isSameFile(const FileIdentity& other) const
    {
        return isThere() && other.isThere() && device == other.device && number == other.number;
    }
};
/// A file that is not there, or of which the system does not tell, has no size.
FileIdentity identityOf(int file);
FileIdentity identityOf(const wchar_t* path);

/// One more number for an open file, -1 without any. Balance with closeFile.
int duplicateFile(int file);

/// Why a file that is open may have been put at `path` by somebody whom the process has no reason
/// to trust, null if there is no sign of that. It has to be the user's or the administrator's, and
/// not everybody's to write. So has the folder that it lies in, but for one in which everybody may
/// write and only owners remove files: there the file's name has to be the user's or the
/// administrator's, too. A group that may write was let in by the owner, and counts as trusted.
/// Where files have no such owners: always null.
const wchar_t* whyDistrusted(int file, const wchar_t* path);

/// Whether there is anything of that name, be it a link that leads nowhere.
bool isThere(const wchar_t* path);

/// Removes a file that has no content.
void removeIfEmpty(const wchar_t* path);

/// What a directory is to a process that wants to make files in it.
enum class DirectoryState { Usable, Missing, NoDirectory, NoRight };
DirectoryState directoryState(const wchar_t* path);

} // namespace zmu
