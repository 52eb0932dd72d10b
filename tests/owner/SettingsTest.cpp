// What the product's settings mean, and the setting of the machine.
#include "MachineSettings.h"
#include "OwnerParts.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QLockFile>

#include <chrono>
#include <thread>

#if !defined(_WIN32)
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

using namespace zmu;
using namespace zmu_test;

TEST(Settings, LevelsAndEnablements)
{
    constexpr unsigned int ofLevels[] = {0, 3, 35, 39, 47, 63, 63, 11, 11}; // two that are none
    for (ulong32 i = 0; i < std::size(ofLevels); ++i) {
        ulong32 level = i;
        unsigned int enablements = 99;
        EXPECT_EQ(ZarnDataZGW::mapLogOutputLevelToEnablementsZMP(level, enablements), i <= 6);
        EXPECT_EQ(level, i <= 6 ? i : 1);
        EXPECT_EQ(enablements, ofLevels[i]);
    }
    const std::pair<unsigned int, ulong32> levels[] = {
        {0, 0},  {3, 1},  {11, 1},      {7, 1},  {35, 2},      {43, 2},  {35 | 16, 2},
        {39, 3}, {47, 4}, {39 | 16, 3}, {63, 6}, {64 | 63, 6}, {~0U, 6},
    };
    for (const auto& [word, expected] : levels) {
        unsigned int enablements = word;
        ulong32 level = 99;
        EXPECT_TRUE(ZarnDataZGW::mapEnablementsZMP_ToLogOutputLevel(enablements, level));
        EXPECT_EQ(level, expected) << word;
        EXPECT_EQ(enablements, word);
    }
    for (const unsigned int word : {1U, 2U, 4U, 0x38U, 64U}) {
        unsigned int enablements = word;
        ulong32 level = 99;
        EXPECT_FALSE(ZarnDataZGW::mapEnablementsZMP_ToLogOutputLevel(enablements, level)) << word;
        EXPECT_EQ(level, 1U);
        EXPECT_EQ(enablements, 11U);
    }
}

TEST(Settings, GroupsOfCriteria)
{
    const struct {
        unsigned int enablement;
        u64 group;
    } rows[] = {{0x08, 0x1E000000},    {0x02, 0x1E0000000},     {0x20, 0x1E00000000},
                {0x01, 0x1E000000000}, {0x10, 0x1E00000000000}, {0x04, 0x1E000000000000}};
    constexpr u64 respond = 0xE000000000000000;
    const auto enablementsOf = [](u64 criteria) {
        unsigned int enablements = 99;
        ZarnDataZGW::mapBehaviorCriteriaZMI_ToEnablementsZMP(criteria, enablements);
        return enablements;
    };
    const auto criteriaOf = [](unsigned int enablements) {
        u64 criteria = 99;
        ZarnDataZGW::mapEnablementsZMP_ToBehaviorCriteriaZMI(enablements, criteria);
        return criteria;
    };
    u64 all = respond;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.enablement);
        EXPECT_EQ(criteriaOf(row.enablement), respond | row.group);
        for (u64 bit = 1; bit != 0; bit <<= 1)
            EXPECT_EQ((enablementsOf(bit) & row.enablement) != 0, (bit & row.group) != 0) << bit;
        all |= row.group;
    }
    EXPECT_EQ(criteriaOf(63), all);
    EXPECT_EQ(enablementsOf(all), 63U);
    EXPECT_EQ(criteriaOf(0), 0U);
    EXPECT_EQ(criteriaOf(0x40), respond);
    EXPECT_EQ(enablementsOf(respond | 0x1E0000000000), 0U);
}

TEST(Settings, LogVariables)
{
    EXPECT_EQ(ZarnDataZGW::obtainBehaviorCriteria(), 0xE00001E1E0000000);
    EXPECT_EQ(ZarnDataZGW::obtainLogFileByteCountLimit(), 20U);
    EXPECT_EQ(ZarnDataZGW::obtainLogFileMaintenanceOperation(), 0U);

    ZarnData data;
    ZarnData::setLogVariables(L"/", 0, false, 2000000, 9);
    EXPECT_EQ(ZarnDataZGW::updateBehaviorCriteria(&data), 0U);
    EXPECT_EQ(data.getBehaviorCriteria(), 0U);
    EXPECT_EQ(ZarnDataZGW::updateLogFileByteCountLimit(&data), 2000000U);
    EXPECT_EQ(data.getLogFileByteCountLimit(), 2000000U);
    EXPECT_EQ(ZarnDataZGW::obtainLogFileMaintenanceOperation(), 1U);
    EXPECT_EQ(ZarnDataZGW::obtainLogFileAgeLimit(), 9U);

    ZarnData::setLogVariables(L"/", 7, false, 20, 9); // neither a level nor a limit
    EXPECT_EQ(ZarnDataZGW::updateBehaviorCriteria(nullptr), 0xE00001E1FE000000);
    EXPECT_EQ(ZarnDataZGW::updateLogFileByteCountLimit(&data), 20U);
    EXPECT_EQ(data.getLogFileByteCountLimit(), 2000000U);
}

