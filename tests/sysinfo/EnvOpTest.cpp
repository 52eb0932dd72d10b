// The operating environment of machines that are made up here: what becomes of each fact, and of
// each that is missing.
#include <zmu/platform/Machine.h>
#include <zmu/platform/Win32.h>
#include <zmu/sysinfo/ZarnSysInfoEnvOp.h>

#include <gtest/gtest.h>

#include <QDir>

#include <map>
#include <string>
#include <vector>

using namespace zmu;

namespace {

using Texts = std::vector<std::wstring>;

struct Facts {
    bool hasMemory = true, hasVersion = true, hasHotfixes = true, hasDrives = true;
    MEMORYSTATUSEX memory{};
    OSVERSIONINFOEXW version{};
    std::wstring name, domain, directory, present, commandLine;
    machine::Edition edition;
    std::vector<machine::Hotfix> hotfixes;
    unsigned language = 0, processors = 0;
    Texts drives;
    std::map<std::wstring, u64> free;
    std::map<std::wstring, std::wstring> types;
    machine::Processor processor;
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

// In the place of the platform's.
namespace zmu::machine {

// clang-format off
bool readMemoryStatus(MEMORYSTATUSEX& status) noexcept { status = facts.memory; return facts.hasMemory; }
bool readVersion(OSVERSIONINFOEXW& version) noexcept { version = facts.version; return failing(facts.hasVersion); }
bool readHotfixes(std::vector<Hotfix>& hotfixes) { hotfixes = facts.hotfixes; return facts.hasHotfixes; }
bool listFixedDrives(Texts& drives, std::wstring& present) { drives = facts.drives; present = facts.present; return facts.hasDrives; }
std::wstring subsystemCommandLine() { return facts.commandLine; }
std::optional<u64> freeBytes(const std::wstring& drive) { return facts.free.count(drive) ? std::optional(facts.free[drive]) : std::nullopt; }
std::wstring fileSystem(const std::wstring& drive) { return facts.types[drive]; }
std::wstring computerName() { return failing(facts.name); }
std::wstring accountDomain() { return failing(facts.domain); }
std::wstring windowsDirectory() { return failing(facts.directory); }
std::wstring systemDirectory() { return failing(facts.directory); }
unsigned languageID() { return failing(facts.language); }
unsigned processorCount() { return facts.processors; }
Processor processor() { return facts.processor; }
Edition edition() { return facts.edition; }
// clang-format on

} // namespace zmu::machine

namespace {

constexpr u64 megabyte = 0x100000;
constexpr int onward = -100;

/// "caption=datum", behind a "!" if the source says that it failed; "-" for no pair at all.
std::wstring pairAt(ZarnSysInfoEnvOp& source, int position)
{
    wchar_t caption[256] = L"";
    wchar_t datum[256] = L"";
    const bool succeeded = position == onward
                               ? source.getNextDataPair(caption, datum, 256, 256)
                               : source.getDataPair(position, caption, datum, 256, 256);
    if (!succeeded && !*caption)
        return L"-";
    return (succeeded ? L"" : L"!") + std::wstring(caption) + L'=' + datum;
}

/// A pair of the facts as they are.
std::wstring pairNow(int position)
{
    ZarnSysInfoEnvOp source;
    return pairAt(source, position);
}

/// All pairs up to where there is none; of a walk that fails the first three after that.
std::wstring walk(ZarnSysInfoEnvOp& source)
{
    EXPECT_TRUE(source.getFirstDataPair(nullptr, nullptr, 0, 0));
    std::wstring pair = pairAt(source, 0);
    std::wstring pairs = pair;
    for (int failures = 0; pair != L"-" && failures < 3; failures += pair.front() == L'!') {
        pair = pairAt(source, onward);
        pairs += L'|' + pair;
    }
    return pairs;
}

class OperatingEnvironment : public testing::Test {
  protected:
    void SetUp() override
    {
        facts = {};
        qputenv("USERDOMAIN", "");
    }
};

// ---- Walks -----------------------------------------------------------------------------------------------

TEST_F(OperatingEnvironment, AllFactsWithEachDriveInItsTurn)
{
    facts.memory.dwLength = sizeof facts.memory;
    facts.memory.ullTotalPhys = 512 * megabyte;
    facts.memory.ullTotalPageFile = ~u64{0};
    facts.memory.ullAvailPageFile = megabyte - 1;
    facts.version.dwPlatformId = 1;
    facts.version.dwMajorVersion = 4;
    facts.version.dwBuildNumber = 0x4099A;
    facts.hotfixes = {{L"KB123456", 1}, {L"Q9", {}}, {L"KB234567", 0xFFFFFFFF}};
    facts.name = L"host";
    facts.domain = L"EXAMPLE";
    facts.directory = L"C:\\x";
    facts.language = 0x41F;
    facts.drives = {L"C:", L"/my data"};
    facts.free = {{L"C:", 5 * megabyte + 1}};
    facts.types = {{L"/my data", L"ext4"}};
    facts.processor = {L"Vendor ", L"Model", 2400};
    facts.processors = 4;
    ZarnSysInfoEnvOp source;
    source.setShouldUpdateCurrentPosition(false);
    EXPECT_EQ(pairAt(source, onward), pairAt(source, onward));
    source.setShouldUpdateCurrentPosition(true);
    EXPECT_EQ(walk(source),
              L"Platform=Unknown|Platform Version=4.0|Platform Build Number=2458"
              L"|Platform Information=None|Hotfixes=KB123456(1), Q9, KB234567(-1)"
              L"|Computer Name=host|Domain=EXAMPLE|System Language ID=0x041F"
              L"|Windows Directory=C:\\x|System Directory=C:\\x|TEMP Directory=" +
                  QDir::tempPath().toStdWString() +
                  L"|Total Physical Memory=513 MB|Available Physical Memory=512 MB"
                  L"|Maximum Pagefile Size=17592186044415 MB|Available Space in Pagefile=0 MB"
                  L"|Available Space on Drive C:=5 MB|Partition Type=Unknown"
                  L"|Available Space on Drive /my data=Unknown|/my data Partition Type=ext4"
                  L"|Processor Information=Vendor Model ~2400 MHz|Number of Processors=4|-");
    // Another first pair does not rewind: 20 was next, and is passed.
    facts.commandLine = L"SharedSection=1,2,3";
    EXPECT_TRUE(source.getFirstDataPair(nullptr, nullptr, 0, 0));
    EXPECT_EQ(pairAt(source, onward), L"-");
    EXPECT_EQ(pairAt(source, onward), L"System Wide Max Heap Size=1 KB");
    facts.commandLine.clear(); // which has been read
    EXPECT_EQ(pairAt(source, onward), L"Per Desktop Heap Size=2 KB");
}

TEST_F(OperatingEnvironment, NoFactsAndNoFixedDrive)
{
    facts.hasMemory = facts.hasVersion = facts.hasHotfixes = false;
    facts.present = L"Z:"; // is asked instead
    facts.types = {{L"Z:", L"CDFS"}};
    ZarnSysInfoEnvOp source;
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SUCCESS});
    const std::wstring expected =
        L"Platform=Unknown|Platform Version=Unknown|Platform Build Number=Unknown"
        L"|Platform Information=Unknown|Hotfixes=Unavailable|Computer Name=Unknown|Domain=Unknown"
        L"|System Language ID=Unknown (5)|Windows Directory=Unknown (5)"
        L"|System Directory=Unknown (5)|TEMP Directory=" +
        QDir::tempPath().toStdWString() +
        L"|Total Physical Memory=1 MB|Available Physical Memory=0 MB"
        L"|Maximum Pagefile Size=Unknown|Available Space in Pagefile=Unknown";
    EXPECT_EQ(walk(source), expected +
                                L"|Available Space on Drive Z:=Unknown|Z: Partition Type=CDFS"
                                L"|Processor Information=Unknown|Number of Processors=Unknown|-");
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SUCCESS});

    facts.hasDrives = false; // which ends a walk: from there on everything fails
    facts.drives = {L"C:"};
    ZarnSysInfoEnvOp failing;
    EXPECT_EQ(walk(failing), expected + L"|!Available Space on Drive Z:=Unknown"
                                        L"|!Z: Partition Type=CDFS|!Processor Information=Unknown");
}

