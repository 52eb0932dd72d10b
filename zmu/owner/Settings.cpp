// The product's settings: what they mean for a data set, and the one that an owner reads itself.
#include <zmu/owner/ZarnDataZGW.h>

#include <zmu/monitor/Trace.h>
#include <zmu/monitor/ZarnData.h>
#include <zmu/monitor/internal/Guards.h>
#include <zmu/owner/ZgwCodes.h>
#include <zmu/owner/internal/OwnerStatus.h>
#include <zmu/platform/Win32.h>

#include <iterator>

using namespace zmu;

namespace {

/// An enablement and its four neighbouring bits of the criteria.
struct Group {
    unsigned int enablement;
    u64 criteria;
};
constexpr Group groups[] = {
    {0x08, 0x1E000000},    {0x02, 0x1E0000000},     {0x20, 0x1E00000000},
    {0x01, 0x1E000000000}, {0x10, 0x1E00000000000}, {0x04, 0x1E000000000000},
};

/// Enablements of a log output level, which is the index.
constexpr unsigned int enablementsOfLevels[] = {0, 3, 35, 39, 47, 63, 63};

/// Levels by the enablements that they need, the most demanding one first.
struct Requirement {
    unsigned int enablements;
    ulong32 level;
};
constexpr Requirement requirements[] = {{63, 6}, {47, 4}, {39, 3}, {35, 2}, {3, 1}};

// Deliberately no pair: these are not the enablements of that level.
constexpr unsigned int enablementsOfFailure = 11;
constexpr ulong32 levelOfFailure = 1;

constexpr wchar_t settingsKey[] = L"SOFTWARE\\Quorvane\\Farrowlink\\AppServer";
constexpr wchar_t assertivenessName[] = L"ZM_Assertiveness";
constexpr DWORD assertivenessMax = 10;

} // namespace

// ---- Criteria, enablements, levels -----------------------------------------------------------------------

void ZarnDataZGW::mapBehaviorCriteriaZMI_ToEnablementsZMP(u64 criteria, unsigned int& enablements)
{
    enablements = 0;
    for (const Group& group : groups) {
        if (criteria & group.criteria)
            enablements |= group.enablement;
    }
}

void ZarnDataZGW::mapEnablementsZMP_ToBehaviorCriteriaZMI(unsigned int enablements, u64& criteria)
{
    criteria = enablements ? ZARN_RESPOND_MASK : 0;
    for (const Group& group : groups) {
        if (enablements & group.enablement)
            criteria |= group.criteria;
    }
}

bool ZarnDataZGW::mapEnablementsZMP_ToLogOutputLevel(unsigned int& enablements, ulong32& level)
{
    level = 0;
    if (!enablements)
        return true;
    for (const Requirement& row : requirements) {
        if ((enablements & row.enablements) == row.enablements) {
            level = row.level;
            return true;
        }
    }
    enablements = enablementsOfFailure;
    level = levelOfFailure;
    return false;
}

bool ZarnDataZGW::mapLogOutputLevelToEnablementsZMP(ulong32& level, unsigned int& enablements)
{
    if (level < std::size(enablementsOfLevels)) {
        enablements = enablementsOfLevels[level];
        return true;
    }
    enablements = enablementsOfFailure;
    level = levelOfFailure;
    return false;
}

u64 ZarnDataZGW::obtainBehaviorCriteria()
{
    ulong32 level = obtainLogFileOutputLevel();
    unsigned int enablements = enablementsOfFailure;
    u64 criteria = 0;
    mapLogOutputLevelToEnablementsZMP(level, enablements);
    mapEnablementsZMP_ToBehaviorCriteriaZMI(enablements, criteria);
    return criteria;
}

u64 ZarnDataZGW::updateBehaviorCriteria(ZarnData* data)
{
    const u64 criteria = obtainBehaviorCriteria();
    if (data)
        data->setBehaviorCriteria(criteria);
    return criteria;
}

// ---- The log's settings ----------------------------------------------------------------------------------

ulong32 ZarnDataZGW::obtainLogFileOutputLevel()
{
    return ZarnData::getLogOutputLevel();
}

ulong32 ZarnDataZGW::obtainLogFileAgeLimit()
{
    return ZarnData::getLogMaxFileAge();
}

u64 ZarnDataZGW::obtainLogFileByteCountLimit()
{
    return ZarnData::getLogMaxFileSize();
}

u64 ZarnDataZGW::updateLogFileByteCountLimit(ZarnData* data)
{
    const u64 limit = obtainLogFileByteCountLimit();
    u64 previous = 0;
    if (data)
        data->setLogFileByteCountLimit(limit, previous);
    return limit;
}

ulong32 ZarnDataZGW::obtainLogFileMaintenanceOperation()
{
    return ZarnData::getLogBackupEnabled() ? 0 : 1;
}

// ---- The setting of the machine --------------------------------------------------------------------------

namespace {

/// The key while it is open. `result` receives what the platform answers.
class SettingsKey {
  public:
    explicit SettingsKey(long& result) : m_result(result)
    {
        m_result = RegOpenKeyExW(HKEY_LOCAL_MACHINE, settingsKey, 0, KEY_ALL_ACCESS, &m_key);
        require(m_result == ERROR_SUCCESS, zgw::AssertivenessKeyNotOpened);
    }
    ~SettingsKey()
    {
        if (RegCloseKey(m_key) != ERROR_SUCCESS)
            SetLastError(ERROR_SUCCESS);
    }
    SettingsKey(const SettingsKey&) = delete;
    SettingsKey& operator=(const SettingsKey&) = delete;

    /// The level, which becomes 0 in the settings, too, if it is missing or too high.
    DWORD readLevel()
    {
        DWORD level = 0;
        DWORD type = REG_DWORD;
        DWORD size = sizeof level;
        m_result = RegQueryValueExW(m_key, assertivenessName, nullptr, &type,
                                    reinterpret_cast<u8*>(&level), &size);
        const bool isNumber = type == REG_DWORD && size == sizeof level;
        if (m_result == ERROR_SUCCESS && isNumber && level <= assertivenessMax)
            return level;
        require(m_result == ERROR_FILE_NOT_FOUND || isNumber, zgw::AssertivenessUnusable);
        level = 0;
        m_result = RegSetValueExW(m_key, assertivenessName, 0, REG_DWORD,
                                  reinterpret_cast<const u8*>(&level), sizeof level);
        require(m_result == ERROR_SUCCESS, zgw::AssertivenessNotWritten);
        return level;
    }

  private:
    long& m_result;
    HKEY m_key = nullptr;
};

} // namespace

bool ZarnDataZGW::obtainAssertivenessLevel(Zarn_DX_MODE& mode)
{
    int code = zgw::Success;
    OwnerStatus status(code);
    long result = ERROR_SUCCESS;
    SetLastError(ERROR_SUCCESS);
    mode = 0;
    runGuarded(status, zgw::AssertivenessUnexpected,
               [&] { mode = static_cast<Zarn_DX_MODE>(SettingsKey(result).readLevel()); });
    if (status.isSelfSatisfied())
        return true;
    Zarn_TRACE(L"Function ZarnDataZGW::obtainAssertivenessLevel () failed (ZGW%d/WLE%ld).\n", code,
               result);
    SetLastError(ERROR_SUCCESS);
    mode = 0;
    return false;
}
