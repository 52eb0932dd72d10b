// What comes out of `--json` where standard output does not take all at once.
#include "Support.h"

#include <tools/collect/JsonSink.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <string>

TEST(JsonSink, WritesEachObjectOnceWhateverIsTaken)
{
    constexpr zmu::u64 reportsQty = 3000;
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_NONBLOCK | O_CLOEXEC), 0);
    std::fflush(stdout);
    const int usual = dup(STDOUT_FILENO);
    dup2(ends[1], STDOUT_FILENO);
    std::string output;
    zmu::u64 refused = 0;
    {
        const auto readSome = [&] {
            char bytes[10'000];
            const ssize_t count = read(ends[0], bytes, sizeof bytes);
            output.append(bytes, count > 0 ? static_cast<std::size_t>(count) : 0);
            return count > 0;
        };
        zmu_tools::collect::JsonSink sink;
        zmu_spool::SpoolLine line;
        line.description = std::string(200, 'y');
        zmu_collect::Report report;
        report.line = &line;
        for (report.sequence = 1; report.sequence <= reportsQty; ++report.sequence) {
            for (; !sink.write(report); ++refused)
                readSome();
        }
        while (!sink.sync())
            readSome();
        while (readSome()) {
        }
    }
    dup2(usual, STDOUT_FILENO);
    for (const int file : {usual, ends[0], ends[1]})
        close(file);
    EXPECT_GT(refused, 0);
    std::size_t at = 0;
    for (zmu::u64 number = 1; number <= reportsQty; ++number) {
        const std::string front = "{\"owner\":\"\",\"sequence\":" + std::to_string(number) + ',';
        ASSERT_EQ(output.compare(at, front.size(), front), 0) << number;
        at = output.find('\n', at) + 1;
    }
    EXPECT_EQ(at, output.size());
}
