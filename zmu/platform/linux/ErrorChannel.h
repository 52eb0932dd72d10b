// Standard error, written to without a wait and without a signal that ends the host.
#pragma once

#include <zmu/platform/linux/Descriptor.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

namespace zmu {

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

/// Writes to standard error without ever waiting there: somebody else may have taken the room that
/// was seen a moment ago. Whether the host's own descriptor waits is the host's affair, and those
/// who share it; so a pipe or a terminal is opened once more. A pipe of another user, as after a
/// setuid, cannot be opened: it gets what is written by way of a pipe of our own.
class ErrorChannel {
  public:
    ErrorChannel()
    {
        struct stat status;
        if (fstat(STDERR_FILENO, &status) != 0)
            return;
        m_isSocket = S_ISSOCK(status.st_mode);
        if (S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode))
            m_own.number = open("/proc/self/fd/2", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
        m_isForeignPipe = m_own.number < 0 && S_ISFIFO(status.st_mode);
        m_isForeignTerminal = m_own.number < 0 && S_ISCHR(status.st_mode);
    }
    ErrorChannel(const ErrorChannel&) = delete;
    ErrorChannel& operator=(const ErrorChannel&) = delete;

    /// As write(2); EAGAIN if there is no room.
    ssize_t put(const char* bytes, std::size_t size) const
    {
        if (m_isSocket)
            return send(STDERR_FILENO, bytes, size, MSG_DONTWAIT);
        if (m_isForeignPipe)
            return putThroughPipe(bytes, size);
        pollfd terminal{STDERR_FILENO, POLLOUT, 0};
        if (m_isForeignTerminal && poll(&terminal, 1, 0) != 1) {
            errno = EAGAIN;
            return -1;
        }
        return write(m_own.number >= 0 ? m_own.number : STDERR_FILENO, bytes, size);
    }

  private:
    static ssize_t putThroughPipe(const char* bytes, std::size_t size)
    {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
            return -1;
        const Descriptor out(ends[0]);
        const Descriptor in(ends[1]);
        const ssize_t written = write(in.number, bytes, size);
        return written <= 0 ? written
                            : splice(out.number, nullptr, STDERR_FILENO, nullptr,
                                     static_cast<std::size_t>(written), SPLICE_F_NONBLOCK);
    }

    Descriptor m_own{-1};
    bool m_isSocket = false;
    bool m_isForeignPipe = false;
    bool m_isForeignTerminal = false;
};

} // namespace zmu
