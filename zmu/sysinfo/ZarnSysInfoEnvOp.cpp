#include <zmu/sysinfo/ZarnSysInfoEnvOp.h>

#include <zmu/foundation/internal/WideFormat.h>
#include <zmu/localize/ZarnLocalizeHelpers.h>
#include <zmu/platform/Machine.h>
#include <zmu/platform/Threads.h>
#include <zmu/platform/Win32.h>

#include <QDir>
#include <QString>

#include <algorithm>
#include <climits>
#include <cwchar>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

using namespace zmu;

namespace {

constexpr DWORD platformUnusable = 0xFFFFFF;
constexpr u64 megabyte = 0x100000;
constexpr std::size_t textCapacity = 1024;
constexpr std::size_t hotfixesLengthMax = 20239;

/// A built-in string, and what stands for it when it cannot be loaded.
struct Intrinsic {
    unsigned id;
    const wchar_t* text;
};

constexpr Intrinsic captionPlatform{15420, L"Platform"};
constexpr Intrinsic captionDomain{15415, L"Domain"};
constexpr Intrinsic captionLanguage{15429, L"System Language ID"};
constexpr Intrinsic unknown{14017, L"Unknown"};
constexpr Intrinsic languageFormat{14009, L"0x%04X"};
constexpr Intrinsic unknownFormat{14018, L"Unknown (%lu)"};
constexpr Intrinsic domainVariable{15404, L"USERDOMAIN"};

std::wstring load(const Intrinsic& string)
{
    wchar_t text[256];
    const bool isLoaded = ZarnLocalizeHelpers::loadIntrinsicString(
        string.id, text, static_cast<int>(std::size(text)));
    return isLoaded ? text : string.text;
}

template <class Number>
std::wstring format(const Intrinsic& form, Number number)
{
    wchar_t text[256] = {};
    if (formatWide(text, std::size(text), load(form).c_str(), number) < 0)
        throw false;
    return text;
}

// ---- The platform's name -------------------------------------------------------------------------

enum class Test { None, Workstation, WorkstationX64, FirstRelease };

struct Release {
    DWORD major;
    DWORD minor;
    Test test;
    Intrinsic name;
};

// Of Windows. The first row that fits counts.
constexpr Release releases[] = {
    {5, 1, Test::None, {15432, L"Windows XP"}},
    {5, 2, Test::WorkstationX64, {15449, L"Windows XP Professional x64 Edition"}},
    {5, 2, Test::FirstRelease, {15433, L"Windows Server 2003"}},
    {5, 2, Test::None, {15434, L"Windows Server 2003 R2"}},
    {6, 0, Test::Workstation, {15445, L"Windows Vista"}},
    {6, 0, Test::None, {15446, L"Windows Server 2008"}},
    {6, 1, Test::Workstation, {15448, L"Windows 7"}},
    {6, 1, Test::None, {15447, L"Windows Server 2008 R2"}},
};

bool passes(Test test, const OSVERSIONINFOEXW& version)
{
    const bool isWorkstation = version.wProductType == 1;
    switch (test) {
    case Test::None:
        return true;
    case Test::Workstation:
        return isWorkstation;
    case Test::WorkstationX64:
        return isWorkstation && machine::edition().isX64;
    case Test::FirstRelease:
        return !machine::edition().isSecondRelease;
    }
    return false;
}

Intrinsic platformName(const OSVERSIONINFOEXW& version)
{
    constexpr DWORD platformNT = 2;
    if (version.dwPlatformId == machine::platformLinux)
        return {15450, L"Linux"};
    if (version.dwPlatformId != platformNT)
        return unknown;
    const auto* const release =
        std::find_if(std::begin(releases), std::end(releases), [&](const Release& row) {
            return row.major == version.dwMajorVersion && row.minor == version.dwMinorVersion &&
                   passes(row.test, version);
        });
    return release != std::end(releases) ? release->name : Intrinsic{15431, L"Windows"};
}

// ---- The domain ----------------------------------------------------------------------------------

/// What the environment says; empty if it says nothing.
std::wstring environmentDomain()
{
    const std::wstring reference = L'%' + load(domainVariable) + L'%';
    wchar_t text[textCapacity] = {};
    wchar_t scratch[textCapacity];
    reference.copy(text, textCapacity - 1);
    u64 length = 0;
    const wchar_t* const value = ZarnLocalizeHelpers::expandEnvironmentVarStrsW(
        text, text, scratch, length, static_cast<ulong32>(textCapacity));
    // A variable that is not set stays as its reference.
    return value && value != reference ? value : L"";
}

// ---- The heaps -----------------------------------------------------------------------------------

/// Takes the next word off `text`, whatever number of separators precede it; empty at the end.
std::wstring takeWord(std::wstring_view& text, wchar_t separator)
{
    text.remove_prefix(std::min(text.find_first_not_of(separator), text.size()));
    const std::wstring_view word = text.substr(0, text.find(separator));
    text.remove_prefix(word.size());
    return std::wstring(word);
}

/// "1024,3072,512" of the word "SharedSection=1024,3072,512"; empty when there is no such word.
std::wstring sharedSection(std::wstring_view commandLine)
{
    constexpr std::wstring_view name = L"SharedSection=";
    while (true) {
        const std::wstring word = takeWord(commandLine, L' ');
        if (word.empty())
            return {};
        if (_wcsicmp(word.substr(0, name.size()).c_str(), name.data()) != 0)
            continue;
        std::wstring_view parts = word;
        takeWord(parts, L'=');
        return takeWord(parts, L'=');
    }
}

int toInt(const std::wstring& text)
{
    return static_cast<int>(
        std::clamp<long long>(std::wcstoll(text.c_str(), nullptr, 10), INT_MIN, INT_MAX));
}

std::wstring megabytes(u64 bytes)
{
    return std::to_wstring(bytes / megabyte) + L" MB";
}

} // namespace

