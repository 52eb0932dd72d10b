// Version data of real modules, and of files that are none.
#include <Support.h>

#include <zmu/localize/ZarnLocalizeHelpers.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <string>

#if !defined(_WIN32)
#include <link.h>
#include <sys/stat.h>
#endif

using Helpers = ZarnLocalizeHelpers;

namespace {

constexpr wchar_t info[] = L"StringFileInfo";
constexpr wchar_t translation[] = L"\\VarFileInfo\\Translation";

/// Makes what is protected callable.
struct Opened : Helpers {
    using Helpers::extractModuleVerValue_;
    using Helpers::extractModuleVerValueSFI_;
};

/// A value, or "(none)". A failure must leave nothing in the output.
template <class Module>
std::wstring value(Module&& module, const wchar_t* name, const wchar_t* key = nullptr,
                   u64 capacity = 64)
{
    wchar_t text[65];
    std::wmemset(text, L'#', 65);
    if (Helpers::extractModuleVerValue(module, text, capacity, name, key, info, L'\\'))
        return text;
    EXPECT_EQ(text[0], L'\0');
    EXPECT_EQ(text[capacity], L'#');
    return L"(none)";
}

TEST(VersionData, HoldsTheNineValues)
{
    const HMODULE module = LoadLibraryW(L"versioned.dll");
    ASSERT_NE(module, nullptr);
    void* block = nullptr;
    ASSERT_TRUE(Helpers::extractModuleVerBlock(module, block));
#define ASK(NAME)                                                                                  \
    [](auto&& from, wchar_t* text) {                                                               \
        return Helpers::extractModuleVerValueSFI_##NAME(from, text, 64, nullptr, info, L'\\');     \
    }
    const auto check = [&](auto ask, const wchar_t* expected) {
        const wchar_t* file = L"versioned.dll";
        wchar_t text[3][64] = {};
        EXPECT_TRUE(ask(module, text[0]));
        EXPECT_TRUE(ask(file, text[1]));
        EXPECT_TRUE(ask(block, text[2]));
        for (const wchar_t* found : text)
            EXPECT_STREQ(found, expected);
    };
    check(ASK(CompNm), L"Größe & Söhne; $<1> €");
    check(ASK(FDscrp), L"says \"a\\b\"");
    check(ASK(FVer), L"1.2.3.4");
    check(ASK(IntrnNm), L"versioned");
    check(ASK(LegalCN), L"© 2026");
    check(ASK(LegalTM), L"none");
    check(ASK(OrigFNm), L"versioned.dll");
    check(ASK(ProdNm), L"The Product");
    check(ASK(ProdVer), L"5.6 beta");
#undef ASK

    wchar_t text[64] = L"before";
    for (const unsigned id : {13002U, 13012U, 0U}) {
        EXPECT_FALSE(Helpers::extractModuleVerValueSFI_(block, text, 64, id, nullptr, info, L'\\'));
        EXPECT_FALSE(Opened::extractModuleVerValueSFI_(module, text, 64, id, nullptr, info, L'\\'));
        EXPECT_STREQ(text, L"");
    }
    EXPECT_TRUE(Opened::extractModuleVerValue_(block, text, 64,
                                               L"\\stringfileinfo\\040904b0\\fileversion"));
    EXPECT_STREQ(text, L"1.2.3.4");
    Helpers::deleteModuleVerBlock(block);
    EXPECT_EQ(block, nullptr);
    EXPECT_TRUE(FreeLibrary(module));
}

TEST(VersionData, IsFoundByLanguageAndName)
{
    const wchar_t* file = L"versioned.dll";
    const struct {
        const wchar_t* key;
        const wchar_t* name;
        u64 capacity;
        const wchar_t* value;
    } cases[] = {
        {L"", L"FileVersion", 64, L"1.2.3.4"},
        {L"040904B0", L"FileVersion", 4, L"1.2"},
        {L"040904B0", L"FileVersion", 1, L""},
        {L"040704B0", L"FileDescription", 64, L"auf Deutsch"},
        {L"040704B0", L"FileVersion", 64, L"(none)"},
        {L"000004B0", L"FileVersion", 64, L"(none)"},
        {nullptr, L"NoSuchValue", 64, L"(none)"},
        {nullptr, L"", 64, L"(none)"},
        {nullptr, nullptr, 64, L"(none)"},
    };
    for (const auto& [key, name, capacity, expected] : cases)
        EXPECT_EQ(value(file, name, key, capacity), expected) << &expected - &cases[0].value;
    wchar_t text[300] = L"";
    const std::wstring longName(260, L'x');
    EXPECT_EQ(value(file, longName.c_str()), L"(none)");
    EXPECT_FALSE(
        Helpers::extractModuleVerValue(file, text, 0, L"FileVersion", nullptr, info, L'\\'));
    EXPECT_FALSE(
        Helpers::extractModuleVerValue(file, text, 9, L"FileVersion", nullptr, info, L'\0'));
    EXPECT_FALSE(
        Helpers::extractModuleVerValue(file, text, 9, L"FileVersion", nullptr, L"", L'\\'));
    EXPECT_FALSE(
        Helpers::extractModuleVerValue(file, text, 9, L"FileVersion", nullptr, info, L'/'));
    EXPECT_EQ(value(GetModuleHandleW(L"zmu.dll"), L"ProductName"), L"zmu");
    EXPECT_EQ(value(GetModuleHandleW(nullptr), L"FileVersion"), L"4.1");
    EXPECT_EQ(value(L"bare.dll", L"FileVersion"), L"(none)");
    EXPECT_EQ(value(HMODULE(), L"FileVersion"), L"(none)");
}

TEST(VersionData, TellsItsTranslation)
{
    const wchar_t* file = L"versioned.dll";
    const HMODULE module = GetModuleHandleW(nullptr);
    unsigned short language = 1;
    unsigned short codePage = 1;
    EXPECT_TRUE(Helpers::extractModuleVerTranslation(file, language, codePage, translation));
    EXPECT_EQ(language, 0x0409);
    EXPECT_EQ(codePage, 0x04B0);
    EXPECT_FALSE(
        Helpers::extractModuleVerTranslation(L"bare.dll", language, codePage, translation));
    EXPECT_EQ(language + codePage, 0);
    EXPECT_TRUE(Helpers::extractModuleVerTranslation(module, language, codePage, translation));
    EXPECT_FALSE(Helpers::extractModuleVerTranslation(module, language, codePage, L""));

    void* block = nullptr;
    EXPECT_FALSE(Helpers::extractModuleVerTranslation(block, language, codePage, translation));
    ASSERT_TRUE(Helpers::extractModuleVerBlock(file, block));
    for (const u64 capacity : {0, 1, 8, 9, 16}) {
        wchar_t byBlock[16] = L"########";
        wchar_t byFile[16] = L"########";
        EXPECT_EQ(Helpers::extractModuleVerTranslation(block, byBlock, capacity, translation),
                  capacity > 8);
        EXPECT_TRUE(Helpers::extractModuleVerTranslation(file, byFile, capacity, translation));
        const std::wstring key = L"040904B0";
        EXPECT_EQ(byBlock, capacity > 8 ? key : capacity > 0 ? L"" : L"########") << capacity;
        EXPECT_EQ(byFile, key) << capacity;
    }
    // A failure leaves no old block behind.
    EXPECT_FALSE(Helpers::extractModuleVerBlock(L"bare.dll", block));
    EXPECT_EQ(block, nullptr);
}

TEST(VersionData, OfTheProductComesFirst)
{
    const HMODULE module = LoadLibraryW(L"versioned.dll");
    const struct {
        Zarn_FORM_TAG tag;
        HMODULE module;
        u64 capacity;
        const wchar_t* version;
    } cases[] = {
        {Zarn_FORM_TAG_FILE_VERSION, module, 16, L"7.8"},
        {Zarn_FORM_TAG_FILE_VERSION, nullptr, 2, L"7"},
        {Zarn_FORM_TAG_FILE_VERSION, module, 1, nullptr},
        {Zarn_FORM_TAG_PRODUCT_VERSION, module, 16, L"5.6 beta"}, // the product's has none
        {Zarn_FORM_TAG_PRODUCT_VERSION, nullptr, 16, nullptr},
        {Zarn_FORM_TAG_PRODUCT_NAME, module, 16, nullptr},
    };
    for (const auto& [tag, from, capacity, version] : cases) {
        wchar_t text[16] = L"";
        EXPECT_EQ(Helpers::obtainVersionZGW(text, capacity, tag, from), version != nullptr) << tag;
        EXPECT_STREQ(text, version ? version : L"") << tag;
    }
    EXPECT_TRUE(FreeLibrary(module));
}

#if !defined(_WIN32)

/// A copy of the module with version data, to be changed byte by byte.
class ModuleCopy {
  public:
    ModuleCopy()
        : m_good(zmu_test::readFile(
              QFileInfo("/proc/self/exe").symLinkTarget().section('/', 0, -2).toStdWString() +
              L"/libversioned.so"))
    {}

