// A log that is deleted, moved, emptied or cut while it is in use, and comes back.
#include "LogParts.h"

#include <thread>

using namespace zmu;
using namespace zmu_test;

namespace {

/// The library looks at a log once a second.
void waitForALook()
{
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
}

class LogRecovery : public LogSeries {
  protected:
    void start(bool comesBack = true)
    {
        LogSeries::start(plainForm, [=](Stages& data) { data.setLogRecovery(comesBack); });
    }
    /// Reports and answers the code that the report left, which it forgets.
    int report(const wchar_t* text)
    {
        const int code = reportText(monitor, text);
        monitor->forgetSelfDX_Code();
        monitor->forgetSituation();
        return code;
    }
    QString lossNote(int number, int lost) const
    {
        return seriesNote(number, log) +
               QStringLiteral(" Before it %1 situations found no log file to be written to.")
                   .arg(lost);
    }

    const QString logs = QString::fromStdWString(folder.path("logs"));
    const QString logName = QString::fromStdWString(log);
};

} // namespace

TEST_F(LogRecovery, EmptiedLogEndsInTwoReadableFiles)
{
    start();
    EXPECT_EQ(report(L"one"), dx::Satisfied);
    waitForALook();
    EXPECT_EQ(report(L"two"), dx::Satisfied); // the log is looked at, and whole
    EXPECT_EQ(present(), log);

    const std::wstring copy = folder.path("logs/log.1");
    ASSERT_TRUE(QFile::copy(logName, QString::fromStdWString(copy)));
    ASSERT_TRUE(QFile::resize(logName, 0));
    EXPECT_EQ(report(L"three"), dx::Satisfied); // lands behind a hole
    EXPECT_EQ(report(L"four"), dx::Satisfied);
    waitForALook();
    Traces traces;
    EXPECT_EQ(report(L"five"), dx::Satisfied);
    EXPECT_TRUE(traces.take().contains(logName));

    EXPECT_EQ(entriesOf(copy), QStringList({"one", "two"}));
    EXPECT_NE(present(), log);
    EXPECT_EQ(entriesOf(present()), QStringList({seriesNote(2, log), "three", "four", "five"}));
    EXPECT_EQ(files().size(), 2) << qPrintable(files().join(' '));
    EXPECT_EQ(DataSetOf::of(monitor)->getFileLog()->m_logByteCount,
              static_cast<u64>(readFile(present()).size()));
}

TEST_F(LogRecovery, CutLogIsMendedWhereverItWasCut)
{
    start();
    const QByteArray head = logBytes("<log>\n");
    EXPECT_EQ(report(L"one"), dx::Satisfied);
    const qint64 behindOne = readFile(log).size() - logBytes("</log>\n").size() + 2;
    // In the first second, behind the place that was looked at last, and in the middle of a unit.
    ASSERT_EQ(report(L"two"), dx::Satisfied);
    ASSERT_TRUE(QFile::resize(logName, behindOne + 1));
    EXPECT_EQ(report(L"three"), dx::Satisfied);
    waitForALook();
    EXPECT_EQ(report(L"four"), dx::Satisfied);
    EXPECT_EQ(entriesOf(log), QStringList({"one", "t"})); // whose other byte is 0
    const std::wstring second = present();
    EXPECT_EQ(entriesOf(second), QStringList({seriesNote(2, log), "three", "four"}));

    // Far before it, with nothing written since.
    waitForALook();
    EXPECT_EQ(report(L"five"), dx::Satisfied);
    ASSERT_TRUE(QFile::resize(QString::fromStdWString(second), head.size() + 20));
    waitForALook();
    EXPECT_EQ(report(L"six"), dx::Satisfied);
    EXPECT_EQ(entriesOf(second), QStringList{seriesNote(2, log).left(10)});
    const std::wstring third = present();
    EXPECT_EQ(entriesOf(third), QStringList({seriesNote(3, log), "six"}));

    // Far before it, with much written since.
    waitForALook();
    EXPECT_EQ(report(L"seven"), dx::Satisfied);
    ASSERT_TRUE(QFile::resize(QString::fromStdWString(third), head.size() + 2));
    const std::wstring text(500, L'x');
    constexpr int qty = 3000;
    for (int i = 0; i < qty; ++i)
        ASSERT_EQ(report(text.c_str()), dx::Satisfied);
    waitForALook();
    EXPECT_EQ(report(L"last"), dx::Satisfied);
    EXPECT_EQ(entriesOf(third), QStringList{"T"});
    const QStringList entries = entriesOf(present());
    EXPECT_EQ(entries.count(QString::fromStdWString(text)), qty);
    EXPECT_EQ(entries.first(), seriesNote(4, log));
    EXPECT_EQ(entries.last(), "last");
}