// ---- The setting of the machine --------------------------------------------------------------------------

namespace {

/// The level, negated code as the trace tells it on failure.
int level(Owner& owner)
{
    Traces traces;
    owner.code1() = 77;
    Zarn_DX_MODE mode = 99;
    const bool succeeded = owner.obtainAssertivenessLevel(mode);
    const QString trace = traces.take();
    if (owner.code1() != 77 || (!succeeded && mode != 0))
        return 1000;
    return succeeded ? mode : -trace.section("(ZGW", 1).section('/', 0, 0).toInt();
}

class Assertiveness : public testing::Test {
  protected:
    Assertiveness() { setLogDirectory(folder.path(".")); }

    const Folder folder;
    MachineSettings settings;
};

} // namespace

TEST_F(Assertiveness, IsRepaired)
{
    Owner owner;
    const struct {
        const char* before; // null for no value
        int level;
        const char* after;
    } rows[] = {
        {nullptr, 0, "0"},      {"0", 0, "0"},
        {"10", 10, "10"},       {"11", 0, "0"},
        {"4294967295", 0, "0"}, {"high", -33, "high"},
        {"", -33, ""},          {"4294967296", -33, "4294967296"},
        {"-1", -33, "-1"},      {"1, 2", -33, "1, 2"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.before ? row.before : "no value");
        settings.store(row.before);
        EXPECT_EQ(level(owner), row.level);
        EXPECT_EQ(settings.stored(), row.after);
        EXPECT_EQ(level(owner), row.level);
    }
}

#if defined(_WIN32)

TEST_F(Assertiveness, NeedsAKeyAndANumber)
{
    Owner owner;
    settings.remove();
    EXPECT_EQ(level(owner), -32);
    EXPECT_EQ(settings.stored(), "(none)");
    const std::pair<DWORD, DWORD> kinds[] = {{REG_BINARY, 4}, {REG_QWORD, 8}, {REG_DWORD, 2},
                                             {REG_DWORD, 8},  {REG_SZ, 4},    {REG_NONE, 0}};
    const BYTE bytes[8] = {5};
    for (const auto& [type, size] : kinds) {
        settings.store(type, bytes, size);
        EXPECT_EQ(level(owner), -33) << type << ' ' << size;
    }
}

#else

TEST_F(Assertiveness, IsMadeInTheFileAsItIs)
{
    settings.remove();
    Owner owner;
    EXPECT_EQ(settings.content(), "[AppServer]\nZM_Assertiveness=0\n"); // there was no file
    settings.write("[AppServer]\nOther=x\n");
    EXPECT_EQ(level(owner), 0);
    EXPECT_EQ(settings.content(), "[AppServer]\nOther=x\nZM_Assertiveness=0\n");
    settings.write("[AppServer]\nZM_Assertiveness=\"7\"\n");
    EXPECT_EQ(level(owner), 7);
    settings.write("no settings at all\n");
    EXPECT_EQ(level(owner), -32);
    EXPECT_EQ(settings.content(), "no settings at all\n");
}

namespace {

/// The level as an ordinary user gets it, in a process of its own.
int levelAsUser(Owner& owner)
{
    const passwd* const nobody = getpwnam("nobody");
    const ProcessEnd end = runInChild([&] {
        if (geteuid() == 0 && (!nobody || setgid(nobody->pw_gid) || setuid(nobody->pw_uid)))
            return 99;
        const int result = level(owner);
        return result < 0 ? 100 - result : result;
    });
    const int result = end.isNormal ? end.status : 1000;
    return result > 100 ? 100 - result : result;
}

} // namespace

