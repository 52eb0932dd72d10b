// Kills an owner that collects, again and again: each collected situation is in its logs once.
#include "CollectedLogs.h"
#include "MadeSpools.h"

#include <QProcess>
#include <QThread>

#include <random>

using namespace zmu_test;

using OwnerKill = MadeSpools;

TEST_F(OwnerKill, LosesNothingAndWritesNothingTwice)
{
    constexpr int kills = 8;
    constexpr u64 linesOfFile = 3000; // so that those of two files take more than one log
    const QDir spools(QString::fromStdWString(folder.makeFolder("spools")));
    const QDir logs(QString::fromStdWString(folder.makeFolder("logs")));
    const QStringList arguments = {spools.path(), QString::fromStdString(path("positions")),
                                   logs.path()};
    const auto writeNextFiles = [&](int number) {
        for (const int process : {812, 900}) {
            std::string bytes;
            for (u64 line = (number - 1) * linesOfFile + 1; line <= number * linesOfFile; ++line)
                bytes += spoolLine(line, "text", process);
            folder.write(("spools/" + spoolName(number, process)).c_str(),
                         QByteArray::fromStdString(bytes));
        }
    };
    const auto logsQty = [&] { return logs.entryList({"*.html"}, QDir::Files).size(); };

    const unsigned seed = std::random_device()();
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    for (int kill = 1; kill <= kills; ++kill) {
        writeNextFiles(kill);
        QProcess owner;
        owner.setProcessChannelMode(QProcess::ForwardedChannels);
        const auto before = logsQty();
        owner.start(ZMU_TEST_OWNER, arguments);
        ASSERT_TRUE(owner.waitForStarted());
        // Every second one is killed when it has replaced its log.
        const auto begun = kill % 2 == 0 ? 2 : 1;
        EXPECT_TRUE(becomesTrue([&] { return logsQty() >= before + begun; }));
        QThread::usleep(random() % 150'000);
        owner.kill();
        ASSERT_TRUE(owner.waitForFinished());
    }
    EXPECT_TRUE(hasSucceeded(runProgram(ZMU_TEST_OWNER, arguments + QStringList{"once"})));

    const QString text = textOfLogs(logs);
    const CollectedNumbers collected(text);
    EXPECT_EQ(collected.gaps, 0);
    EXPECT_EQ(collected.bySource.size(), 2);
    for (const auto& [source, numbers] : collected.bySource)
        EXPECT_TRUE(numbers == numbersTo(kills * linesOfFile)) << source.toStdString();
    EXPECT_EQ(spools.entryList({"*.spool"}), QStringList());

    static const QRegularExpression own("own (\\d+)\\.");
    u64 last = 0;
    for (const QRegularExpressionMatch& match : own.globalMatch(text)) {
        const u64 number = match.captured(1).toULongLong();
        EXPECT_TRUE(number == last + 1 || number == 1) << number << " behind " << last;
        last = number;
    }
    EXPECT_GT(last, 0);
}
