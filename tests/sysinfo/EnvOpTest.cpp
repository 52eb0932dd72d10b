// The operating environment of machines that are made up here: what becomes of each fact, and of
// each that is missing.
#include <zmu/platform/Machine.h>
#include <zmu/sysinfo/ZarnSysInfoEnvOp.h>

#include <gtest/gtest.h>

#include <QByteArray>

#include <map>
#include <string>
#include <vector>

using namespace zmu;

namespace {

struct Facts {
    bool hasMemory = true;
    u64 memory[3] = {}; ///< All of it, all of the page file, what is left of that.
    bool hasVersion = true;
    DWORD version[4] = {2, 6, 1, 7601}; ///< Platform, major, minor, build.
    u8 productType = 1;
    const wchar_t* servicePack = L"";
    machine::Edition edition;
    bool hasHotfixes = true;
    std::vector<machine::Hotfix> hotfixes;
    std::wstring name;
    std::wstring domain;
    unsigned language = 0;
    std::wstring directory;
    bool hasDrives = true;
    std::vector<std::wstring> drives;
    std::wstring present;
    std::map<std::wstring, u64> free;
    std::map<std::wstring, std::wstring> types;
    machine::Processor processor;
    unsigned processors = 0;
    std::wstring commandLine;
    int commandLineReads = 0;
};

Facts facts;

template <class Value>
Value failing(const Value& value)
{
    if (value == Value())
        SetLastError(ERROR_ACCESS_DENIED);
    return value;
}

} // namespace

namespace zmu::machine {

bool readMemoryStatus(MEMORYSTATUSEX& status) noexcept
{
    status.dwLength = sizeof status;
    status.ullTotalPhys = facts.memory[0];
    status.ullTotalPageFile = facts.memory[1];
    status.ullAvailPageFile = facts.memory[2];
    return facts.hasMemory;
}
bool readVersion(OSVERSIONINFOEXW& version) noexcept
{
    version.dwPlatformId = facts.version[0];
    version.dwMajorVersion = facts.version[1];
    version.dwMinorVersion = facts.version[2];
    version.dwBuildNumber = facts.version[3];
    version.wProductType = facts.productType;
    std::wstring(facts.servicePack).copy(version.szCSDVersion, 127);
    SetLastError(ERROR_ACCESS_DENIED);
    return facts.hasVersion;
}
Edition edition()
{
    return facts.edition;
}
bool readHotfixes(std::vector<Hotfix>& hotfixes)
{
    hotfixes = facts.hotfixes;
    return facts.hasHotfixes;
}
std::wstring computerName()
{
    return failing(facts.name);
}
std::wstring accountDomain()
{
    return failing(facts.domain);
}
unsigned languageID()
{
    return failing(facts.language);
}
std::wstring windowsDirectory()
{
    return failing(facts.directory);
}
std::wstring systemDirectory()
{
    return failing(facts.directory);
}
bool listFixedDrives(std::vector<std::wstring>& drives, std::wstring& present)
{
    drives = facts.drives;
    present = facts.present;
    return facts.hasDrives;
}
std::optional<u64> freeBytes(const std::wstring& drive)
{
    const auto row = facts.free.find(drive);
    return row != facts.free.end() ? std::optional(row->second) : std::nullopt;
}
std::wstring fileSystem(const std::wstring& drive)
{
    return facts.types[drive];
}
Processor processor()
{
    return facts.processor;
}
unsigned processorCount()
{
    return facts.processors;
}
std::wstring subsystemCommandLine()
{
    ++facts.commandLineReads;
    return facts.commandLine;
}

} // namespace zmu::machine

