// What the proxy asks of the system: linux/System.cpp and windows/System.cpp, one of them built.
//
// Paths are UTF-8, or on Linux whatever bytes the system has. A failure is the system's own number
// for it, 0 for none. Only obtainSettings allocates, and throws for a lack of memory.
#pragma once

#include <spool/SpoolWriter.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace cs4s3 {

using zmu::i64;
using zmu::u64;

// ---- The process ---------------------------------------------------------------------------------

/// Nanoseconds since 1970 UTC.
i64 presentTime();
/// Milliseconds by a clock that nobody sets, as exact as the system's tick.
u64 steadyMilliseconds();
/// The system's number for the calling thread.
u64 threadNumber();
/// The system's number for this process: another one in the child of a fork.
u64 processNumber();
/// Lets another thread run.
void giveWay();
/// Host, program, number and start of this process. Of two programs that one process has run in
/// turn each has another start.
void describeProcess(zmu_spool::Origin& origin);

/// For its scope a thread is not cancelled, and afterwards its last error is what it was.
class Undisturbed {
  public:
    Undisturbed();
    ~Undisturbed();
    Undisturbed(const Undisturbed&) = delete;
    Undisturbed& operator=(const Undisturbed&) = delete;

  private:
    int m_cancelState = 0;
    unsigned long m_error = 0;
};

/// The lock of the process's spool.
class SpoolGuard {
  public:
    /// The lock is free from now on: who has it is no thread of this process.
    static void forget();

    SpoolGuard();
    ~SpoolGuard();
    SpoolGuard(const SpoolGuard&) = delete;
    SpoolGuard& operator=(const SpoolGuard&) = delete;

    /// False where a process ends whose last thread cannot have the lock: another one was stopped
    /// with it.
    bool isHeld() const { return m_isHeld; }

  private:
    bool m_isHeld = false;
};

/// Writes a line to standard error, or to a debugger. Waits for nobody: what is not taken at once
/// is dropped.
void tell(const char* line);
/// The system's words for a failure.
void explain(int error, char* text, std::size_t size);

// ---- Settings ------------------------------------------------------------------------------------

struct Settings {
    static constexpr std::size_t pathQty = 1024;

    char folder[pathQty] = {};   ///< Without a separator at its end.
    u64 fileSize = 0x1000000;    ///< Bytes at which a file is closed: 16 MiB.
    u64 folderSize = 0x40000000; ///< Bytes of all files in the folder: 1 GiB.
};

/// What keeps situations from being written.
struct Obstacle {
    const char* what = nullptr; ///< Null for none.
    int error = 0;

    bool isThere() const { return what != nullptr; }
};

/// The settings as they are now. The user's own folder is made if that is the one.
Obstacle obtainSettings(Settings& settings);

/// Gives a setting of bytes its value from a text. Whether that is a number above 0.
bool readSize(const char* text, u64& size);

// ---- Files ---------------------------------------------------------------------------------------

/// Is told of each file of a folder.
class FolderUse {
  public:
    /// `age`: seconds since the last sign of its writer.
    virtual void add(std::string_view name, u64 size, i64 age) = 0;

  protected:
    ~FolderUse() = default;
};
/// 0 on success.
int measureFolder(const char* folder, FolderUse& use);

using File = std::intptr_t;
inline constexpr File noFile = -1;

/// Makes a file that only this process writes, for as long as it has it open: readers find it
/// locked (see docs/proxy.md). Fails if there is anything of that name. `file` has it from the
/// moment on when it is there, for a child that is forked off then to close. 0 on success.
int createFile(const char* folder, const char* name, std::atomic<File>& file);
/// Closes a file and clears `file`, in the order that a fork in between asks for.
void closeFile(std::atomic<File>& file);
/// Removes a file that was closed.
void removeFile(const char* folder, const char* name);
/// Gives a file the present time, by which others know that it has a writer.
void giveSign(File file);
/// Whether a failure of createFile means that another name may do.
bool isNameTaken(int error);
/// Whether a failure of appendTo leaves the file fit for use: there is no room just now.
bool isForWantOfRoom(int error);

/// Bytes that the process may give a file at present. Asked before each write, since passing this
/// limit would send the host a deadly signal.
u64 fileSizeLimit();
/// Writes at the end of a file, with one call. Returns the bytes taken; with fewer than `size`,
/// `error` says why.
std::size_t appendTo(File file, const char* bytes, std::size_t size, int& error);
/// Takes the last `size` bytes off a file. Whether they are gone.
bool cutBack(File file, std::size_t size);
/// Whether an open file still has a name.
bool isNamed(File file);

} // namespace cs4s3