TEST_F(Assertiveness, OfAUserWithoutRights)
{
    if (geteuid() == 0 && !getpwnam("nobody"))
        GTEST_SKIP() << "there is no ordinary user to become";
    Owner owner;
    const QByteArray file = settings.file();
    settings.remove();
    EXPECT_EQ(levelAsUser(owner), 0); // nobody has set anything, and this one may not
    EXPECT_EQ(settings.stored(), "(none)");
    settings.store("5");
    ASSERT_EQ(chmod(file, 0444), 0);
    EXPECT_EQ(levelAsUser(owner), 5);
    settings.store("12");
    EXPECT_EQ(levelAsUser(owner), -34); // only a repair needs the right
    EXPECT_EQ(settings.stored(), "12");
    ASSERT_EQ(chmod(file, 0600), 0);
    EXPECT_EQ(levelAsUser(owner), geteuid() == 0 ? -32 : 0);
    ASSERT_EQ(chmod(file, 0666), 0); // the file, though not its directory
    settings.store("12");
    EXPECT_EQ(levelAsUser(owner), 0);
    EXPECT_EQ(settings.stored(), "0");
    settings.remove();
    ASSERT_EQ(chmod(file.left(file.lastIndexOf('/')), 0777), 0);
    EXPECT_EQ(levelAsUser(owner), 0);
    EXPECT_EQ(settings.stored(), "0");
}

TEST_F(Assertiveness, IsLookedForInAllFolders)
{
    Owner owner;
    const Folder other;
    const QByteArray first = qgetenv("XDG_CONFIG_DIRS");
    const QByteArray second = QFile::encodeName(QString::fromStdWString(other.path("")));
    ASSERT_TRUE(QDir().mkpath(second + "/Quorvane"));
    other.write("Quorvane/Farrowlink.ini", "[Other]\nx=1\n[AppServer]\nZM_Assertiveness=6\n");
    qputenv("XDG_CONFIG_DIRS", "relative:" + first + ":" + second);
    settings.remove();
    EXPECT_EQ(level(owner), 6);
    settings.store("3");
    EXPECT_EQ(level(owner), 3);
    settings.store(nullptr);
    EXPECT_EQ(level(owner), 6);
    other.write("Quorvane/Farrowlink.ini",
                "; ours\n[AppServer]\nZM_Assertiveness=66\n[Other]\nx=1");
    EXPECT_EQ(level(owner), 0); // repaired where it stands
    EXPECT_EQ(other.read("Quorvane/Farrowlink.ini"),
              "; ours\n[AppServer]\nZM_Assertiveness=0\n[Other]\nx=1\n");
    EXPECT_EQ(settings.stored(), "(none)");
    qputenv("XDG_CONFIG_DIRS", "relative");
    EXPECT_EQ(level(owner), -32);
}

TEST_F(Assertiveness, LosesNothingOfAFile)
{
    Owner owner;
    // More than is read, with the level behind it.
    const QByteArray large =
        "; " + QByteArray(0x100000, 'x') + "\n[AppServer]\nZM_Assertiveness=5\n";
    settings.write(large);
    EXPECT_EQ(level(owner), -32);
    EXPECT_TRUE(settings.content() == large);

    const Folder other;
    other.write("real.ini", "[AppServer]\nZM_Assertiveness=12\n");
    settings.remove();
    const QByteArray target = QFile::encodeName(QString::fromStdWString(other.path("real.ini")));
    ASSERT_EQ(symlink(target, settings.file()), 0);
    EXPECT_EQ(level(owner), 0);
    EXPECT_TRUE(QFileInfo(settings.file()).isSymLink());
    EXPECT_EQ(other.read("real.ini"), "[AppServer]\nZM_Assertiveness=0\n");

    int seen = 0; // of a file that an editor empties and writes a little later
    for (int i = 0; i < 5 && seen != 6; ++i) {
        settings.write("");
        std::thread editor([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            settings.write("[AppServer]\nZM_Assertiveness=6\n");
        });
        seen = level(owner);
        editor.join();
    }
    EXPECT_EQ(seen, 6);
}

TEST_F(Assertiveness, WaitsForAnotherWriterForASecond)
{
    Owner owner;
    settings.store("12");
    QElapsedTimer clock;
    {
        QLockFile others(settings.file() + ".lock");
        ASSERT_TRUE(others.lock());
        clock.start();
        EXPECT_EQ(level(owner), -34);
        EXPECT_LT(clock.elapsed(), 5000);
        EXPECT_GT(clock.elapsed(), 500);
    }
    EXPECT_EQ(level(owner), 0);
    // What a process left that is gone holds nobody up.
    settings.store("12");
    const pid_t gone = fork();
    if (gone == 0) {
        QLockFile others(settings.file() + ".lock");
        _exit(others.tryLock() ? 0 : 1);
    }
    waitpid(gone, nullptr, 0);
    ASSERT_TRUE(QFile::exists(settings.file() + ".lock"));
    EXPECT_EQ(level(owner), 0);
    EXPECT_FALSE(QFile::exists(settings.file() + ".lock"));
}

#endif
