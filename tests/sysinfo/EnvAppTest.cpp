// The application environment of lists and files that are made up here, hostile ones among them.
#include <zmu/platform/InputFile.h>
#include <zmu/platform/Machine.h>
#include <zmu/platform/ModuleFacts.h>
#include <zmu/platform/ModuleList.h>
#include <zmu/sysinfo/ZarnSysInfoEnvApp.h>
#include <zmu/sysinfo/internal/ModuleTable.h>

#include <gtest/gtest.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>

#if !defined(_WIN32)
#include <link.h>
#endif

#include <cstring>
#include <random>
#include <string>
#include <vector>

using namespace zmu;

namespace {

std::vector<modules::Listed> listed;
std::wstring systemFolder, found, kernel;

} // namespace

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

#if !defined(_WIN32)

std::wstring traced;

int _waccess(const wchar_t* path, int)
{
    return QFile::exists(QString::fromWCharArray(path)) ? 0 : -1;
}

DWORD GetModuleFileNameW(HMODULE, wchar_t*, DWORD)
{
    return 0;
}

void OutputDebugStringW(const wchar_t* text)
{
    traced += text;
}

#endif

namespace {

constexpr int onward = -100;

QString pairAt(ZarnSysInfoEnvApp& source, int position)
{
    wchar_t caption[512] = L"";
    wchar_t datum[512] = L"";
    const bool succeeded = position == onward
                               ? source.getNextDataPair(caption, datum, 512, 512)
                               : source.getDataPair(position, caption, datum, 512, 512);
    return succeeded ? QString::fromWCharArray(caption) + '=' + QString::fromWCharArray(datum)
                     : "-";
}

/// All pairs of a module, or those that are not "Unknown".
QString module(int number, bool isWhole = true)
{
    ZarnSysInfoEnvApp source;
    QStringList pairs;
    for (int item = 1; item <= 7; ++item) {
        const QString pair = pairAt(source, number + item);
        if (isWhole || !pair.endsWith("=Unknown"))
            pairs += pair;
    }
    return pairs.join('|');
}

class ApplicationEnvironment : public testing::Test {
  protected:
    void SetUp() override
    {
        systemFolder = m_folder.path().toStdWString();
        found.clear();
        kernel.clear();
        listed = {{L"one.so", modules::Home::System},
                  {nullptr, modules::Home::System},
                  {L"sub/three.ko", modules::Home::Drivers}};
    }
    void write(const char* name, const QByteArray& bytes)
    {
        QFile file(m_folder.filePath(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() &&
                    file.flush());
        file.setFileTime(QDateTime({2024, 2, 29}, {23, 30}, Qt::UTC), QFile::FileModificationTime);
    }
    QString folder() const { return m_folder.path() + QDir::separator(); }

  private:
    QTemporaryDir m_folder;
};

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
#if !defined(_WIN32) // where a file is as large as that without taking the room
    QFile::resize(folder() + "one.so", 0xFFFFFFFF);
    EXPECT_TRUE(module(16).endsWith("one.so Size=Unknown"));
#endif

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
#if !defined(_WIN32)
    traced.clear();
    EXPECT_EQ(parse("kernel\n\nsytem a.so"), "1");
    EXPECT_TRUE(traced.starts_with(L"list, line 3: expected program, system or drivers"));
    traced.clear();
    EXPECT_EQ(parse("kernel\nsystem " + std::string(65536, 'a')), "1");
    EXPECT_TRUE(traced.starts_with(L"list, line 2: a list ends at 64 KiB")) << traced.size();
    std::string rows;
    for (int i = 0; i < 1000; ++i)
        rows += "kernel\n";
    traced.clear();
    EXPECT_EQ(parse(rows).count('1'), 1000);
    EXPECT_EQ(traced, L"");
    EXPECT_EQ(parse(rows + "kernel").count('1'), 1000);
    EXPECT_TRUE(traced.starts_with(L"list, line 1001: "));
#endif
    EXPECT_EQ(parseModuleList(std::string(20000, '\n') + "kernel", {}).size(), 1u);
}

// ---- Hostile files ---------------------------------------------------------------------------------------

#if !defined(_WIN32)

/// The least that a library with a soname and a build ID consists of.
struct Library {
    ElfW(Ehdr) header{};
    ElfW(Phdr) segments[3]{};
    ElfW(Dyn) entries[4]{};
    char names[32] = "\0libone.so.4.2";
    struct {
        ElfW(Nhdr) header{4, 4, NT_GNU_BUILD_ID};
        char name[4] = {'G', 'N', 'U', '\0'};
        unsigned char id[4] = {0x0B, 0xAD, 0xF0, 0x0D};
    } note{};