namespace {

constexpr int size = 256;
constexpr u64 megabyte = 0x100000;

/// "caption=datum", behind a "!" if the source says that it failed.
template <class Call>
std::wstring pairOf(Call call)
{
    wchar_t caption[size] = L"?";
    wchar_t datum[size] = L"?";
    const bool succeeded = call(caption, datum);
    return (succeeded ? L"" : L"!") + std::wstring(caption) + L'=' + datum;
}

std::wstring pairAt(ZarnSysInfoEnvOp& source, int position)
{
    return pairOf([&](wchar_t* caption, wchar_t* datum) {
        return source.getDataPair(position, caption, datum, size, size);
    });
}

std::wstring next(ZarnSysInfoEnvOp& source)
{
    return pairOf([&](wchar_t* caption, wchar_t* datum) {
        return source.getNextDataPair(caption, datum, size, size);
    });
}

std::wstring first(ZarnSysInfoEnvOp& source)
{
    return pairOf([&](wchar_t* caption, wchar_t* datum) {
        return source.getFirstDataPair(caption, datum, size, size);
    });
}

/// A pair of the facts as they are.
std::wstring pairNow(int position)
{
    ZarnSysInfoEnvOp source;
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SUCCESS});
    const std::wstring pair = pairAt(source, position);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SUCCESS}) << position;
    return pair;
}

/// The pairs from position 15 on, after a whole walk up to there.
std::vector<std::wstring> drivesAndRest(ZarnSysInfoEnvOp& source, int count)
{
    EXPECT_EQ(first(source), L"Platform=Windows 7");
    for (int position = 1; position < 15; ++position)
        EXPECT_NE(next(source).front(), L'!') << position;
    std::vector<std::wstring> pairs;
    while (count-- > 0)
        pairs.push_back(next(source));
    return pairs;
}

using Pairs = std::vector<std::wstring>;

class OperatingEnvironment : public testing::Test {
  protected:
    void SetUp() override { facts = {}; }
};

// ---- Drives --------------------------------------------------------------------------------------------

TEST_F(OperatingEnvironment, EachFixedDriveInItsTurn)
{
    facts.drives = {L"C:", L"/mnt/my data"};
    facts.free = {{L"C:", 5 * megabyte + 1}};
    facts.types = {{L"/mnt/my data", L"ext4"}};
    facts.processors = 4;
    ZarnSysInfoEnvOp source;
    EXPECT_EQ(drivesAndRest(source, 7),
              (Pairs{L"Available Space on Drive C:=5 MB", L"Partition Type=Unknown",
                     L"Available Space on Drive /mnt/my data=Unknown",
                     L"/mnt/my data Partition Type=ext4", L"Processor Information=Unknown",
                     L"Number of Processors=4", L"!?=?"}));
    // Another first pair does not rewind.
    EXPECT_EQ(first(source), L"Platform=Windows 7");
    EXPECT_EQ(next(source), L"!?=?"); // 21
    EXPECT_EQ(next(source), L"!?=?"); // 22, of a machine without the heaps
}

TEST_F(OperatingEnvironment, NoFixedDriveAsksTheLastOne)
{
    facts.present = L"Z:";
    facts.types = {{L"Z:", L"CDFS"}};
    ZarnSysInfoEnvOp source;
    EXPECT_EQ(drivesAndRest(source, 3),
              (Pairs{L"Available Space on Drive Z:=Unknown", L"Z: Partition Type=CDFS",
                     L"Processor Information=Unknown"}));
}

TEST_F(OperatingEnvironment, DrivesThatCannotBeListedEndTheWalk)
{
    facts.present = L"A:";
    facts.drives = {L"C:"};
    facts.hasDrives = false;
    facts.processors = 4;
    ZarnSysInfoEnvOp source;
    EXPECT_EQ(drivesAndRest(source, 4),
              (Pairs{L"!Available Space on Drive A:=Unknown", L"!Partition Type=Unknown",
                     L"!Processor Information=Unknown", L"!Number of Processors=Unknown"}));
    EXPECT_EQ(pairAt(source, 0), L"!Platform=Windows 7");
}

TEST_F(OperatingEnvironment, AWalkThatStaysKeepsItsDrive)
{
    facts.drives = {L"C:", L"D:"};
    ZarnSysInfoEnvOp source;
    drivesAndRest(source, 1);
    source.setShouldUpdateCurrentPosition(false);
    EXPECT_EQ(next(source), L"Partition Type=Unknown");
    source.setShouldUpdateCurrentPosition(true);
    EXPECT_EQ(next(source), L"Partition Type=Unknown");
    EXPECT_EQ(next(source), L"Available Space on Drive D:=Unknown");
}

