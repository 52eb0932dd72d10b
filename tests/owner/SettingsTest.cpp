// What the product's settings mean, and the setting of the machine.
#include "OwnerParts.h"

#if !defined(_WIN32)
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

using namespace zmu;
using namespace zmu_test;

TEST(Settings, LevelsAndEnablements)
{
    const struct {
        ulong32 level;
        unsigned int enablements;
        ulong32 back;
    } rows[] = {{0, 0, 0}, {1, 3, 1}, {2, 35, 2}, {3, 39, 3}, {4, 47, 4}, {5, 63, 6}, {6, 63, 6}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.level);
        ulong32 level = row.level;
        unsigned int enablements = 99;
        EXPECT_TRUE(ZarnDataZGW::mapLogOutputLevelToEnablementsZMP(level, enablements));
        EXPECT_EQ(level, row.level);
        EXPECT_EQ(enablements, row.enablements);
        EXPECT_TRUE(ZarnDataZGW::mapEnablementsZMP_ToLogOutputLevel(enablements, level));
        EXPECT_EQ(level, row.back);
    }
    for (const ulong32 invalid : {7U, 0xFFFFFFFFU}) {
        ulong32 level = invalid;
        unsigned int enablements = 0;
        EXPECT_FALSE(ZarnDataZGW::mapLogOutputLevelToEnablementsZMP(level, enablements));
        EXPECT_EQ(level, 1U);
        EXPECT_EQ(enablements, 11U);
    }
}

TEST(Settings, EnablementsBetweenTheLevels)
{
    const struct {
        unsigned int enablements;
        ulong32 level; // 0: none
    } rows[] = {{4, 0},  {1, 0},       {2, 0},         {0x38, 0}, {11, 1},
                {43, 2}, {47, 4},      {39 | 16, 3},   {7, 1},    {35 | 16, 2},
                {64, 0}, {64 | 63, 6}, {0xFFFFFFFF, 6}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.enablements);
        unsigned int enablements = row.enablements;
        ulong32 level = 99;
        EXPECT_EQ(ZarnDataZGW::mapEnablementsZMP_ToLogOutputLevel(enablements, level),
                  row.level != 0);
        EXPECT_EQ(level, row.level ? row.level : 1);
        EXPECT_EQ(enablements, row.level ? row.enablements : 11);
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

#if !defined(_WIN32)

namespace {

/// The machine's settings in a folder that anybody may search.
class Assertiveness : public testing::Test {
  protected:
    void SetUp() override
    {
        qputenv("XDG_CONFIG_DIRS", root());
        setLogDirectory(folder.path("."));
        ASSERT_EQ(chmod(root(), 0755), 0);
    }
    QByteArray root() const { return QFile::encodeName(QString::fromStdWString(folder.path("."))); }
    QByteArray file() const { return root() + "/Quorvane/Farrowlink.ini"; }
    void write(const QByteArray& content)
    {
        QDir().mkpath(QString(root()) + "/Quorvane");
        QFile ini(file());
        ASSERT_TRUE(ini.open(QIODevice::WriteOnly) && ini.write(content) == content.size());
    }
    QByteArray content()
    {
        QFile ini(file());
        return ini.open(QIODevice::ReadOnly) ? ini.readAll() : QByteArray("(no file)");
    }
    /// The level, negated code as the trace tells it on failure.
    static int level(Owner& owner)
    {
        Traces traces;
        owner.code1() = 77;
        Zarn_DX_MODE mode = 99;
        if (owner.obtainAssertivenessLevel(mode))
            return owner.code1() == 77 ? mode : 1000;
        const QString trace = traces.take();
        return mode == 0 && owner.code1() == 77
                   ? -trace.section("(ZGW", 1).section('/', 0, 0).toInt()
                   : 1000;
    }
    /// The same as an ordinary user, in a process of its own.
    static int levelAsUser(Owner& owner)
    {
        const passwd* const nobody = getpwnam("nobody");
        const pid_t child = fork();
        if (child == 0) {
            if (geteuid() == 0 && (!nobody || setgid(nobody->pw_gid) || setuid(nobody->pw_uid)))
                _exit(99);
            const int result = level(owner);
            _exit(result < 0 ? 100 - result : result);
        }
        int status = 0;
        waitpid(child, &status, 0);
        const int result = WIFEXITED(status) ? WEXITSTATUS(status) : 1000;
        return result > 100 ? 100 - result : result;
    }

    const Folder folder;
};

} // namespace

TEST_F(Assertiveness, IsRepaired)
{
    Owner owner; // which reads it as well
    constexpr char zero[] = "[AppServer]\nZM_Assertiveness=0\n";
    EXPECT_EQ(content(), zero); // there was no file
    EXPECT_EQ(level(owner), 0); // and what was written is read
    const struct {
        QByteArray before;
        int level;
        QByteArray after;
    } rows[] = {
        {"", 0, zero},
        {"[AppServer]\nZM_Assertiveness=10\n", 10, {}},
        {"[AppServer]\nZM_Assertiveness=\"7\"\n", 7, {}},
        {"[AppServer]\nZM_Assertiveness=11\n", 0, zero},
        {"[AppServer]\nZM_Assertiveness=4294967295\n", 0, zero},
        {"[AppServer]\nOther=x\n", 0, "[AppServer]\nOther=x\nZM_Assertiveness=0\n"},
        {"[AppServer]\nZM_Assertiveness=high\n", -33, {}},
        {"[AppServer]\nZM_Assertiveness=\n", -33, {}},
        {"[AppServer]\nZM_Assertiveness=4294967296\n", -33, {}},
        {"[AppServer]\nZM_Assertiveness=-1\n", -33, {}},
        {"[AppServer]\nZM_Assertiveness=1, 2\n", -33, {}},
        {"no settings at all\n", -32, {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.before.toStdString());
        write(row.before);
        EXPECT_EQ(level(owner), row.level);
        EXPECT_EQ(content(), row.after.isNull() ? row.before : row.after);
    }
}

TEST_F(Assertiveness, NeedsTheRightToWrite)
{
    if (geteuid() == 0 && !getpwnam("nobody"))
        GTEST_SKIP() << "there is no ordinary user to become";
    Owner owner;
    write(
        "[AppServer]\nZM_Assertiveness=5\n\n"); // of another size, so that nobody takes it for old
    ASSERT_EQ(chmod(file(), 0444), 0);
    EXPECT_EQ(levelAsUser(owner), -32);
    ASSERT_EQ(chmod(file(), 0666), 0); // the file, though not its directory
    EXPECT_EQ(levelAsUser(owner), 5);
    write("[AppServer]\nZM_Assertiveness=12\n");
    EXPECT_EQ(levelAsUser(owner), 0);
    EXPECT_EQ(content(), "[AppServer]\nZM_Assertiveness=0\n");
    ASSERT_TRUE(QFile::remove(file()));
    EXPECT_EQ(levelAsUser(owner), -32);
    ASSERT_EQ(chmod(root() + "/Quorvane", 0777), 0);
    EXPECT_EQ(levelAsUser(owner), 0);
    EXPECT_EQ(content(), "[AppServer]\nZM_Assertiveness=0\n");
}

#endif
