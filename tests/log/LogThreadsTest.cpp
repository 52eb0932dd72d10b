// Several threads report to one log.
#include "LogParts.h"

#include <atomic>
#include <thread>

using namespace zmu;
using namespace zmu_test;

namespace {

constexpr int threadsQty = 4;

QString entryOf(int thread, int number)
{
    return QStringLiteral("entry %1-%2 %3")
        .arg(thread)
        .arg(number)
        .arg(QString(qsizetype{20} * (thread + 1), QChar(u'a' + thread)));
}

/// Reports `qty` entries in each thread, beginning anew now and then.
void reportEntries(Zarn* monitor, int qty)
{
    inThreads(threadsQty, qty, [&](int thread, int number) {
        EXPECT_EQ(reportText(monitor, entryOf(thread, number).toStdWString().c_str()), 0);
        EXPECT_TRUE(number % 10 != 9 || monitor->removeThread());
    });
}

/// Takes the entries of each thread from `lines`, which must hold them in their order, each once.
void expectEachOnceInOrder(const QStringList& lines, int qty)
{
    int next[threadsQty] = {};
    for (const QString& line : lines) {
        const int thread = line.mid(6, 1).toInt();
        ASSERT_LT(thread, threadsQty);
        ASSERT_EQ(line, entryOf(thread, next[thread]));
        ++next[thread];
    }
    for (const int count : next)
        EXPECT_EQ(count, qty);
}

} // namespace

TEST(LogThreads, EveryEntryIsWholeAndThereOnceWhileLogsAreReplaced)
{
    constexpr int qty = 300;
    const Folder folder;
    const std::wstring log = folder.path("log");
    setLogDirectory(folder.path("."));
    const QByteArray numbered = "[ENTRY_ID] [ENTRY_COLOR] [SITUATION_DSCRP]\n";
    Stages settings(log, folder.write("form.html", formOf("<log>\n", numbered, "</log>\n")));
    settings.setLimit(10000);
    Zarn* monitor = Zarn::create(&settings);
    ASSERT_TRUE(monitor);
    std::atomic<bool> isDone = false;
    std::thread meddler([&] { // what a supervisor does meanwhile, and more
        wchar_t name[512];
        u64 previous = 0;
        for (int i = 0; !isDone; ++i) {
            monitor->setBehaviorCriteria(ZARN_DEFAULT_BEHAVIOR_CRITERIA);
            EXPECT_EQ(monitor->canRespondToSituations(), Zarn_FUZZY_YES);
            EXPECT_LE(monitor->getSituationsCount(), unsigned(threadsQty * qty));
            EXPECT_EQ(monitor->getSelfDX_Code(), 0);
            EXPECT_TRUE(monitor->getFileLogName(name, 512)) << i;
            EXPECT_TRUE(i % 4 != 0 || monitor->reestablishLogFile(true)) << i;
            EXPECT_TRUE(i != 20 || monitor->setLogFileByteCountLimit(1048576, previous));
            std::this_thread::sleep_for(std::chrono::microseconds(250));
        }
        EXPECT_TRUE(monitor->removeThread());
    });
    reportEntries(monitor, qty);
    isDone = true;
    meddler.join();
    Zarn::destroy(&monitor, 0, false);

    // The series notes tell the order of the files, each of which numbers its entries anew.
    std::map<int, QStringList> files;
    for (const QString& name : folder.files()) {
        if (name == "form.html")
            continue;
        QStringList lines = logText(folder.path(qPrintable(name))).split('\n');
        ASSERT_GE(lines.size(), 3) << qPrintable(name);
        EXPECT_EQ(lines.takeFirst(), "<log>");
        EXPECT_EQ(lines.takeLast(), "");
        EXPECT_EQ(lines.takeLast(), "</log>");
        for (int i = 0; i < lines.size(); ++i) {
            const QString begin =
                QStringLiteral("%1 %2 ").arg(i + 1).arg(i % 2 ? "F7F7FF" : "F0F0FF");
            ASSERT_TRUE(lines[i].startsWith(begin)) << qPrintable(lines[i]);
            lines[i].remove(0, begin.size());
        }
        int number = 1;
        if (name != "log") {
            number = lines.value(0).section('#', 1).section(' ', 0, 0).toInt();
            EXPECT_EQ(lines.takeFirst(), seriesNote(number, log));
        }
        EXPECT_FALSE(files.contains(number)) << number;
        files[number] = lines;
    }
    EXPECT_GE(files.size(), 3U);
    EXPECT_EQ(files.rbegin()->first, static_cast<int>(files.size()));
    QStringList entries;
    for (const auto& [number, lines] : files)
        entries += lines;
    expectEachOnceInOrder(entries, qty);
}
