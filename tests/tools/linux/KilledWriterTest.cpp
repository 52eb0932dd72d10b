// A log whose process is killed in the midst of its work, read meanwhile and afterwards.
#include "../../log/LogParts.h"
#include "../../support/linux/Child.h"

#include <tools/log/Logs.h>

#include <QElapsedTimer>

#include <filesystem>
#include <thread>
#include <utility>

using namespace zmu_test;
using namespace zmu_tools::logs;

TEST(KilledWriter, LeavesEveryEntryToRead)
{
    if (const char* why = whyForksCannotAllocate())
        GTEST_SKIP() << why;
    const Folder folder;
    const std::wstring path = folder.path("log.html");
    Child writer(
        [&path] {
            Monitor monitor(path);
            for (int i = 1;; ++i) {
                if (reportText(monitor.get(), std::to_wstring(i).c_str()) != 0)
                    return 1;
            }
        },
        120);
    QElapsedTimer timer;
    for (timer.start(); !std::filesystem::exists(path) && timer.elapsed() < 60000;)
        std::this_thread::yield();

    Forms forms{QString()};
    Logs logs({QString::fromStdWString(path)}, forms, true);
    int last = 0;
    const Sink checkNext = [&last](const Entry& entry, const std::string&) {
        if (!entry.body)
            return; // what the writer was killed at
        const TextView text = entry.description();
        ASSERT_EQ(QStringView(text.data(), qsizetype(text.size())).toInt(), last + 1);
        ++last;
    };
    for (timer.start(); last < 2000 && timer.elapsed() < 60000;)
        logs.readNew(checkNext);
    EXPECT_GT(last, 0);
    writer.kill();
    writer.wait();
    logs.readNew(checkNext, 0);
    logs.readNew(checkNext, 0);

    const int followed = std::exchange(last, 0);
    Logs whole({QString::fromStdWString(path)}, forms, false);
    whole.readAll(checkNext);
    EXPECT_EQ(last, followed);
}
