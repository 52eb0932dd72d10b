// What the event log reporter writes to the journal, read back with journalctl; and how it fares
// without one.
#include "Milestones.h"

#include <linux/Child.h>

#include <zmu/platform/Win32.h>

#include <QFile>
#include <QFileInfo>

#include <dlfcn.h>
#include <sys/mount.h>
#include <unistd.h>

#include <chrono>
#include <string>

using namespace zmu_test;

namespace {

constexpr const char* source = "zmu test";
using Entry = Journal::Entry;

bool isLibraryLoaded()
{
    QFile maps("/proc/self/maps");
    return maps.open(QIODevice::ReadOnly) && maps.readAll().contains("libsystemd.so");
}

struct JournalOf : EventLog {
    /// The first entry, which is all there is.
    Entry onlyEntry() const
    {
        const std::vector<Entry> found = journal.entries(source, 1);
        EXPECT_EQ(found.size(), 1U);
        return found.empty() ? Entry() : found.front();
    }
};

struct WithoutJournal : EventLog {
    void SetUp() override
    {
        if (!journal.obstacle().isEmpty())
            GTEST_SKIP() << qPrintable(journal.obstacle());
    }
};

} // namespace

TEST_F(JournalOf, MilestonesHasTheirTextsAndFields)
{
    const struct {
        int situation;
        const char* event;
        int strings;
        const char* text;
    } milestones[] = {
        {3313, "0x40009C49", 2, "Session \"7\" stopped."},
        {3315, "0x40009C47", 4,
         "User 7 successfully logged on to session \"cmd\", and the session was renamed to "
         "\"Söll\"."},
        {3317, "0x40009C4F", 4, "Process #7 (cmd) started in session \"Söll\"."},
        {3319, "0x40009C51", 4, "Process #7 (cmd) stopped in session \"Söll\"."},
        {3322, "0x40009C53", 2, "Session \"7\" started."},
        {3323, "0x40009C45", 1, "The 7 shut down successfully."},
        {3325, "0x40009C43", 1, "The 7 began successfully."},
    };
    EXPECT_FALSE(isLibraryLoaded());
    ASSERT_NE(zgEL_Reporter::create(source, nullptr, 0), nullptr) << GetLastError();
    for (const auto& milestone : milestones)
        EXPECT_TRUE(tell(milestone.situation, {L"7", L"cmd", L"S\u00F6ll", L"more"}));

    const std::vector<Entry> found = journal.entries(source, std::size(milestones));
    ASSERT_EQ(found.size(), std::size(milestones));
    const char* const strings[] = {"7", "cmd", "Söll", "more"};
    for (std::size_t i = 0; i < found.size(); ++i) {
        const Entry& entry = found[i];
        const auto& milestone = milestones[i];
        EXPECT_EQ(entry["MESSAGE"].toStdString(), milestone.text);
        EXPECT_EQ(entry["PRIORITY"], "6");
        EXPECT_EQ(entry["_PID"].toInt(), getpid());
        EXPECT_EQ(entry["ZMU_SITUATION"].toInt(), milestone.situation);
        EXPECT_EQ(entry["ZMU_EVENT_ID"], milestone.event);
        EXPECT_EQ(entry["MESSAGE_ID"].size(), 32);
        for (int string = 0; string < 4; ++string)
            EXPECT_EQ(entry.value(QString("ZMU_STRING_%1").arg(string + 1), "none"),
                      string < milestone.strings ? strings[string] : "none")
                << milestone.situation;
    }
}

TEST_F(JournalOf, EventsIsExplainedByTheCatalog)
{
    if (!Journal::installCatalog(ZMU_CATALOG))
        GTEST_SKIP() << "journalctl takes no catalog here";
    zgEL_Reporter::create(source, nullptr, 0);
    EXPECT_TRUE(tell(3317, {L"7", L"cmd", L"main", L""}));
    const QByteArray messageID = onlyEntry()["MESSAGE_ID"];
    const QByteArray told = Journal::journalctl({"-D", "/run/log/journal", "-x", "-t", source});
    EXPECT_TRUE(told.contains("Subject: Process #%1 (%2) started in session \"%3\"."))
        << told.constData();
    EXPECT_TRUE(told.contains("zmu test, process ")) << told.constData();
    EXPECT_EQ(messageID, "c533964700cc4b469d1f8a381089a820"); // people search for it
    EXPECT_EQ(Journal::journalctl({"--list-catalog"}).count(" zmu: "), 21);
}

TEST_F(JournalOf, StringsOfAnyKindAndFormAreWhatTheyWere)
{
    const std::wstring longText(200000, L'x');
    const std::wstring broken = {L'a', wchar_t(0xD800), wchar_t(0x7FFFFFFF), L'b'};
    zgEL_Reporter::create(source, nullptr, 1);
    EXPECT_TRUE(
        tell(3315, {L"not this", L"%1 %2!s! %%n %", L"line\nMESSAGE=forged\x1B[31m", nullptr}));
    EXPECT_TRUE(tell(
        3317, {L"not this", longText.c_str(), broken.c_str(), longText.c_str(), longText.c_str()}));
    const std::vector<Entry> found = journal.entries(source, 2);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(
        found[0]["MESSAGE"].toStdString(),
        "User %1 %2!s! %%n % successfully logged on to session \"line\nMESSAGE=forged\x1B[31m\","
        " and the session was renamed to \"\".");
    EXPECT_EQ(found[0]["ZMU_STRING_2"], "line\nMESSAGE=forged\x1B[31m");
    EXPECT_EQ(found[1]["ZMU_STRING_1"], QByteArray(4093, 'x') + "...");
    EXPECT_EQ(found[1]["ZMU_STRING_2"], "a\uFFFD\uFFFDb");
    EXPECT_TRUE(found[1]["MESSAGE"].endsWith("x...\".")) << found[1]["MESSAGE"].size();
}

