// What the product's settings mean, and the setting of the machine.
#include "Assertiveness.h"

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
