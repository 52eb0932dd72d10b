// The application environment of lists and files that are made up here.
#include "EnvApp.h"

#include <Traces.h>

#include <zmu/platform/Machine.h>
#include <zmu/sysinfo/internal/ModuleTable.h>

#include <QRegularExpression>

using namespace zmu;
using namespace zmu_test;

// In the place of the platform's.
namespace zmu {

namespace machine {
std::wstring systemDirectory()
{
    return systemFolder;
}
} // namespace machine

namespace modules {
// clang-format off
struct Finder::Folders {};
Finder::Finder() = default;
Finder::~Finder() = default;
std::wstring Finder::find(const wchar_t* file) { return found.empty() ? found : found + file; }
std::span<const Listed> builtInList() { return listed; }
Listed kernelRow() { return {L"kernel.img", Home::System}; }
std::wstring driverDirectory() { return systemFolder + L"/drivers"; }
std::wstring otherDriverFile(const std::wstring&) { return {}; }
std::wstring kernelName() { return kernel; }
std::wstring fileName(const std::wstring& module) { return module == L"x.dll" ? L"x.so" : module == L".exe" ? L"" : module; }
// clang-format on
} // namespace modules

} // namespace zmu

namespace {

TEST_F(ApplicationEnvironment, FilesAndWhatIsMissing)
{
    write("one.so", QByteArray(1234, 'x'));
    const QString unknown = "NAME File Version=Unknown|NAME Version=Unknown|NAME Checksum=Unknown|"
                            "NAME Timestamp=Unknown|NAME Date=Unknown|NAME Location=PLACE|"
                            "NAME Size=Unknown";
    const auto missing = [&](const char* name, const QString& place) {
        return QString(unknown).replace("NAME", name).replace("PLACE", place);
    };
    QString one = missing("one.so", folder());
    one.replace("Date=Unknown", "Date=02/29/24");
    EXPECT_TRUE(module(16).startsWith(one.chopped(7))) << qPrintable(module(16));
    EXPECT_TRUE(module(16).contains(QRegularExpression("Size=1\\W?234 bytes$")));
    EXPECT_EQ(module(32), missing("kernel.img", folder()));
    EXPECT_EQ(module(48),
              missing("three.ko", folder().chopped(1) + "/drivers" + QDir::separator() + "sub/"));
    EXPECT_EQ(module(64), "-|-|-|-|-|-|-");
    if (!isWindows()) { // where a file of that size takes its room
        QFile::resize(folder() + "one.so", 0xFFFFFFFF);
        EXPECT_TRUE(module(16).endsWith("one.so Size=Unknown"));
    }

    // A kernel that tells its name is not looked for.
    kernel = L"vmlinuz-6.1";
    write("vmlinuz-6.1", "x");
    EXPECT_EQ(module(32), missing("vmlinuz-6.1", "Unknown"));

    // Elsewhere: its place there.
    found = systemFolder + L"/else/";
    EXPECT_TRUE(module(48).contains("three.ko Location=" + folder().chopped(1) + "/else/|"));
}

TEST_F(ApplicationEnvironment, WalksAndSinglePairs)
{
    write("one.so", "1");
    ZarnSysInfoEnvApp source;
    EXPECT_EQ(pairAt(source, 17 + 5), "one.so Location=" + folder());
    for (const int position : {-16, -1, 0, 15, 16, 24, 31, 64, 65, 0x7FFFFFFF})
        EXPECT_EQ(pairAt(source, position), "-") << position;

    wchar_t datum[512];
    for (int walk = 0; walk < 2; ++walk) {
        EXPECT_TRUE(source.getFirstDataPair(nullptr, datum, 0, 512));
        for (int pair = 1; pair < 21; ++pair)
            EXPECT_TRUE(pairAt(source, onward)
                            .startsWith(pair < 7    ? "one.so "
                                        : pair < 14 ? "kernel.img "
                                                    : "three.ko "))
                << pair;
        EXPECT_EQ(pairAt(source, onward), "-");
        EXPECT_EQ(pairAt(source, onward), "-");
    }
    // The module that is held is trusted to be the one that is meant.
    EXPECT_TRUE(pairAt(source, 17).startsWith("three.ko File Version="));

    EXPECT_TRUE(source.getFirstDataPair(nullptr, datum, 0, 512));
    source.setShouldUpdateCurrentPosition(false);
    EXPECT_EQ(pairAt(source, onward), pairAt(source, onward));
}

TEST_F(ApplicationEnvironment, ListsOfFiles)
{
    const auto parse = [](std::string_view text) {
        QStringList rows;
        for (const ModuleTable::Row& row : parseModuleList(text, L"list"))
            rows += QString::number(static_cast<int>(row.home)) + QString::fromStdWString(row.file);
        return rows.join('|');
    };
    EXPECT_EQ(parse("\xEF\xBB\xBF# modules\r\n\n program  a b.so \r\nsystem\t/x/\u00fc.so # why\n"
                    "drivers c.ko\nkernel"),
              QString::fromUtf8("0a b.so|1/x/\u00fc.so|2c.ko|1"));
    EXPECT_EQ(parse("program x.dll\nprogram x.dll/x.dll\nsystem //h/x.dll"),
              "0x.so|0x.dll/x.so|1//h/x.dll");
    EXPECT_EQ(parse("program\nkernel x\nProgram a\nprograma\n=\n\xFF\nsystem .exe\n"), "");
    EXPECT_EQ(parse(std::string("program a\0b", 11)), "");
    const auto traced = [&](const std::string& text, int rowsCount) {
        Traces traces;
        EXPECT_EQ(parse(text).count('1'), rowsCount);
        return traces.take();
    };
    EXPECT_TRUE(traced("kernel\n\nsytem a.so", 1)
                    .startsWith("list, line 3: expected program, system or drivers"));
    EXPECT_TRUE(traced("kernel\nsystem " + std::string(65536, 'a'), 1)
                    .startsWith("list, line 2: a list ends at 64 KiB"));
    std::string rows;
    for (int i = 0; i < 1000; ++i)
        rows += "kernel\n";
    EXPECT_EQ(traced(rows, 1000), "");
    EXPECT_TRUE(traced(rows + "kernel", 1000).startsWith("list, line 1001: "));
    EXPECT_EQ(parseModuleList(std::string(20000, '\n') + "kernel", {}).size(), 1u);
}

} // namespace
