// Debug output where it is standard error.
#include <zmu/monitor/Trace.h>
#include <zmu/platform/Win32.h>

#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include <cerrno>

namespace {

TEST(Diagnostics, ReaderThatHasGoneIsNotNoticed)
{
    const int before = dup(STDERR_FILENO);
    int ends[2] = {};
    ASSERT_EQ(pipe(ends), 0);
    dup2(ends[1], STDERR_FILENO);
    close(ends[1]);
    close(ends[0]);
    errno = ERANGE;
    SetLastError(31);
    Zarn_TRACE(L"nobody reads this");
    EXPECT_EQ(errno, ERANGE);
    EXPECT_EQ(GetLastError(), 31u);
    dup2(before, STDERR_FILENO);
    close(before);
    sigset_t pending;
    sigset_t blocked;
    sigpending(&pending);
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
    EXPECT_EQ(sigismember(&blocked, SIGPIPE), 0);
}

} // namespace