// ---- One pair ------------------------------------------------------------------------------------

/// One pair on its way to the caller. A step writes it and tells whether that worked; it may also
/// throw, which counts as a failure.
class ZarnSysInfoEnvOp::Item {
  public:
    Item(ZarnSysInfoEnvOp& owner, wchar_t* caption, wchar_t* datum, int captionSize, int datumSize)
        : m_owner(owner), m_caption(caption), m_datum(datum), m_captionSize(captionSize),
          m_datumSize(datumSize)
    {}

    bool produce(int position)
    {
        if (position < 0 || position >= static_cast<int>(std::size(rows)))
            return false;
        m_row = &rows[position];
        if (attempt(m_row->source))
            return true;
        // A pair that was written stays, though an earlier failure makes the result false.
        const bool succeeded = !m_isWritten && attempt(m_row->fallback);
        SetLastError(ERROR_SUCCESS);
        return succeeded;
    }

  private:
    using Step = bool (*)(Item&);

    template <bool (Item::*operation)()>
    static bool step(Item& item)
    {
        return (item.*operation)();
    }

    struct Row {
        Intrinsic caption{}; ///< With ID 0 the text is the caption.
        Step source = nullptr;
        Step fallback = nullptr;
    };
    static const Row rows[25];

    bool attempt(Step step)
    {
        try {
            return step && step(*this);
        } catch (...) {
            return false;
        }
    }

    std::wstring caption() const
    {
        return m_row->caption.id ? load(m_row->caption) : m_row->caption.text;
    }

    bool write(const std::wstring& caption, const std::wstring& datum)
    {
        m_isWritten = true;
        return m_owner.formatDataPair(m_caption, m_datum, m_captionSize, m_datumSize,
                                      caption.c_str(), datum.c_str());
    }
    bool write(const std::wstring& datum) { return write(caption(), datum); }
    bool writeNumber(DWORD number)
    {
        m_isWritten = true;
        return m_owner.formatDataPair(m_caption, m_datum, m_captionSize, m_datumSize,
                                      caption().c_str(), static_cast<int>(number), false);
    }
    /// A text that is empty when there is none.
    bool writeFound(const std::wstring& datum) { return !datum.empty() && write(datum); }

    // ---- Sources ----

    bool platform() { return write(load(platformName(version()))); }
    bool platformVersion()
    {
        return hasVersion() &&
               write(std::to_wstring(static_cast<int>(version().dwMajorVersion)) + L'.' +
                     std::to_wstring(static_cast<int>(version().dwMinorVersion)));
    }
    bool buildNumber()
    {
        constexpr DWORD platformConsumer = 1;
        const DWORD number = version().dwBuildNumber;
        return hasVersion() &&
               writeNumber(version().dwPlatformId == platformConsumer ? number & 0xFFFF : number);
    }
    bool platformInformation()
    {
        return write(version().szCSDVersion[0] ? version().szCSDVersion : L"None");
    }
    bool hotfixes()
    {
        std::vector<machine::Hotfix> found;
        if (!machine::readHotfixes(found))
            return false;
        std::wstring text;
        for (const machine::Hotfix& hotfix : found) {
            if (!text.empty())
                text += L", ";
            text += hotfix.name;
            if (hotfix.installed)
                text += L'(' + std::to_wstring(static_cast<int>(*hotfix.installed)) + L')';
        }
        return write(text.empty() ? L"None" : text.substr(0, hotfixesLengthMax));
    }
    bool computerName() { return writeFound(machine::computerName()); }
    bool domain()
    {
        const std::wstring said = environmentDomain();
        return writeFound(said.empty() ? machine::accountDomain() : said);
    }
    bool language()
    {
        const unsigned id = machine::languageID();
        if (id != 0)
            return write(format(languageFormat, id));
        m_reason = GetLastError();
        return false;
    }
    bool windowsDirectory() { return writeDirectory(machine::windowsDirectory()); }
    bool systemDirectory() { return writeDirectory(machine::systemDirectory()); }
    bool writeDirectory(const std::wstring& directory)
    {
        m_reason = GetLastError();
        return writeFound(directory);
    }
    bool temporaryDirectory() { return write(QDir::tempPath().toStdWString()); }