// ---- Single items ----------------------------------------------------------------------------------------

TEST_F(OperatingEnvironment, PlatformNames)
{
    const struct {
        DWORD numbers[4]; ///< Platform, major, minor, product type.
        machine::Edition edition;
        const wchar_t* pair;
    } cases[] = {{{2, 5, 0, 1}, {true, true}, L"Platform=Windows"},
                 {{2, 5, 1, 3}, {true, true}, L"Platform=Windows XP"},
                 {{2, 5, 2, 1}, {true, true}, L"Platform=Windows XP Professional x64 Edition"},
                 {{2, 5, 2, 1}, {false, false}, L"Platform=Windows Server 2003"},
                 {{2, 5, 2, 3}, {true, false}, L"Platform=Windows Server 2003"},
                 {{2, 5, 2, 3}, {true, true}, L"Platform=Windows Server 2003 R2"},
                 {{2, 6, 0, 1}, {}, L"Platform=Windows Vista"},
                 {{2, 6, 0, 2}, {}, L"Platform=Windows Server 2008"},
                 {{2, 6, 1, 3}, {}, L"Platform=Windows Server 2008 R2"},
                 {{2, 6, 1, 1}, {}, L"Platform=Windows 7"},
                 {{2, 10, 0, 1}, {}, L"Platform=Windows"},
                 {{1, 6, 1, 1}, {}, L"Platform=Unknown"},
                 {{machine::platformLinux, 6, 1, 1}, {}, L"Platform=Linux"}};
    for (const auto& [numbers, edition, pair] : cases) {
        facts.version.dwPlatformId = numbers[0];
        facts.version.dwMajorVersion = numbers[1];
        facts.version.dwMinorVersion = numbers[2];
        facts.version.wProductType = static_cast<u8>(numbers[3]);
        facts.edition = edition;
        EXPECT_EQ(pairNow(0), pair);
    }
}