TEST_F(LogRecovery, SettingIsNeededForAllOfThat)
{
    start(false);
    EXPECT_FALSE(DataSetOf::of(monitor)->setLogRecovery(false));
    EXPECT_EQ(report(L"one"), dx::Satisfied);
    ASSERT_TRUE(QFile::resize(logName, 0));
    waitForALook();
    EXPECT_EQ(report(L"two"), dx::Satisfied);
    EXPECT_EQ(present(), log);
    EXPECT_EQ(files(), QStringList{"log.html"});
    EXPECT_FALSE(DataSetOf::of(monitor)->setLogRecovery(true));
    EXPECT_TRUE(DataSetOf::of(monitor)->getLogRecovery());
    EXPECT_EQ(report(L"three"), dx::Satisfied);
    EXPECT_NE(present(), log);
}

TEST_F(LogRecovery, RolloverThatFailsIsTriedAgainOnceASecond)
{
    LogRecovery::start();
    setLogDirectory(L"");
    DataSetOf::of(monitor)->getFileLog()->m_logByteCount = 20971520;
    int refused = 0;
    int qty = 0;
    const auto start = std::chrono::steady_clock::now();
    const auto elapsed = [&] { return std::chrono::steady_clock::now() - start; };
    for (; elapsed() < std::chrono::milliseconds(1500); ++qty) {
        refused += report(L"entry") == dx::RolloverFailed;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_GE(refused, 2);
    EXPECT_LE(refused, 1 + elapsed() / std::chrono::milliseconds(950));
    EXPECT_EQ(entriesOf(log).size(), qty); // and nothing is lost
    setLogDirectory(folder.path("logs"));
    waitForALook();
    EXPECT_EQ(report(L"last"), dx::Satisfied);
    EXPECT_EQ(entriesOf(log).size(), qty + 1);
    EXPECT_EQ(entriesOf(present()), QStringList{seriesNote(2, log)});
}

TEST_F(LogRecovery, FullLogIsLookedAtBeforeItIsReplaced)
{
    start();
    const auto reportLast = [&](const wchar_t* text) {
        DataSetOf::of(monitor)->getFileLog()->m_logByteCount = 20971520;
        EXPECT_EQ(report(text), dx::Satisfied);
    };
    EXPECT_EQ(report(L"one"), dx::Satisfied);
    ASSERT_TRUE(QFile::resize(logName, 0));
    reportLast(L"two");
    EXPECT_FALSE(QFile::exists(logName)); // which held nothing
    const std::wstring second = present();
    EXPECT_EQ(entriesOf(second), QStringList({seriesNote(2, log), "two"}));

    EXPECT_EQ(report(L"three"), dx::Satisfied);
    const qint64 cut = logBytes("e\n</log>\n").size() - 2;
    ASSERT_TRUE(QFile::resize(QString::fromStdWString(second), readFile(second).size() - cut));
    reportLast(L"four");
    EXPECT_EQ(entriesOf(second), QStringList({seriesNote(2, log), "two", "thre"}));
    EXPECT_EQ(entriesOf(present()), QStringList({seriesNote(3, log), "four"}));
}

TEST_F(LogRecovery, LongPathRollsOver)
{
    start();
    QString deep = logs;
    while (deep.size() < 300)
        deep += '/' + QString(50, 'd');
    ASSERT_TRUE(QDir().mkpath(deep));
    setLogDirectory(deep.toStdWString());
    EXPECT_TRUE(monitor->reestablishLogFile(false)) << monitor->getSelfDX_Code();
    EXPECT_GT(present().size(), 300U);
    EXPECT_EQ(report(L"entry"), dx::Satisfied);
    EXPECT_EQ(entriesOf(present()), QStringList({seriesNote(2, log), "entry"}));

    DataSetOf::of(monitor)->setLogRecovery(false);
    EXPECT_FALSE(monitor->reestablishLogFile(false));
    EXPECT_EQ(monitor->getSelfDX_Code(), dx::SuccessorNameMissing);
}

TEST_F(LogRecovery, SituationsWithoutAPlaceAreCounted)
{
    if (isWindows())
        GTEST_SKIP() << "a file that is open can be neither deleted nor moved";
    start();
    EXPECT_EQ(report(L"one"), dx::Satisfied);
    ASSERT_TRUE(QDir(logs).removeRecursively());
    EXPECT_EQ(report(L"two"), dx::Satisfied); // the file is open, though nobody finds it
    waitForALook();
    for (const wchar_t* text : {L"three", L"four", L"five"})
        EXPECT_EQ(report(text), dx::LogNotOpen);
    waitForALook();
    EXPECT_EQ(report(L"six"), dx::LogNotOpen);
    folder.makeFolder("logs");
    waitForALook();
    EXPECT_EQ(report(L"seven"), dx::Satisfied);
    EXPECT_EQ(report(L"eight"), dx::Satisfied);
    EXPECT_EQ(entriesOf(present()), QStringList({lossNote(2, 4), "one", "two", "seven", "eight"}));

    EXPECT_TRUE(monitor->reestablishLogFile(false)); // told once
    EXPECT_EQ(entriesOf(present()), QStringList{seriesNote(3, log)});
}