    // Both memory rows tell all of the memory, the first with a megabyte for the part of one.
    bool physicalMemory() { return write(megabytes(memory().ullTotalPhys + megabyte)); }
    bool physicalMemoryAgain() { return write(megabytes(memory().ullTotalPhys)); }
    bool pageFile() { return hasMemory() && write(megabytes(memory().ullTotalPageFile)); }
    bool pageFileAvailable() { return hasMemory() && write(megabytes(memory().ullAvailPageFile)); }

    bool driveSpace()
    {
        if (!hasDrives())
            return false;
        const std::optional<u64> bytes = machine::freeBytes(m_owner.m_drive);
        return bytes && write(driveSpaceCaption(), megabytes(*bytes));
    }
    bool partitionType()
    {
        if (!hasDrives())
            return false;
        const std::wstring type = machine::fileSystem(m_owner.m_drive);
        return !type.empty() && write(m_owner.m_drive + L' ' + caption(), type);
    }

    bool processor()
    {
        const machine::Processor found = machine::processor();
        if (!found.vendor)
            return false;
        std::wstring text = *found.vendor;
        if (text.empty() || text.back() != L' ')
            text += L' ';
        if (!found.identifier) {
            text.pop_back();
            return write(text);
        }
        text += *found.identifier + L" ~";
        if (found.megahertz != 0)
            text += std::to_wstring(static_cast<int>(found.megahertz)) + L" MHz";
        return write(text);
    }
    bool processorCount()
    {
        const unsigned count = machine::processorCount();
        return count != 0 && writeNumber(count);
    }

    bool systemWideHeap() { return hasHeaps() && writeHeap(m_owner.m_systemWideHeapKB); }
    bool perDesktopHeap() { return hasHeaps() && writeHeap(m_owner.m_perDesktopHeapKB); }
    bool nonInteractiveHeap() { return hasHeaps() && writeHeap(m_owner.m_nonInteractiveHeapKB); }
    bool writeHeap(int kilobytes) { return write(std::to_wstring(kilobytes) + L" KB"); }

    // ---- Fallbacks ----

    bool unknownWord() { return write(L"Unknown"); }
    bool unavailable() { return write(L"Unavailable"); }
    bool unknownDomain() { return write(load(unknown)); }
    bool unknownLanguage()
    {
        return write(format(unknownFormat, static_cast<unsigned long>(m_reason)));
    }
    bool unknownForReason()
    {
        return write(L"Unknown (" + std::to_wstring(static_cast<int>(m_reason)) + L')');
    }
    bool unknownDriveSpace() { return write(driveSpaceCaption(), L"Unknown"); }

    // ---- What they need ----

    const OSVERSIONINFOEXW& version() const { return m_owner.m_versionInfo.as<OSVERSIONINFOEXW>(); }
    const MEMORYSTATUSEX& memory() const { return m_owner.m_memoryStatus.as<MEMORYSTATUSEX>(); }
    bool hasVersion() const { return version().dwPlatformId != platformUnusable; }
    bool hasMemory() const { return memory().dwLength != 0; }
    bool hasDrives() { return m_owner.m_fixedDrivesLearned || m_owner.learnNumFixedDrives(); }
    bool hasHeaps() { return m_owner.m_desktopInfoLearned || m_owner.learnDesktopInfo(); }
    std::wstring driveSpaceCaption() const { return caption() + L' ' + m_owner.m_drive; }

    ZarnSysInfoEnvOp& m_owner;
    wchar_t* m_caption;
    wchar_t* m_datum;
    int m_captionSize;
    int m_datumSize;
    const Row* m_row = nullptr;
    bool m_isWritten = false;
    DWORD m_reason = 0; ///< Last error of a source that gave nothing.
};

