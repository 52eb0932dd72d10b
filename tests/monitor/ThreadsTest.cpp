// Many threads on one monitor, and on two. Worth running under a thread sanitizer.
#include "Reporter.h"

#include <atomic>
#include <thread>

using namespace zmu_test;

namespace {

constexpr int threadsQty = 8;
constexpr int rounds = 100;

/// Runs `body` with the numbers 0 to threadsQty - 1, each in a thread of its own.
template <class Body>
void inThreads(Body body)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < threadsQty; ++i)
        threads.emplace_back(body, i);
    for (std::thread& thread : threads)
        thread.join();
}

QStringList expectedEntries(const char* pattern)
{
    QStringList entries;
    for (int thread = 0; thread < threadsQty; ++thread) {
        for (int round = 0; round < rounds; ++round)
            entries += QString::asprintf(pattern, thread, round);
    }
    entries.sort();
    return entries;
}

} // namespace

TEST(Threads, ReportToOneMonitor)
{
    strings()[100] = L"2~0~2~d`d`s~||``%1!d! %2!d! %3`";
    const Folder forms; // a form that counts its entries
    const std::wstring form = forms.write(
        "form.html",
        "^HEAD\nlayout instead.<br>\n^BODY\n<!-- SituationID=[ENTRY_ID] -->[YEAR]-[MONTH]-"
        "[DAY] [HOURS]:[MINUTES]:[SECONDS].[MILLISECONDS] [SITUATION_DSCRP]<br>\n"
        "^TAIL\n</body><html>\n");
    const Reporter reporter([&](OpenData& data) {
        std::wstring name = data.getFileLogName();
        data.recordLogFileNomenclature(name.data(), form.c_str(), Zarn_LOG_HTML);
    });
    std::atomic<bool> isDone = false;
    std::thread observer([&] {
        // What a supervisor does meanwhile.
        while (!isDone) {
            reporter->setBehaviorCriteria(ZARN_DEFAULT_BEHAVIOR_CRITERIA);
            EXPECT_LE(reporter->getSituationsCount(), unsigned(threadsQty * rounds));
            EXPECT_EQ(reporter->getSelfDX_Code(), 0);
            wchar_t name[512];
            EXPECT_TRUE(reporter->getFileLogName(name, 512));
            std::this_thread::yield();
        }
        reporter->removeThread();
    });
    inThreads([&](int thread) {
        for (int round = 0; round < rounds; ++round) {
            const std::wstring text(static_cast<std::size_t>(thread), L'x');
            reporter->respondToSituation(100, nullptr, thread, round, text.c_str());
            EXPECT_EQ(reporter->getSelfDX_Code(), 0);
            EXPECT_EQ(reporter->canRespondToSituations(), Zarn_FUZZY_YES);
            if (round % 10 == 9) {
                EXPECT_TRUE(reporter->removeThread()); // and begins anew
            }
        }
    });
    isDone = true;
    observer.join();

    QStringList entries = reporter.entries();
    for (QString& entry : entries) {
        EXPECT_EQ(entry.section(' ', 2), QString(entry.section(' ', 0, 0).toInt(), 'x'));
        entry = entry.section(' ', 0, 1);
    }
    entries.sort();
    EXPECT_EQ(entries, expectedEntries("%d %d"));
    EXPECT_EQ(reporter->getSituationsCount(), unsigned(threadsQty * rounds));
}

TEST(Threads, ReportToTwoMonitors)
{
    strings()[100] = L"2~0~1~d0`d1~||``%1!d! %2!d!`";
    const Reporter first;
    const Reporter second;
    inThreads([&](int thread) {
        for (int round = 0; round < rounds; ++round) {
            const Reporter* order[] = {&first, &second};
            if (thread % 2)
                std::swap(order[0], order[1]);
            for (const Reporter* reporter : order) {
                (*reporter)->recordSituationID(100);
                (*reporter)->recordArgument(thread, ZARN_ARG_NEXT);
                (*reporter)->recordArgument(round, ZARN_ARG_NEXT);
            }
            for (const Reporter* reporter : order)
                EXPECT_TRUE((*reporter)->respondToSituation());
        }
        EXPECT_TRUE(first->removeThread());
        EXPECT_TRUE(second->removeThread());
    });
    for (const Reporter* reporter : {&first, &second}) {
        QStringList entries = reporter->entries();
        entries.sort();
        EXPECT_EQ(entries, expectedEntries("%d %d"));
    }
}

TEST(Threads, FailAloneAndRecoverAlone)
{
    strings()[100] = L"2~0~2~d`d~||``%1!d! %2!d!`";
    strings()[200] = L"3~0~2~d`d~||``%1!d! %2!d!`";
    for (const bool isForgiving : {false, true}) {
        const Reporter reporter([&](OpenData& data) {
            if (isForgiving)
                data.setSelfDX_FaultTolerance(Zarn_TOLERANCE_FORGIVING);
        });
        inThreads([&](int thread) {
            for (int round = 0; round < rounds; ++round) {
                if (thread % 2) {
                    reporter->respondToSituation(200, nullptr, thread, round);
                    EXPECT_EQ(reporter->getSelfDX_Code(), dx::KindOutOfRange);
                    if (!isForgiving)
                        reporter->forgetSelfDX_Code();
                }
                reporter->respondToSituation(100, nullptr, thread, round);
                EXPECT_EQ(reporter->getSelfDX_Code(), 0);
            }
        });
        QStringList entries = reporter.entries();
        entries.sort();
        EXPECT_EQ(entries, expectedEntries("%d %d"));
    }
}

TEST(Threads, BringModulesOfTheirOwn)
{
    strings()[100] = L"2~0~2~u`s||``Program %1!u!`";
    void* const modules[] = {GetModuleHandleW(nullptr), GetModuleHandleW(L"zmu.dll")};
    const Reporter reporter;
    std::atomic<int> failures = 0;
    inThreads([&](int thread) {
        const int side = thread % 2;
        for (int round = 0; round < 10 * rounds; ++round) {
            reporter->respondToSituation(side ? 10006 : 100, modules[side], 1U, L"x");
            failures += reporter->getSelfDX_Code() != 0;
            reporter->forgetSelfDX_Code();
        }
    });
    EXPECT_EQ(failures, 0); // no thread was answered out of another's module
    reporter->respondToSituation(100, nullptr, 2U, L"x");
    EXPECT_EQ(reporter->getSelfDX_Code(), 0); // and the first module is back
}

TEST(Threads, WaitForADialog)
{
    strings()[100] = L"2~0~2~s|&|``%1`";
    strings()[101] = L"2~0~2~s||``%1`";
    static std::atomic<bool> isAsked;
    static std::atomic<bool> isAnswered;
    const Reporter reporter;
    reporter->setDisplayDlgBoxFunction([](HWND, const wchar_t*, const wchar_t*, unsigned int) {
        isAsked = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        isAnswered = true;
        return 1;
    });
    std::thread asking([&] { reporter->respondToSituation(100, nullptr, L"asks"); });
    while (!isAsked)
        std::this_thread::yield();
    reporter->respondToSituation(101, nullptr, L"waits");
    EXPECT_TRUE(isAnswered);
    asking.join();
    EXPECT_EQ(reporter.entries(), (QStringList{"asks", "waits"}));
}