    QByteArray good() const { return m_good; }
    int noteOffset() const { return static_cast<int>(m_good.indexOf("040904B0")) - 16; }

    template <class Change>
    std::wstring versionAfter(Change change, const wchar_t* key = nullptr)
    {
        QByteArray bytes = m_good;
        change(bytes);
        const std::wstring path = m_folder.write("module", bytes);
        return value(path.c_str(), L"FileVersion", key);
    }

  private:
    zmu_test::Folder m_folder;
    QByteArray m_good;
};

template <class Record>
Record& at(QByteArray& bytes, std::size_t offset)
{
    return *reinterpret_cast<Record*>(bytes.data() + offset);
}

using FileHeader = ElfW(Ehdr);

/// Changes each segment of notes.
template <class Change>
void forEachNoteSegment(QByteArray& bytes, Change change)
{
    const FileHeader header = at<FileHeader>(bytes, 0);
    for (unsigned i = 0; i < header.e_phnum; ++i) {
        auto& segment = at<ElfW(Phdr)>(bytes, header.e_phoff + i * sizeof(ElfW(Phdr)));
        if (segment.p_type == PT_NOTE)
            change(segment);
    }
}

TEST(VersionData, IsReadFromWhatIsLeftOfAFile)
{
    ModuleCopy module;
    const auto noSections = [](QByteArray& bytes) { at<FileHeader>(bytes, 0).e_shnum = 0; };
    const auto noSegments = [](QByteArray& bytes) { at<FileHeader>(bytes, 0).e_phnum = 0; };
    const auto otherKey = [](QByteArray& bytes) { bytes.replace("040904B0", "no key ?"); };
    const int note = module.noteOffset();
    const std::wstring none = L"(none)";
    const auto segments = [&](auto change) {
        return module.versionAfter([&](QByteArray& bytes) {
            noSections(bytes);
            forEachNoteSegment(bytes, change);
        });
    };
    const auto noteField = [&](int field, ElfW(Word) value) {
        return module.versionAfter([&](QByteArray& bytes) {
            at<ElfW(Word)>(bytes, static_cast<std::size_t>(note + 4 * field)) = value;
        });
    };
    EXPECT_EQ(module.versionAfter(noSections), L"1.2.3.4");
    EXPECT_EQ(module.versionAfter(noSegments), L"1.2.3.4");
    EXPECT_EQ(module.versionAfter([&](QByteArray& bytes) { noSections(bytes), noSegments(bytes); }),
              none);
    EXPECT_EQ(module.versionAfter(otherKey, L"no key ?"), L"1.2.3.4");
    // The second language has a key but no version.
    EXPECT_EQ(module.versionAfter(otherKey), none);
    EXPECT_EQ(module.versionAfter([](QByteArray& b) { b[EI_CLASS] = ELFCLASS32; }), none);
    EXPECT_EQ(module.versionAfter([](QByteArray& b) { b[EI_DATA] = ELFDATA2MSB; }), none);
    EXPECT_EQ(module.versionAfter([](QByteArray& b) { at<FileHeader>(b, 0).e_phentsize = 1; }),
              L"1.2.3.4");
    EXPECT_EQ(segments([](auto& s) { s.p_offset = ~0ULL; }), none);
    EXPECT_EQ(segments([](auto& s) { s.p_filesz = ~0ULL; }), none);
    EXPECT_EQ(segments([](auto& s) { s.p_offset = ~0ULL - 8, s.p_filesz = 16; }), none);
    EXPECT_EQ(segments([](auto& s) { s.p_align = 0; }), L"1.2.3.4");
    for (const unsigned length : {0xFFFFFFFFU, 0xFFFFFFFCU, 0x7FFFFFFFU, 5U, 0U}) {
        EXPECT_EQ(noteField(0, length), none) << length; // of the name
        EXPECT_EQ(noteField(1, length), none) << length; // of the descriptor
    }
    EXPECT_EQ(noteField(2, 2), none);
    EXPECT_EQ(module.versionAfter([](QByteArray& b) { b.replace("1.2.3.4", "\xFF\xC3(\xF0zzz"); }),
              L"\xFFFD\xFFFD(\xFFFDzzz");
}

TEST(VersionData, SurvivesCutAndMangledFiles)
{
    ModuleCopy module;
    const int note = module.noteOffset();
    const int end = static_cast<int>(module.good().size());
    int found = 0;
    for (int size = 0; size < end; size += size < note + 1024 ? 7 : 997)
        found += module.versionAfter([=](QByteArray& b) { b.truncate(size); }) == L"1.2.3.4";
    EXPECT_GT(found, 0);
    std::mt19937 random(1);
    for (int i = 0; i < 1500; ++i) {
        module.versionAfter([&](QByteArray& bytes) {
            // Headers of the file and its segments, the note, or the sections at the end.
            const int places[] = {0, note, end - 1900};
            for (int change = random() % 4; change >= 0; --change) {
                const int index = places[random() % 3] + static_cast<int>(random() % 700);
                const char values[] = {0, 1, 0x7F, char(0x80), char(0xFF), char(random())};
                bytes[std::min(index, end - 1)] = values[random() % sizeof values];
            }
        });
    }
}

TEST(VersionData, IsNotSoughtInWhatIsNoModule)
{
    zmu_test::Folder folder;
    const std::wstring pipe = folder.path("pipe");
    ASSERT_EQ(mkfifo(QString::fromStdWString(pipe).toUtf8(), 0600), 0);
    const std::wstring huge = folder.write("huge", QByteArray("\x7F"
                                                              "ELF",
                                                              4));
    ASSERT_TRUE(QFile::resize(QString::fromStdWString(huge), qint64(1) << 40));
    const std::wstring paths[] = {pipe,
                                  huge,
                                  folder.path("."),
                                  folder.path("missing"),
                                  folder.write("empty", ""),
                                  folder.write("text", QByteArray(5000, 'x')),
                                  L"/dev/zero",
                                  L"/proc/self/mem",
                                  L"/proc/self/cmdline",
                                  L"./",
                                  L"",
                                  L"no such module.dll",
                                  L"\\??\\pv.dll",
                                  std::wstring(5000, L'x')};
    for (const std::wstring& path : paths)
        EXPECT_EQ(value(path.c_str(), L"FileVersion"), L"(none)") << &path - paths;
}

TEST(VersionData, IsLookedForWhereModulesAre)
{
    zmu_test::Folder folder;
    const std::wstring here = folder.write("libhere.so", ModuleCopy().good());
    ASSERT_TRUE(QDir::setCurrent(QFileInfo(QString::fromStdWString(here)).path()));
    EXPECT_EQ(value(L"here.dll", L"FileVersion"), L"(none)");
    EXPECT_EQ(value(L"./libhere.so", L"FileVersion"), L"1.2.3.4");
    EXPECT_EQ(value(L"localize_test.exe", L"FileVersion"), L"4.1");
    EXPECT_EQ(value(L"zmu.dll", L"ProductName"), L"zmu"); // beside the library

    // By its handle, a module is found however it was named, unless its path is too long.
    const HMODULE module = LoadLibraryW(L"./libhere.so");
    ASSERT_NE(module, nullptr);
    ASSERT_TRUE(QDir::setCurrent("/"));
    EXPECT_EQ(value(module, L"FileVersion"), L"1.2.3.4");
    EXPECT_TRUE(FreeLibrary(module));
    ASSERT_TRUE(QDir::setCurrent(QFileInfo(QString::fromStdWString(here)).path()));
    const QString deep = QStringLiteral("%1/%1").arg(QString(120, 'd'));
    ASSERT_TRUE(QDir().mkpath(deep));
    ASSERT_TRUE(QFile::copy("libhere.so", deep + "/libdeep.so"));
    const std::wstring path = QDir::current().filePath(deep + "/libdeep.so").toStdWString();
    const HMODULE deepModule = LoadLibraryW(path.c_str());
    ASSERT_NE(deepModule, nullptr);
    EXPECT_EQ(value(path.c_str(), L"FileVersion"), L"1.2.3.4");
    EXPECT_EQ(value(deepModule, L"FileVersion"), L"(none)");
    EXPECT_TRUE(FreeLibrary(deepModule));
    EXPECT_TRUE(QDir::setCurrent("/"));
}

#endif

} // namespace
