// The last error, and what the library says on standard error: debug output, and what no box shows.
#include <zmu/platform/linux/Diagnostics.h>

#include <zmu/platform/Threads.h>
#include <zmu/platform/Win32.h>
#include <zmu/platform/linux/Conversion.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cwchar>

namespace {

thread_local DWORD lastError = ERROR_SUCCESS;

/// Saves errno and the last error for its scope, since debug output goes between a failure and the
/// question for its cause.
class ErrorKeeper {
  public:
    ErrorKeeper() = default;
    ~ErrorKeeper()
    {
        lastError = m_lastError;
        errno = m_errno;
    }
    ErrorKeeper(const ErrorKeeper&) = delete;
    ErrorKeeper& operator=(const ErrorKeeper&) = delete;

  private:
    const DWORD m_lastError = lastError;
    const int m_errno = errno;
};

/// Keeps a write that cannot succeed from ending the host: the signals of a reader that has gone
/// away and of a full file are held back in this thread, and what a write has caused is taken off
/// before the thread's mask is as it was.
class WriteSignalsHold {
  public:
    WriteSignalsHold()
    {
        sigset_t held;
        sigemptyset(&held);
        sigemptyset(&m_caused);
        sigset_t pending;
        sigpending(&pending);
        for (const int signal : {SIGPIPE, SIGXFSZ}) {
            sigaddset(&held, signal);
            if (sigismember(&pending, signal) != 1)
                sigaddset(&m_caused, signal);
        }
        pthread_sigmask(SIG_BLOCK, &held, &m_before);
    }
    ~WriteSignalsHold()
    {
        constexpr timespec noWait{};
        if (m_hasFailed) {
            while (sigtimedwait(&m_caused, nullptr, &noWait) == -1 && errno == EINTR) {
            }
        }
        pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
    }
    WriteSignalsHold(const WriteSignalsHold&) = delete;
    WriteSignalsHold& operator=(const WriteSignalsHold&) = delete;

    void noteFailure() { m_hasFailed = true; }

  private:
    sigset_t m_caused; ///< Those that only a write of ours can have caused.
    sigset_t m_before;
    bool m_hasFailed = false;
};

/// Whether standard error takes text. A reader that has stopped reading costs this much patience
/// and its text, not the host's progress.
bool isErrorWritable()
{
    constexpr int patienceMilliseconds = 200;
    constexpr int attemptsMax = 10; // a host with a timer interrupts each wait
    pollfd error{STDERR_FILENO, POLLOUT, 0};
    for (int attempt = 0; attempt < attemptsMax; ++attempt) {
        const int ready = poll(&error, 1, patienceMilliseconds);
        if (ready >= 0)
            return ready > 0;
        if (errno != EINTR)
            return false;
    }
    return false;
}

/// Writes to standard error without ever waiting there: somebody else may have taken the room that
/// was seen a moment ago. Whether the host's own descriptor waits is the host's affair, and those
/// who share it; so a pipe or a terminal is opened once more.
class ErrorChannel {
  public:
    ErrorChannel()
    {
        struct stat status;
        if (fstat(STDERR_FILENO, &status) != 0)
            return;
        m_isSocket = S_ISSOCK(status.st_mode);
        if (S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode))
            m_own = open("/proc/self/fd/2", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    }
    ~ErrorChannel()
    {
        if (m_own >= 0)
            close(m_own);
    }
    ErrorChannel(const ErrorChannel&) = delete;
    ErrorChannel& operator=(const ErrorChannel&) = delete;

    /// As write(2); EAGAIN if there is no room.
    ssize_t put(const char* bytes, std::size_t size) const
    {
        if (m_isSocket)
            return send(STDERR_FILENO, bytes, size, MSG_DONTWAIT);
        return write(m_own >= 0 ? m_own : STDERR_FILENO, bytes, size);
    }

  private:
    bool m_isSocket = false;
    int m_own = -1;
};

/// Collects text in UTF-8 and writes it to standard error, in one piece as long as it fits here.
class ErrorStream {
  public:
    ErrorStream() = default;
    ~ErrorStream() { flush(); }
    ErrorStream(const ErrorStream&) = delete;
    ErrorStream& operator=(const ErrorStream&) = delete;

    void add(const wchar_t* text)
    {
        for (std::size_t left = std::wcslen(text); left != 0;) {
            if (room() < longestCharacter)
                flush();
            const std::size_t piece = std::min(left, room() / longestCharacter);
            m_used += static_cast<std::size_t>(
                WideCharToMultiByte(CP_ACP, 0, text, static_cast<int>(piece), m_bytes + m_used,
                                    static_cast<int>(room()), nullptr, nullptr));
            text += piece;
            left -= piece;
        }
    }

  private:
    static constexpr std::size_t longestCharacter = 4;

    std::size_t room() const { return sizeof m_bytes - m_used; }

    /// What cannot be written is dropped: there is nowhere to tell.
    void flush()
    {
        constexpr int attemptsMax = 10; // others may take the room again and again
        const ErrorChannel channel;
        const char* bytes = m_bytes;
        for (int attempt = 0; m_used != 0 && attempt < attemptsMax; ++attempt) {
            if (!isErrorWritable())
                break;
            const ssize_t written = channel.put(bytes, m_used);
            if (written < 0 && (errno == EINTR || errno == EAGAIN))
                continue;
            if (written < 0)
                m_hold.noteFailure();
            if (written <= 0)
                break;
            bytes += written;
            m_used -= static_cast<std::size_t>(written);
        }
        m_used = 0;
    }

    const zmu::CancellationHold m_end;
    WriteSignalsHold m_hold;
    char m_bytes[4096]; // A trace line of 1023 characters at their longest; atomic on a pipe.
    std::size_t m_used = 0;
};

} // namespace

DWORD GetLastError()
{
    return lastError;
}

void SetLastError(DWORD error)
{
    lastError = error;
}

DWORD zmu::errorOf(int error)
{
    switch (error) {
    case ENOENT:
    case ENOTDIR:
        return ERROR_PATH_NOT_FOUND;
    case EEXIST:
        return ERROR_ALREADY_EXISTS;
    case EISDIR:
        return ERROR_DIRECTORY;
    case EMFILE:
    case ENFILE:
        return ERROR_TOO_MANY_OPEN_FILES;
    case ENOMEM:
    case ENOBUFS:
        return ERROR_NOT_ENOUGH_MEMORY;
    case EROFS:
        return ERROR_WRITE_PROTECT;
    case ENOSPC:
    case EDQUOT:
        return ERROR_DISK_FULL;
    case ENAMETOOLONG:
    case ELOOP:
        return ERROR_FILENAME_EXCED_RANGE;
    default:
        return ERROR_ACCESS_DENIED;
    }
}

void OutputDebugStringW(const wchar_t* text)
{
    if (!text)
        return;
    const ErrorKeeper keeper;
    ErrorStream stream;
    stream.add(text);
}

void zmu::writeToStandardError(const wchar_t* caption, const wchar_t* text)
{
    const ErrorKeeper keeper;
    ErrorStream stream;
    if (caption && *caption) {
        stream.add(caption);
        stream.add(L": ");
    }
    stream.add(text ? text : L"");
    stream.add(L"\n");
}
