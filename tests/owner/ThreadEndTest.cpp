// Ends: of threads, of processes, of the library's stay in a process.
#include "OwnerParts.h"

#include <thread>
#include <vector>

using namespace zmu;
using namespace zmu_test;

namespace {

/// The engines of a monitor.
struct Engines : ZarnData {
    static int count(Zarn* monitor)
    {
        ThreadMap* const map = DataSetOf::of(monitor)->*&Engines::m_mapOfDataForThreads;
        int engines = 0;
        for (ThreadMap::Iterator it(*map, true); !it.atEnd(); it.next())
            ++engines;
        return engines;
    }
};

class OwnerThreads : public testing::Test {
  protected:
    void SetUp() override { setLogDirectory(folder.path(".")); }

    const Folder folder;
};

} // namespace

TEST_F(OwnerThreads, LeaveNoEngineBehind)
{
    Zarn* monitor = Owner().createZarnMonitor();
    Zarn* second = Owner(ZGW_OWNER_APS).createZarnMonitor();
    ASSERT_TRUE(monitor && second);
    constexpr int threads = 10000;
    constexpr int atOnce = 4;
    i64 bytes = 0;
    for (int i = 0; i < threads / atOnce; ++i) {
        if (i * atOnce == threads / 10)
            bytes = heapBytes();
        inThreads(atOnce, [&](int thread) {
            EXPECT_EQ(reportText(monitor, L"x"), 0);
            EXPECT_EQ(thread == 0 ? reportText(second, L"x") : 0, 0);
        });
    }
    constexpr i64 bytesPerThread = 8;
    EXPECT_LT(heapBytes() - bytes, bytesPerThread * threads);
    EXPECT_EQ(Engines::count(monitor), 1); // that of this thread, which has made the monitor
    EXPECT_EQ(Engines::count(second), 1);
    wchar_t log[512];
    ASSERT_TRUE(monitor->getFileLogName(log, 512));
    EXPECT_EQ(Zarn::destroy(), 2);
    EXPECT_EQ(logText(log).count(" x<br>\n"), threads);
}

TEST_F(OwnerThreads, LeaveNoFailedEngineBehind)
{
    ZarnData settings;
    makeReady(settings, folder.path("log.html"));
    Zarn* monitor = Zarn::create(&settings); // which forgives nothing
    ASSERT_TRUE(monitor);
    for (int i = 0; i < 20; ++i)
        std::thread([=] { monitor->respondToSituation(666, nullptr); }).join();
    EXPECT_EQ(Engines::count(monitor), 1);
    EXPECT_EQ(reportText(monitor, L"entry"), 0);
    EXPECT_TRUE(Zarn::destroy(&monitor, 0, false));
}

TEST_F(OwnerThreads, MayEndWhileAMonitorIsDestroyed)
{
    for (int i = 0; i < 50; ++i) {
        Zarn* monitor = Owner().createZarnMonitor();
        ASSERT_TRUE(monitor);
        std::atomic<int> reported = 0;
        std::vector<std::thread> threads;
        for (int n = 0; n < 4; ++n)
            threads.emplace_back([&, monitor, n] {
                EXPECT_EQ(reportText(monitor, L"x"), 0) << "thread " << n << ", round " << i;
                ++reported;
            });
        while (reported != 4)
            std::this_thread::yield();
        EXPECT_TRUE(ZarnDataZGW::destroyZarnMonitor(monitor));
        for (std::thread& thread : threads)
            thread.join();
    }
}

TEST_F(OwnerThreads, NameSuccessorsAtOnce)
{
    // Two monitors whose logs are replaced again and again, with no owner that keeps a brander.
    Zarn* monitors[] = {Owner().createZarnMonitor(), Owner().createZarnMonitor()};
    ASSERT_TRUE(monitors[0] && monitors[1]);
    inThreads(2, 20, [&](int thread, int) {
        Zarn* const monitor = monitors[thread];
        EXPECT_TRUE(monitor->reestablishLogFile(false)) << monitor->getSelfDX_Code();
        EXPECT_EQ(reportText(monitor, L"entry"), 0);
    });
    EXPECT_EQ(folder.files().size(), 2 + 2 * 20);
    EXPECT_EQ(Zarn::destroy(), 2);
}

// ---- Processes -------------------------------------------------------------------------------------------

namespace {

/// Runs a program that finds its end clean by itself, status 0, and returns the text of its log.
QString runToItsEnd(const char* program, const QStringList& arguments, const Folder& folder)
{
    EXPECT_TRUE(hasSucceeded(runProgram(program, arguments)));
    const QStringList files = folder.files();
    EXPECT_EQ(files.size(), 1);
    QString log = files.isEmpty() ? QString() : logText(folder.path(files[0].toUtf8()));
    EXPECT_TRUE(log.contains(" entry<br>\n")) << qPrintable(log);
    return log;
}

bool isWhole(const QString& log)
{
    return log.endsWith("</body><html>\n");
}

QString pathOf(const Folder& folder)
{
    return QDir::cleanPath(QString::fromStdWString(folder.path(".")));
}

class OwnerThreadsProcessEnd : public testing::TestWithParam<const char*> {};
class OwnerThreadsUnload : public testing::TestWithParam<const char*> {};

std::string wayOf(const testing::TestParamInfo<const char*>& info)
{
    return QString(info.param).replace(' ', '_').toStdString();
}

} // namespace

TEST_P(OwnerThreadsProcessEnd, IsClean)
{
    if (isWindows() && GetParam() == std::string("late in thread"))
        GTEST_SKIP() << "a thread's own objects outlive their memory with this compiler";
    const Folder folder;
    const QString log = runToItsEnd(HOST_PROGRAM, {GetParam(), pathOf(folder)}, folder);
    // A thread that is stopped while it writes may leave its last entry unfinished.
    EXPECT_TRUE(isWhole(log) || GetParam() == std::string("busy thread"));
}

INSTANTIATE_TEST_SUITE_P(Ways, OwnerThreadsProcessEnd,
                         testing::Values("return", "exit elsewhere", "idle thread", "busy thread",
                                         "thread in a situation", "late in thread",
                                         "late in process", "host destroys",
                                         "host destroys at exit"),
                         wayOf);

TEST_P(OwnerThreadsUnload, IsClean)
{
    const Folder folder;
    EXPECT_TRUE(
        isWhole(runToItsEnd(UNLOADER_PROGRAM, {GetParam(), GUEST_MODULE, pathOf(folder)}, folder)));
}

INSTANTIATE_TEST_SUITE_P(Ways, OwnerThreadsUnload,
                         testing::Values("threads have ended", "main has reported",
                                         "thread lives on"),
                         wayOf);

TEST(Brander, ThatIsNowhere)
{
    // Library and program in a folder without a brander.
    const Folder folder;
    const auto bring = [&](const char* file) {
        const QString copy = pathOf(folder) + '/' + QFileInfo(file).fileName();
        return QFile::copy(file, copy) ? copy : QString();
    };
    ASSERT_FALSE(bring(LIBRARY_FILE).isEmpty());
    EXPECT_TRUE(hasSucceeded(runProgram(bring(HOST_PROGRAM), {"no brander", pathOf(folder)},
                                        {{"LD_LIBRARY_PATH", pathOf(folder)}})));
}
