// Kills the collector again and again while processes report: each situation is in the logs once.
#include "CollectedLogs.h"
#include "MadeSpools.h"
#include "Spools.h"

#include <QProcess>
#include <QThread>

#include <atomic>
#include <random>

using namespace zmu_test;

using CollectKill = MadeSpools;

namespace {

constexpr int made = 4;
constexpr u64 linesOfMade = 3000;
constexpr u64 gap = 1000; ///< A number that is missing in each.

} // namespace

TEST_F(CollectKill, LosesNothingAndWritesNothingTwice)
{
    constexpr int killsQty = 20;
    const QDir spools(QString::fromStdWString(folder.makeFolder("spools")));
    const QDir logs(QString::fromStdWString(folder.makeFolder("logs")));
    for (int process = 0; process < made; ++process) {
        std::string bytes;
        for (u64 number = 1; number <= linesOfMade; ++number)
            bytes += number == gap ? "" : spoolLine(number, "text", 900 + process);
        folder.write(("spools/" + spoolName(1, 900 + process)).c_str(),
                     QByteArray::fromStdString(bytes));
    }
    qputenv("ZMU_SPOOL", QDir::toNativeSeparators(spools.path()).toUtf8());
    std::atomic<bool> isOver = false;
    u64 handed = 0;
    std::jthread reporter([&] {
        for (; !isOver && handed < 100'000; ++handed) {
            ASSERT_TRUE(hand(L"text"));
            if (handed % 50 == 0)
                QThread::msleep(1);
        }
    });

    const unsigned seed = std::random_device()();
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    const QStringList arguments = {"collect", spools.path(), "--log-dir", logs.path()};
    for (int kill = 0; kill < killsQty; ++kill) {
        QProcess collector;
        collector.setProcessChannelMode(QProcess::ForwardedChannels);
        collector.start(ZMU_TEST_TOOL, arguments);
        ASSERT_TRUE(collector.waitForStarted());
        const auto logsQty = logs.entryList({"*.html"}, QDir::Files).size();
        EXPECT_TRUE(
            becomesTrue([&] { return logs.entryList({"*.html"}, QDir::Files).size() > logsQty; }));
        QThread::usleep(random() % 60'000);
        collector.kill();
        ASSERT_TRUE(collector.waitForFinished());
    }
    isOver = true;
    reporter.join();
    EXPECT_TRUE(hasSucceeded(runProgram(ZMU_TEST_TOOL, arguments + QStringList{"--once"})));

    const CollectedNumbers numbers(textOfLogs(logs));
    EXPECT_EQ(numbers.gaps, made);
    EXPECT_EQ(numbers.bySource.size(), made + 1);
    for (const auto& [source, collected] : numbers.bySource) {
        const bool isMade = source.contains("/h7_pw_9");
        u64 expected = 0;
        for (const u64 number : collected) {
            if (++expected == gap && isMade)
                ++expected;
            ASSERT_EQ(number, expected) << source.toStdString();
        }
        EXPECT_EQ(expected, isMade ? linesOfMade : handed) << source.toStdString();
    }
    EXPECT_EQ(spools.entryList({"*_pw_9*.spool"}), QStringList()); // read, and removed
}