    Library()
    {
        constexpr ElfW(Addr) address = 0x10000;
        const auto place = [this](const void* part) {
            return static_cast<ElfW(Off)>(static_cast<const char*>(part) -
                                          reinterpret_cast<const char*>(this));
        };
        std::memcpy(header.e_ident, ELFMAG, SELFMAG);
        header.e_ident[EI_CLASS] = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;
        header.e_ident[EI_DATA] = ELFDATA2LSB;
        header.e_phoff = place(segments);
        header.e_phnum = 3;
        header.e_phentsize = sizeof *segments;
        const auto describe = [&](ElfW(Phdr) & segment, unsigned type, const void* part,
                                  std::size_t size) {
            segment.p_type = type;
            segment.p_offset = place(part);
            segment.p_filesz = size;
            segment.p_vaddr = address + segment.p_offset;
            segment.p_align = 4;
        };
        describe(segments[0], PT_LOAD, this, sizeof *this);
        describe(segments[1], PT_DYNAMIC, entries, sizeof entries);
        describe(segments[2], PT_NOTE, &note, sizeof note);
        entries[0] = {DT_SONAME, {1}};
        entries[1] = {DT_STRTAB, {address + place(names)}};
        entries[2] = {DT_STRSZ, {sizeof names}};
    }
    QByteArray bytes() const { return {reinterpret_cast<const char*>(this), sizeof *this}; }
};

TEST_F(ApplicationEnvironment, WhatALibraryCarries)
{
    const QByteArray whole = Library().bytes();
    const auto shown = [&](const QByteArray& bytes) {
        write("one.so", bytes);
        return module(16, false).remove(QRegularExpression("\\|one.so Date=.*"));
    };
    EXPECT_EQ(shown(whole), "one.so File Version=4.2|one.so Version=4.2|one.so Checksum=0badf00d");
    // The file's own name goes on where the soname ends.
    write("libone.so.4.2.19", whole);
    listed[0].file = L"libone.so.4.2.19";
    EXPECT_TRUE(module(16).startsWith("libone.so.4.2.19 File Version=4.2.19|"
                                      "libone.so.4.2.19 Version=4.2|"));
    listed[0].file = L"one.so";

    const struct {
        void (*disturb)(Library&);
        bool hasVersion, hasId;
    } cases[] = {
        {[](Library& it) { it.header.e_ident[EI_CLASS] ^= 3; }, false, false},
        {[](Library& it) { it.header.e_phnum = 0xFFFF; }, false, false},
        {[](Library& it) { it.header.e_phoff = ~ElfW(Off){0}; }, false, false},
        {[](Library& it) { it.segments[0].p_filesz = 8; }, false, true},
        {[](Library& it) { it.segments[0].p_offset = ~ElfW(Off){0} - 8; }, false, true},
        {[](Library& it) { it.segments[1].p_filesz = ~ElfW(Xword){0}; }, false, true},
        {[](Library& it) { it.segments[1].p_offset = 1 << 30; }, false, true},
        {[](Library& it) { it.segments[2].p_filesz = ~ElfW(Xword){0}; }, true, false},
        {[](Library& it) { it.entries[0].d_un.d_val = 32; }, false, true},
        {[](Library& it) { it.entries[0].d_tag = DT_NULL; }, false, true},
        {[](Library& it) { it.entries[2].d_un.d_val = ~ElfW(Xword){0}; }, false, true},
        {[](Library& it) { std::memset(it.names + 1, '.', sizeof it.names - 1); }, false, true},
        {[](Library& it) { std::strcpy(it.names + 1, "libone.so.<b>"); }, false, true},
        {[](Library& it) { it.note.header.n_namesz = 0xFFFFFFFF; }, true, false},
        {[](Library& it) { it.note.header.n_descsz = 0xFFFFFFFD; }, true, false},
        {[](Library& it) { it.note.header.n_descsz = 0; }, true, false}};
    for (const auto& test : cases) {
        Library library;
        test.disturb(library);
        const QString facts = shown(library.bytes());
        EXPECT_EQ(facts.contains("Version=4.2"), test.hasVersion) << &test - cases;
        EXPECT_EQ(facts.contains("Checksum=0badf00d"), test.hasId) << &test - cases;
        EXPECT_FALSE(facts.contains('<'));
    }
    // Whatever stands anywhere, and wherever it ends.
    std::minstd_rand random(7);
    for (qsizetype i = 0; i < whole.size(); i += 3) {
        QByteArray bytes = whole;
        bytes[i] = static_cast<char>(random());
        EXPECT_NE(shown(bytes), "-");
        EXPECT_NE(shown(whole.left(i)), "-");
    }
}

#else

TEST_F(ApplicationEnvironment, WhatAnImageCarries)
{
    QByteArray image(256, '\0');
    const auto put = [](QByteArray& bytes, qsizetype at, quint32 number) {
        std::memcpy(bytes.data() + at, &number, sizeof number);
    };
    put(image, 60, 100);
    put(image, 100, IMAGE_NT_SIGNATURE);
    put(image, 108, 0x4B5C6D7E);
    const auto shown = [&](const QByteArray& bytes) {
        write("one.so", bytes);
        return module(16, false).section("|one.so Date", 0, 0);
    };
    EXPECT_EQ(shown(image), "one.so Checksum=0x00000000|one.so Timestamp=0x4B5C6D7E");
    EXPECT_EQ(shown(image.left(191)), "one.so Timestamp=0x4B5C6D7E");
    for (const quint32 place : {0U, 253U, 0xFFFFFFFFU, 0x80000000U}) {
        QByteArray bytes = image;
        put(bytes, 60, place);
        EXPECT_FALSE(shown(bytes).contains("0x"));
    }
}

#endif

} // namespace