// ---- Version and memory ----------------------------------------------------------------------------------

TEST_F(OperatingEnvironment, PlatformNames)
{
    const struct {
        DWORD platform, major, minor;
        u8 productType;
        machine::Edition edition;
        const wchar_t* name;
    } cases[] = {{2, 5, 0, 1, {}, L"Windows"},
                 {2, 5, 1, 3, {}, L"Windows XP"},
                 {2, 5, 2, 1, {true, true}, L"Windows XP Professional x64 Edition"},
                 {2, 5, 2, 1, {false, false}, L"Windows Server 2003"},
                 {2, 5, 2, 3, {true, false}, L"Windows Server 2003"},
                 {2, 5, 2, 3, {true, true}, L"Windows Server 2003 R2"},
                 {2, 6, 0, 1, {}, L"Windows Vista"},
                 {2, 6, 0, 2, {}, L"Windows Server 2008"},
                 {2, 6, 1, 3, {}, L"Windows Server 2008 R2"},
                 {2, 6, 1, 1, {}, L"Windows 7"},
                 {2, 10, 0, 1, {}, L"Windows"},
                 {1, 6, 1, 1, {}, L"Unknown"},
                 {machine::platformLinux, 6, 1, 1, {}, L"Linux"}};
    for (const auto& [platform, major, minor, productType, edition, name] : cases) {
        facts.version[0] = platform;
        facts.version[1] = major;
        facts.version[2] = minor;
        facts.productType = productType;
        facts.edition = edition;
        EXPECT_EQ(pairNow(0), std::wstring(L"Platform=") + name);
    }
}

TEST_F(OperatingEnvironment, VersionAndMemory)
{
    facts.version[3] = 0x0004099A;
    facts.memory[0] = 512 * megabyte;
    facts.memory[1] = 0xFFFFFFFFFFFFFFFF;
    facts.memory[2] = megabyte - 1;
    const auto rows = [](std::initializer_list<int> positions) {
        Pairs pairs;
        for (const int position : positions)
            pairs.push_back(pairNow(position));
        return pairs;
    };
    EXPECT_EQ(
        rows({1, 2, 3, 11, 12, 13, 14}),
        (Pairs{L"Platform Version=6.1", L"Platform Build Number=264602",
               L"Platform Information=None", L"Total Physical Memory=513 MB",
               L"Available Physical Memory=512 MB", L"Maximum Pagefile Size=17592186044415 MB",
               L"Available Space in Pagefile=0 MB"}));
    facts.version[0] = 1;
    facts.servicePack = L" A";
    EXPECT_EQ(rows({2, 3}), (Pairs{L"Platform Build Number=2458", L"Platform Information= A"}));
    facts.hasVersion = false;
    facts.hasMemory = false;
    EXPECT_EQ(rows({0, 1, 2, 3, 11, 12, 13, 14}),
              (Pairs{L"Platform=Unknown", L"Platform Version=Unknown",
                     L"Platform Build Number=Unknown", L"Platform Information=Unknown",
                     L"Total Physical Memory=1 MB", L"Available Physical Memory=0 MB",
                     L"Maximum Pagefile Size=Unknown", L"Available Space in Pagefile=Unknown"}));
}

// ---- Texts -----------------------------------------------------------------------------------------------

TEST_F(OperatingEnvironment, Hotfixes)
{
    EXPECT_EQ(pairNow(4), L"Hotfixes=None");
    facts.hotfixes = {{L"KB123456", 1}, {L"Q9", {}}, {L"KB234567", 0xFFFFFFFF}};
    EXPECT_EQ(pairNow(4), L"Hotfixes=KB123456(1), Q9, KB234567(-1)");
    facts.hasHotfixes = false;
    EXPECT_EQ(pairNow(4), L"Hotfixes=Unavailable");
    facts = {};
    facts.hotfixes.assign(3000, {L"123456", {}});
    std::wstring datum(30000, L'#');
    EXPECT_TRUE(ZarnSysInfoEnvOp().getDataPair(4, nullptr, datum.data(), 0, 30000));
    EXPECT_EQ(datum.find(L'\0'), 20239u);
}