TEST_F(JournalOf, SituationIsToldByItsPlugInWithNumbersAndNarrowText)
{
    strings()[3317] = L"2~0~2~u`s`s~0||``%1!u! %2!hs!`";
    ZarnData settings;
    makeReady(settings, folder.path("second.html"));
    settings.createPlugIns(1)[0] = [](const Zarn* monitor) {
        return zgEL_Reporter::write(monitor);
    };
    Zarn* reporting = Zarn::create(&settings);
    ASSERT_NE(reporting, nullptr);
    zgEL_Reporter::create(source, nullptr, 0);
    reporting->respondToSituation(3317, nullptr, 4711U, "n\xC3\xA4rrow", L"wide");
    EXPECT_EQ(reporting->getSelfDX_Code(), 0);
    EXPECT_EQ(onlyEntry()["MESSAGE"].toStdString(),
              "Process #4711 (n\xC3\xA4rrow) started in session \"wide\".");
    Zarn::destroy(&reporting, 0, false);
}

TEST_F(JournalOf, WriteThatFailsSaysSoAndTheNextOneIsFree)
{
    const zgEL_Reporter* const reporter = zgEL_Reporter::create(source, nullptr, 0);
    ASSERT_NE(reporter, nullptr);
    journal.stop();
    Traces traces;
    EXPECT_FALSE(tell(3322, {L"1"}));
    EXPECT_EQ(reporter->getError(), 1062U); // nobody behind the socket
    EXPECT_TRUE(traces.take().contains("situation 3322: WLE1062"));
    unlink("/run/systemd/journal/socket");
    EXPECT_FALSE(tell(3322, {L"1"}));
    EXPECT_EQ(reporter->getError(), 1062U); // no socket either
    ASSERT_EQ(journal.start(), QString());
    EXPECT_TRUE(tell(3322, {L"2"}));
    EXPECT_TRUE(reporter->isStatusOK());
    EXPECT_EQ(onlyEntry()["ZMU_STRING_1"], "2");
}

TEST_F(JournalOf, DaemonThatHangsIsNotWaitedFor)
{
    const zgEL_Reporter* const reporter = zgEL_Reporter::create(source, nullptr, 0);
    journal.halt();
    int written = 0;
    while (written < 5000 && tell(3322, {L"1"}))
        ++written;
    EXPECT_EQ(reporter->getError(), 1460U);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(tell(3322, {L"1"}));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    journal.resume();
    EXPECT_EQ(journal.entries(source, static_cast<std::size_t>(written)).size(),
              static_cast<std::size_t>(written));
    EXPECT_TRUE(tell(3322, {L"1"}));
}

TEST_F(JournalOf, ChildOfAForkWritesForItself)
{
    zgEL_Reporter::create(source, nullptr, 0);
    EXPECT_TRUE(tell(3325, {L"parent"}));
    EXPECT_EQ(Child([this] { return tell(3325, {L"child"}) ? 0 : 1; }).wait().status, 0);
    EXPECT_TRUE(tell(3325, {L"parent"}));
    const std::vector<Entry> found = journal.entries(source, 3);
    ASSERT_EQ(found.size(), 3U);
    EXPECT_EQ(found[1]["ZMU_STRING_1"], "child");
    EXPECT_NE(found[1]["_PID"].toInt(), getpid());
    EXPECT_EQ(found[2]["_PID"].toInt(), getpid());
}

TEST_F(JournalOf, ThreadsWriteEveryEventWhole)
{
    constexpr int threadsQty = 8;
    constexpr int rounds = 20;
    constexpr std::size_t entriesQty = std::size_t{threadsQty} * rounds;
    zgEL_Reporter::create(source, nullptr, 0);
    inThreads(threadsQty, rounds, [&](int thread, int) {
        const std::wstring name = L"thread " + std::to_wstring(thread);
        EXPECT_TRUE(tell(3322, {name.c_str(), name.c_str()}))
            << zgEL_Reporter::getLoneInstance()->getError();
    });
    const std::vector<Entry> found = journal.entries(source, entriesQty);
    EXPECT_EQ(found.size(), entriesQty);
    for (const Entry& entry : found)
        EXPECT_EQ(entry["MESSAGE"], "Session \"" + entry["ZMU_STRING_2"] + "\" started.");
}

TEST_F(WithoutJournal, ThereIsNoReporterAndTheErrorSaysWhy)
{
    EXPECT_EQ(zgEL_Reporter::create(source, "\\\\elsewhere", 0), nullptr);
    EXPECT_EQ(GetLastError(), 1722U);
    EXPECT_EQ(zgEL_Reporter::create(source, nullptr, 0), nullptr);
    EXPECT_EQ(GetLastError(), 1062U);
}

TEST_F(WithoutJournal, LibraryThatIsMissingIsNotNeededBefore)
{
    const QByteArray library =
        QFileInfo("/usr/lib/x86_64-linux-gnu/libsystemd.so.0").canonicalFilePath().toUtf8();
    if (library.isEmpty() ||
        mount("/dev/null", library.constData(), nullptr, MS_BIND, nullptr) != 0)
        GTEST_SKIP() << "libsystemd is not where it can be hidden";
    EXPECT_EQ(zgEL_Reporter::create(source, nullptr, 0), nullptr);
    EXPECT_EQ(GetLastError(), 126U);
}
