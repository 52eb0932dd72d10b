// The last error, and what the library says on standard error: debug output, and what no box shows.
#include <zmu/platform/linux/Diagnostics.h>

#include <zmu/platform/Threads.h>
#include <zmu/platform/Win32.h>
#include <zmu/platform/linux/Conversion.h>
#include <zmu/platform/linux/ErrorChannel.h>

#include <poll.h>
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
        const zmu::ErrorChannel channel;
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
    zmu::WriteSignalsHold m_hold;
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
