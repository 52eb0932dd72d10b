#include <zmu/sysinfo/ZarnSysInfoEnvApp.h>

#include <zmu/foundation/internal/WideFormat.h>
#include <zmu/localize/ZarnLocalizeHelpers.h>
#include <zmu/platform/InputFile.h>
#include <zmu/platform/Machine.h>
#include <zmu/platform/ModuleFacts.h>
#include <zmu/platform/Paths.h>
#include <zmu/platform/Threads.h>
#include <zmu/platform/Win32.h>
#include <zmu/sysinfo/internal/ModuleTable.h>

#include <algorithm>
#include <ctime>
#include <cwchar>
#include <iterator>
#include <string>
#include <string_view>

using namespace zmu;

namespace {

constexpr int moduleStep = 16;
constexpr int itemMask = moduleStep - 1;
constexpr int itemLast = 7;
constexpr int positionFirst = moduleStep + 1;

constexpr unsigned keyFileVersion = 13005;
constexpr unsigned keyProductVersion = 13011;
constexpr unsigned sizeFormat = 14011;
constexpr unsigned dateFormat = 15202;

int moduleOf(int position)
{
    return position & ~itemMask;
}

int itemOf(int position)
{
    return position & itemMask;
}

/// Copies a text that fits with its terminator; else leaves an empty one.
template <std::size_t N>
bool store(wchar_t (&target)[N], std::wstring_view text)
{
    const bool fits = text.size() < N;
    target[fits ? text.copy(target, N - 1) : 0] = L'\0';
    return fits;
}

/// The part of a path before the file's name, its separator included.
std::wstring_view directoryOf(std::wstring_view path)
{
    while (!path.empty() && !isPathSeparator(path.back()))
        path.remove_suffix(1);
    return path;
}

} // namespace

// ---- One pair ------------------------------------------------------------------------------------

/// One pair of the module in hand, on its way to the caller.
class ZarnSysInfoEnvApp::Item {
  public:
    Item(ZarnSysInfoEnvApp& owner, wchar_t* caption, wchar_t* datum, int captionSize, int datumSize)
        : m_owner(owner), m_caption(caption), m_datum(datum), m_captionSize(captionSize),
          m_datumSize(datumSize)
    {}

    bool produce(int item)
    {
        const Row& row = rows[item - 1];
        bool isObtained = false;
        try {
            const std::wstring datum = (this->*row.source)();
            isObtained = !datum.empty();
            if (isObtained && write(row, datum.c_str()))
                return true;
        } catch (...) { // no memory: the fallback needs none
        }
        return write(row, isObtained ? L"Unavailable" : L"Unknown");
    }

  private:
    struct Row {
        const wchar_t* word;
        std::wstring (Item::*source)();
    };
    static const Row rows[itemLast];

    bool write(const Row& row, const wchar_t* datum)
    {
        constexpr std::size_t captionCapacity = 1024;
        return formatWide(m_owner.m_text2, captionCapacity, L"%ls %ls", m_owner.m_moduleName,
                          row.word) > 0 &&
               m_owner.formatDataPair(m_caption, m_datum, m_captionSize, m_datumSize,
                                      m_owner.m_text2, datum);
    }

    // ---- Sources: empty where there is nothing ----

