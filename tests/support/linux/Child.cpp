#include "Child.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <utility>

namespace zmu_test {

const char* whyForksCannotAllocate()
{
#if defined(__SANITIZE_ADDRESS__)
    return "the allocator of AddressSanitizer does not outlive a fork beside threads that use it";
#else
    return nullptr;
#endif
}

Child::Child(const std::function<int()>& body, unsigned seconds) : m_process(fork())
{
    if (m_process == 0) {
        alarm(seconds);
        if (!getenv("ZMU_TEST_TRACES"))
            dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
        _exit(body());
    }
    m_end.isCrashed = m_process < 0;
}

void Child::kill() const
{
    ::kill(m_process, SIGKILL);
}

ChildEnd Child::wait()
{
    int end = 0;
    const pid_t process = std::exchange(m_process, -1);
    if (process <= 0)
        return m_end;
    while (waitpid(process, &end, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(end))
        m_end.status = WEXITSTATUS(end);
    m_end.isHung = WIFSIGNALED(end) && WTERMSIG(end) == SIGALRM;
    m_end.isCrashed = WIFSIGNALED(end) && WTERMSIG(end) != SIGALRM && WTERMSIG(end) != SIGKILL;
    return m_end;
}

} // namespace zmu_test