TEST_F(OperatingEnvironment, HotfixesAndServicePack)
{
    facts.version.szCSDVersion[0] = L'A';
    facts.version.dwBuildNumber = 0x4099A;
    EXPECT_EQ(pairNow(2), L"Platform Build Number=264602");
    EXPECT_EQ(pairNow(3), L"Platform Information=A");
    EXPECT_EQ(pairNow(4), L"Hotfixes=None");
    facts.hotfixes.assign(3000, {L"12345678", {}});
    std::wstring datum(30000, L'#');
    EXPECT_TRUE(ZarnSysInfoEnvOp().getDataPair(4, nullptr, datum.data(), 0, 30000));
    EXPECT_EQ(datum.find(L'\0'), 20239u);
}

TEST_F(OperatingEnvironment, Processors)
{
    const std::pair<machine::Processor, const wchar_t*> cases[] = {
        {{L"Vendor", L"Model", 1}, L"Vendor Model ~1 MHz"},
        {{L"Vendor", L"Model", 0}, L"Vendor Model ~"},
        {{L"Vendor", {}, 2400}, L"Vendor"},
        {{L"", L"Model", 5}, L" Model ~5 MHz"},
        {{{}, L"Model", 2400}, L"Unknown"}};
    for (const auto& [processor, datum] : cases) {
        facts.processor = processor;
        EXPECT_EQ(pairNow(17), std::wstring(L"Processor Information=") + datum);
    }
}

TEST_F(OperatingEnvironment, HeapsOfTheCommandLine)
{
    const std::wstring none = L"-|-|-";
    const std::pair<const wchar_t*, std::wstring> cases[] = {
        {L"csrss.exe ObjectDirectory=\\Windows SharedSection=1024,20480,768 Windows=On",
         L"System Wide Max Heap Size=1024 KB|Per Desktop Heap Size=20480 KB"
         L"|Non-Interactive Heap Size=768 KB"},
        {L"  sharedsection=-1,99999999999,3x,4 SharedSection=5,6,7",
         L"System Wide Max Heap Size=-1 KB|Per Desktop Heap Size=2147483647 KB"
         L"|Non-Interactive Heap Size=3 KB"},
        {L"SharedSection=1024,3072", none},
        {L"SharedSection=1024,,3072,", none},
        {L"SharedSection= 1,2,3", none},
        {L"MySharedSection=1,2,3 SharedSection", none},
        {L"", none}};
    for (const auto& [commandLine, pairs] : cases) {
        facts.commandLine = commandLine;
        ZarnSysInfoEnvOp source;
        EXPECT_EQ(pairAt(source, 22) + L'|' + pairAt(source, 23) + L'|' + pairAt(source, 24),
                  pairs);
    }
    for (const int position : {-1, 19, 20, 21, 25})
        EXPECT_EQ(pairNow(position), L"-");
}

} // namespace