    std::wstring version(unsigned key, std::wstring modules::Versions::*member)
    {
        constexpr u64 capacity = 1024;
        if (m_owner.m_versionBlock && ZarnLocalizeHelpers::extractModuleVerValueSFI_(
                                          m_owner.m_versionBlock, m_owner.m_scratch, capacity, key,
                                          nullptr, L"StringFileInfo", L'\\'))
            return m_owner.m_scratch;
        return modules::versions(*m_owner.m_file, m_owner.m_modulePath).*member;
    }
    std::wstring fileVersion() { return version(keyFileVersion, &modules::Versions::file); }
    std::wstring productVersion()
    {
        return version(keyProductVersion, &modules::Versions::product);
    }
    std::wstring checksum() { return modules::checksum(*m_owner.m_file); }
    std::wstring linkTime() { return modules::linkTime(*m_owner.m_file); }
    std::wstring date()
    {
        std::tm time{};
        const FILETIME written = m_owner.m_file->lastWriteTime(); // 0 also while nothing is open
        if (written.dwLowDateTime == 0 && written.dwHighDateTime == 0)
            return {};
        ZarnLocalizeHelpers::mapFILETIME_to_tm(written, time, _daylight);
        if (time.tm_mday == 0)
            return {};
        wchar_t format[64];
        if (!ZarnLocalizeHelpers::loadIntrinsicString(dateFormat, format,
                                                      static_cast<int>(std::size(format))))
            std::wcscpy(format, L"%m/%d/%y");
        const std::size_t length = std::wcsftime(m_owner.m_text1, textCapacity, format, &time);
        return {m_owner.m_text1, length};
    }
    std::wstring location() { return std::wstring(directoryOf(m_owner.m_modulePath)); }
    std::wstring size()
    {
        if (!m_owner.m_file->isOpen())
            return {};
        const u64 bytes = m_owner.m_file->size();
        constexpr u64 failure = 0xFFFFFFFF; // what stands in the low half where a size is refused
        if ((bytes & failure) == failure)
            return {};
        wchar_t number[64] = {};
        if (ZarnLocalizeHelpers::convertIntToPunctuatedStrW(static_cast<i64>(bytes), number,
                                                            std::size(number)) == 0)
            formatWide(number, std::size(number), L"%llu", static_cast<unsigned long long>(bytes));
        wchar_t format[64];
        const bool isWritten = ZarnLocalizeHelpers::loadIntrinsicString(
                                   sizeFormat, format, static_cast<int>(std::size(format))) &&
                               formatWide(m_owner.m_text1, textCapacity, format, number) > 0;
        return isWritten ? m_owner.m_text1 : number;
    }

    ZarnSysInfoEnvApp& m_owner;
    wchar_t* m_caption;
    wchar_t* m_datum;
    int m_captionSize;
    int m_datumSize;
};

const ZarnSysInfoEnvApp::Item::Row ZarnSysInfoEnvApp::Item::rows[itemLast] = {
    {L"File Version", &Item::fileVersion},
    {L"Version", &Item::productVersion},
    {L"Checksum", &Item::checksum},
    {L"Timestamp", &Item::linkTime},
    {L"Date", &Item::date},
    {L"Location", &Item::location},
    {L"Size", &Item::size},
};

// ---- The source ----------------------------------------------------------------------------------

ZarnSysInfoEnvApp::ZarnSysInfoEnvApp()
    : m_table(std::make_unique<ModuleTable>()), m_file(std::make_unique<InputFile>())
{
    m_position = positionFirst;
    for (const auto id : {ZarnSysInfoEnvApp_HOME_DIR_PROGRAM, ZarnSysInfoEnvApp_HOME_DIR_SYSTEM,
                          ZarnSysInfoEnvApp_HOME_DIR_DRIVERS})
        learnModuleHomeDirectory(id); // without it, its modules are looked for elsewhere
    SetLastError(ERROR_SUCCESS);
    setCategory(L"Application Environment");
}

ZarnSysInfoEnvApp::~ZarnSysInfoEnvApp()
{
    forgetModuleDataPairDeterminants();
}

bool ZarnSysInfoEnvApp::getDataPair(int position, wchar_t* caption, wchar_t* datum, int captionSize,
                                    int datumSize)
{
    const CancellationHold hold;
    SetLastError(ERROR_SUCCESS);
    const int item = itemOf(position);
    if (!isModule(moduleOf(position)) || item < 1 || item > itemLast)
        return false;
    // A module that is held is trusted to be the one that is meant.
    const bool isForThisCall = !*m_moduleName;
    if (isForThisCall)
        learnModuleDataPairDeterminants(static_cast<ulong32>(moduleOf(position)));
    const bool succeeded =
        *m_moduleName && Item(*this, caption, datum, captionSize, datumSize).produce(item);
    if (isForThisCall)
        forgetModuleDataPairDeterminants();
    SetLastError(ERROR_SUCCESS);
    return succeeded;
}

bool ZarnSysInfoEnvApp::getFirstDataPair(wchar_t* caption, wchar_t* datum, int captionSize,
                                         int datumSize)
{
    m_position = positionFirst;
    learnModuleDataPairDeterminants(moduleStep);
    const bool succeeded = getDataPair(m_position, caption, datum, captionSize, datumSize);
    learnNextPosition();
    return succeeded;
}

