// The last error, and what the library says to people: debug output and message boxes, which are
// both standard error here.
#include <zmu/platform/Win32.h>

#include <signal.h>
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

/// Keeps a reader that has gone away from ending the host: SIGPIPE is held back in this thread, and
/// one that a write has caused is taken off before the thread's mask is as it was.
class BrokenPipeGuard {
  public:
    BrokenPipeGuard()
    {
        sigemptyset(&m_brokenPipe);
        sigaddset(&m_brokenPipe, SIGPIPE);
        sigset_t pending;
        sigpending(&pending);
        m_wasPending = sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &m_brokenPipe, &m_before);
    }
    ~BrokenPipeGuard()
    {
        constexpr timespec noWait{};
        if (m_isBroken && !m_wasPending) {
            while (sigtimedwait(&m_brokenPipe, nullptr, &noWait) == -1 && errno == EINTR) {
            }
        }
        pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
    }
    BrokenPipeGuard(const BrokenPipeGuard&) = delete;
    BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;

    void noteBroken() { m_isBroken = true; }

  private:
    sigset_t m_brokenPipe;
    sigset_t m_before;
    bool m_wasPending = false;
    bool m_isBroken = false;
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
        const char* bytes = m_bytes;
        while (m_used != 0) {
            const ssize_t written = write(STDERR_FILENO, bytes, m_used);
            if (written < 0 && errno == EINTR)
                continue;
            if (written < 0 && errno == EPIPE)
                m_guard.noteBroken();
            if (written <= 0)
                break;
            bytes += written;
            m_used -= static_cast<std::size_t>(written);
        }
        m_used = 0;
    }

    BrokenPipeGuard m_guard;
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

void OutputDebugStringW(const wchar_t* text)
{
    if (!text)
        return;
    const ErrorKeeper keeper;
    ErrorStream stream;
    stream.add(text);
}

int MessageBoxW(HWND, const wchar_t* text, const wchar_t* caption, UINT)
{
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
    SetLastError(ERROR_REQUIRES_INTERACTIVE_WINDOWSTATION);
    return 0;
}