// By position.
const ZarnSysInfoEnvOp::Item::Row ZarnSysInfoEnvOp::Item::rows[25] = {
    {captionPlatform, step<&Item::platform>},
    {{0, L"Platform Version"}, step<&Item::platformVersion>, step<&Item::unknownWord>},
    {{0, L"Platform Build Number"}, step<&Item::buildNumber>, step<&Item::unknownWord>},
    {{0, L"Platform Information"}, step<&Item::platformInformation>},
    {{0, L"Hotfixes"}, step<&Item::hotfixes>, step<&Item::unavailable>},
    {{0, L"Computer Name"}, step<&Item::computerName>, step<&Item::unknownWord>},
    {captionDomain, step<&Item::domain>, step<&Item::unknownDomain>},
    {captionLanguage, step<&Item::language>, step<&Item::unknownLanguage>},
    {{0, L"Windows Directory"}, step<&Item::windowsDirectory>, step<&Item::unknownForReason>},
    {{0, L"System Directory"}, step<&Item::systemDirectory>, step<&Item::unknownForReason>},
    {{0, L"TEMP Directory"}, step<&Item::temporaryDirectory>},
    {{0, L"Total Physical Memory"}, step<&Item::physicalMemory>, step<&Item::unknownWord>},
    {{0, L"Available Physical Memory"}, step<&Item::physicalMemoryAgain>, step<&Item::unknownWord>},
    {{0, L"Maximum Pagefile Size"}, step<&Item::pageFile>, step<&Item::unknownWord>},
    {{0, L"Available Space in Pagefile"}, step<&Item::pageFileAvailable>, step<&Item::unknownWord>},
    {{0, L"Available Space on Drive"}, step<&Item::driveSpace>, step<&Item::unknownDriveSpace>},
    {{0, L"Partition Type"}, step<&Item::partitionType>, step<&Item::unknownWord>},
    {{0, L"Processor Information"}, step<&Item::processor>, step<&Item::unknownWord>},
    {{0, L"Number of Processors"}, step<&Item::processorCount>, step<&Item::unknownWord>},
    {}, // A walk ends here.
    {},
    {},
    {{0, L"System Wide Max Heap Size"}, step<&Item::systemWideHeap>},
    {{0, L"Per Desktop Heap Size"}, step<&Item::perDesktopHeap>},
    {{0, L"Non-Interactive Heap Size"}, step<&Item::nonInteractiveHeap>},
};

// ---- The source ----------------------------------------------------------------------------------

ZarnSysInfoEnvOp::ZarnSysInfoEnvOp()
{
    const CancellationHold hold;
    auto& memory = m_memoryStatus.make<MEMORYSTATUSEX>();
    if (!machine::readMemoryStatus(memory))
        memory = {};
    auto& version = m_versionInfo.make<OSVERSIONINFOEXW>();
    if (!machine::readVersion(version)) {
        version = {};
        version.dwPlatformId = platformUnusable;
        std::wcscpy(version.szCSDVersion, L"Unknown");
    }
    SetLastError(ERROR_SUCCESS);
    setCategory(L"Operating Environment");
}

ZarnSysInfoEnvOp::~ZarnSysInfoEnvOp() = default;

bool ZarnSysInfoEnvOp::getDataPair(int position, wchar_t* caption, wchar_t* datum, int captionSize,
                                   int datumSize)
{
    const CancellationHold hold;
    Item item(*this, caption, datum, captionSize, datumSize);
    return item.produce(position);
}

bool ZarnSysInfoEnvOp::learnNextPosition()
{
    constexpr int firstOfDrive = 15;
    constexpr int lastOfDrive = 16;
    if (!m_updatePosition)
        return true;
    if (m_position == lastOfDrive && !m_fixedDrives.empty()) {
        m_position = firstOfDrive;
        takeNextDrive();
    } else {
        ++m_position;
    }
    return true;
}

bool ZarnSysInfoEnvOp::learnNumFixedDrives()
{
    m_fixedDrives.clear();
    const bool areListed = machine::listFixedDrives(m_fixedDrives, m_drive);
    m_fixedDrivesLearned = true;
    if (!areListed) {
        m_fixedDrives.clear();
        m_error = ErrorDrives;
        return false;
    }
    if (!m_fixedDrives.empty())
        takeNextDrive();
    return true;
}

void ZarnSysInfoEnvOp::takeNextDrive()
{
    m_drive = std::move(m_fixedDrives.front());
    m_fixedDrives.erase(m_fixedDrives.begin());
}

bool ZarnSysInfoEnvOp::learnDesktopInfo()
{
    m_systemWideHeapKB = 1024;
    m_perDesktopHeapKB = 3072;
    m_nonInteractiveHeapKB = 3072;
    const std::wstring sizes = sharedSection(machine::subsystemCommandLine());
    std::wstring_view rest = sizes;
    for (int* const size : {&m_systemWideHeapKB, &m_perDesktopHeapKB, &m_nonInteractiveHeapKB}) {
        const std::wstring number = takeWord(rest, L',');
        if (number.empty())
            return false;
        *size = toInt(number);
    }
    m_desktopInfoLearned = true;
    return true;
}

bool GetAccountDomainW(wchar_t* buffer, int size)
{
    constexpr int domain = 6;
    return ZarnSysInfoEnvOp().getDataPair(domain, nullptr, buffer, 0, size);
}
