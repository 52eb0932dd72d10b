// Debug output where it is standard error.
#include <zmu/monitor/Trace.h>
#include <zmu/platform/Win32.h>

#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <string>

namespace {

/// Puts a pipe in the place of standard error, runs `body` with the pipe's other end and puts
/// standard error back.
template <typename Body>
void withErrorPipe(Body body)
{
    const int before = dup(STDERR_FILENO);
    int ends[2] = {};
    ASSERT_EQ(pipe(ends), 0);
    dup2(ends[1], STDERR_FILENO);
    close(ends[1]);
    body(ends[0]);
    dup2(before, STDERR_FILENO);
    close(before);
}

TEST(Diagnostics, TraceIsWrittenWhole)
{
    char bytes[8192];
    const std::wstring longest(1023, L'€');
    withErrorPipe([&](int reader) {
        Zarn_TRACE(L"%ls (%d)\n", L"Größe € \U0001F600", 7);
        const std::string expected = "Größe € \U0001F600 (7)\n";
        EXPECT_EQ(std::string(bytes, read(reader, bytes, sizeof bytes)), expected);

        Zarn_TRACE(L"%ls", longest.c_str());
        EXPECT_EQ(read(reader, bytes, sizeof bytes), 3 * 1023);
        close(reader);
    });
}

TEST(Diagnostics, ReaderThatHasGoneIsNotNoticed)
{
    withErrorPipe([](int reader) {
        close(reader);
        errno = ERANGE;
        SetLastError(31);
        Zarn_TRACE(L"nobody reads this");
        EXPECT_EQ(errno, ERANGE);
        EXPECT_EQ(GetLastError(), 31u);
    });
    sigset_t pending;
    sigset_t blocked;
    sigpending(&pending);
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
    EXPECT_EQ(sigismember(&blocked, SIGPIPE), 0);
}

} // namespace