TEST_F(OperatingEnvironment, NamesDirectoriesAndLanguage)
{
    qputenv("USERDOMAIN", "");
    const Pairs missing{L"Computer Name=Unknown", L"Domain=Unknown",
                        L"System Language ID=Unknown (5)", L"Windows Directory=Unknown (5)",
                        L"System Directory=Unknown (5)"};
    facts.name = L"host";
    facts.domain = L"EXAMPLE";
    facts.language = 0x41F;
    facts.directory = L"C:\\x";
    const Pairs known{L"Computer Name=host", L"Domain=EXAMPLE", L"System Language ID=0x041F",
                      L"Windows Directory=C:\\x", L"System Directory=C:\\x"};
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(pairNow(5 + i), known[std::size_t(i)]);
    facts = {};
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(pairNow(5 + i), missing[std::size_t(i)]);
}

TEST_F(OperatingEnvironment, Processors)
{
    using Text = std::optional<std::wstring>;
    const struct {
        Text vendor, identifier;
        DWORD megahertz;
        const wchar_t* datum;
    } cases[] = {
        {L"GenuineIntel", L"Intel64 Family 6", 2400, L"GenuineIntel Intel64 Family 6 ~2400 MHz"},
        {L"Blank ", L"Model", 1, L"Blank Model ~1 MHz"},
        {L"Vendor", L"Model", 0, L"Vendor Model ~"},
        {L"Vendor", {}, 2400, L"Vendor"},
        {L"Blank ", {}, 2400, L"Blank"},
        {L"", L"Model", 5, L" Model ~5 MHz"},
        {{}, L"Model", 2400, L"Unknown"}};
    for (const auto& [vendor, identifier, megahertz, datum] : cases) {
        facts.processor = {vendor, identifier, megahertz};
        EXPECT_EQ(pairNow(17), std::wstring(L"Processor Information=") + datum);
    }
    EXPECT_EQ(pairNow(18), L"Number of Processors=Unknown");
}

// ---- What a walk does not reach --------------------------------------------------------------------------

TEST_F(OperatingEnvironment, HeapsOfTheCommandLine)
{
    const auto heaps = [](ZarnSysInfoEnvOp& source) {
        return pairAt(source, 22) + L' ' + pairAt(source, 23) + L' ' + pairAt(source, 24);
    };
    const std::wstring none = L"!?=? !?=? !?=?";
    const auto shown = [](const wchar_t* system, const wchar_t* desktop, const wchar_t* other) {
        return std::wstring(L"System Wide Max Heap Size=") + system +
               L" KB Per Desktop Heap Size=" + desktop + L" KB Non-Interactive Heap Size=" + other +
               L" KB";
    };
    const std::pair<const wchar_t*, std::wstring> cases[] = {
        {L"csrss.exe ObjectDirectory=\\Windows SharedSection=1024,20480,768 Windows=On",
         shown(L"1024", L"20480", L"768")},
        {L"  sharedsection=1,2,3,4 SharedSection=5,6,7", shown(L"1", L"2", L"3")},
        {L"SharedSection=-1,99999999999,12x", shown(L"-1", L"2147483647", L"12")},
        {L"SharedSection=1024,3072", none},
        {L"SharedSection=1024,,3072,", none},
        {L"SharedSection= 1,2,3", none},
        {L"MySharedSection=1,2,3 SharedSection", none},
        {L"", none}};
    for (const auto& [commandLine, result] : cases) {
        facts.commandLine = commandLine;
        facts.commandLineReads = 0;
        ZarnSysInfoEnvOp source;
        EXPECT_EQ(heaps(source), result);
        EXPECT_EQ(facts.commandLineReads, result == none ? 3 : 1);
    }
    ZarnSysInfoEnvOp source;
    for (const int position : {-1, 19, 20, 21, 25, 1000})
        EXPECT_EQ(pairAt(source, position), L"!?=?") << position;
}

} // namespace
