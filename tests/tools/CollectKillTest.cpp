// Kills the collector again and again while processes report: each situation is in the logs once.
#include "MadeSpools.h"
#include "Spools.h"

#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QThread>

#include <atomic>
#include <map>
#include <random>

using namespace zmu_test;

using CollectKill = MadeSpools;

namespace {

constexpr int made = 4;
constexpr u64 linesOfMade = 3000;
constexpr u64 gap = 1000; ///< A number that is missing in each.

/// The numbers that are in the logs of each source, in the order of the logs.
std::map<QString, std::vector<u64>> collectedNumbers(const QDir& logs, int& gaps)
{
    // Of an entry that was cut off by a kill the element does not end.
    static const QRegularExpression pattern("data-zmu=\"([^\"]*)#(\\d+)(-?)[^\"]*\">[^<]*</i>");
    std::map<QString, std::vector<u64>> numbers;
    for (const QString& log : logs.entryList({"*.html"}, QDir::Files, QDir::Name)) {
        if (QFileInfo(logs, log).size() == 0)
            continue; // only its name was taken before a kill
        const QString text = logText(logs.filePath(log).toStdWString());
        for (const QRegularExpressionMatch& match : pattern.globalMatch(text)) {
            if (match.captured(3).isEmpty())
                numbers[match.captured(1)].push_back(match.captured(2).toULongLong());
            else
                ++gaps;
        }
    }
    return numbers;
}

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

    int gaps = 0;
    const auto numbers = collectedNumbers(logs, gaps);
    EXPECT_EQ(gaps, made);
    EXPECT_EQ(numbers.size(), made + 1);
    for (const auto& [source, collected] : numbers) {
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