bool ZarnSysInfoEnvApp::getNextDataPair(wchar_t* caption, wchar_t* datum, int captionSize,
                                        int datumSize)
{
    if (!isModule(moduleOf(m_position)) || itemOf(m_position) > itemLast)
        return false;
    if (itemOf(m_position) == 1)
        learnModuleDataPairDeterminants(static_cast<ulong32>(moduleOf(m_position)));
    const bool succeeded = getDataPair(m_position, caption, datum, captionSize, datumSize);
    learnNextPosition();
    return succeeded;
}

bool ZarnSysInfoEnvApp::learnNextPosition()
{
    if (!m_updatePosition)
        return true;
    ++m_position;
    if (itemOf(m_position) == 0 || itemOf(m_position) > itemLast)
        m_position = moduleOf(m_position) + positionFirst;
    return true;
}

// ---- The module in hand --------------------------------------------------------------------------

bool ZarnSysInfoEnvApp::isModule(int module) const
{
    return module >= moduleStep && module <= static_cast<int>(m_table->rows().size()) * moduleStep;
}

bool ZarnSysInfoEnvApp::learnModuleDataPairDeterminants(ulong32 module)
{
    const CancellationHold hold;
    SetLastError(ERROR_SUCCESS);
    forgetModuleDataPairDeterminants();
    bool succeeded = false;
    try {
        succeeded = learnModuleFileNomenclature(static_cast<int>(module));
        if (*m_modulePath) {
            // One after the other: no two files are open at once.
            const bool hasVersions =
                ZarnLocalizeHelpers::extractModuleVerBlock(m_modulePath, m_versionBlock);
            succeeded = m_file->open(m_modulePath) && hasVersions && succeeded;
        }
    } catch (...) { // no memory: what has been learned stays
        succeeded = false;
    }
    SetLastError(ERROR_SUCCESS);
    return succeeded;
}

void ZarnSysInfoEnvApp::forgetModuleDataPairDeterminants()
{
    m_file->close();
    m_moduleName[0] = L'\0';
    m_modulePath[0] = L'\0';
    ZarnLocalizeHelpers::deleteModuleVerBlock(m_versionBlock);
}

bool ZarnSysInfoEnvApp::learnModuleFileNomenclature(int module)
{
    m_moduleName[0] = L'\0';
    m_modulePath[0] = L'\0';
    if (!isModule(module))
        return false;
    ModuleTable::Row row = m_table->rows()[static_cast<std::size_t>(module / moduleStep - 1)];
    if (row.file.empty()) {
        // A kernel that tells its name is reported under it alone.
        if (store(m_moduleName, modules::kernelName()) && *m_moduleName)
            return false;
        row = {modules::kernelRow().file, modules::kernelRow().home};
    }
    const std::wstring_view file = row.file;
    if (!store(m_moduleName, file.substr(directoryOf(file).size())))
        return false;

    const wchar_t* const home = m_homeDirectories[static_cast<int>(row.home)];
    if (isFullPath(file))
        store(m_modulePath, file);
    else if (*home)
        store(m_modulePath, home + row.file);
    if (*m_modulePath && _waccess(m_modulePath, 0) == 0)
        return true;
    std::wstring found;
    if (row.home == modules::Home::Drivers && !isFullPath(file))
        found = modules::otherDriverFile(row.file);
    if (found.empty())
        found = m_table->finder().find(m_moduleName);
    return !found.empty() && found.size() < pathCapacity && store(m_modulePath, found);
}

bool ZarnSysInfoEnvApp::learnModuleHomeDirectory(ZarnSysInfoEnvApp_HOME_DIR_ID id)
{
    std::wstring directory;
    switch (id) {
    case ZarnSysInfoEnvApp_HOME_DIR_PROGRAM: {
        wchar_t path[pathCapacity] = {};
        const DWORD length = GetModuleFileNameW(nullptr, path, pathCapacity);
        if (length > 0 && length < pathCapacity)
            directory = directoryOf(path);
        break;
    }
    case ZarnSysInfoEnvApp_HOME_DIR_SYSTEM:
        directory = machine::systemDirectory();
        break;
    case ZarnSysInfoEnvApp_HOME_DIR_DRIVERS:
        directory = modules::driverDirectory();
        break;
    }
    if (!directory.empty() && !isPathSeparator(directory.back()))
        directory += pathSeparator;
    return store(m_homeDirectories[id], directory) && !directory.empty();
}
