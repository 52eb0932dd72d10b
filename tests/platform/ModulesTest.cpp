// Finding, loading and asking modules.
#include <zmu/foundation/UTL_String.h>
#include <zmu/platform/Win32.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

constexpr unsigned sharedID = 10007; ///< A string that the library and the sample module have.

TEST(Modules, LookUpNeitherLoadsNorAddsReferences)
{
    EXPECT_EQ(GetModuleHandleW(L"sample.dll"), nullptr);
    EXPECT_EQ(GetLastError(), 126u);
    const HMODULE module = LoadLibraryW(L"sample.dll");
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(LoadLibraryW(L"sample.dll"), module);
    EXPECT_EQ(GetModuleHandleW(L"sample.dll"), module);
    EXPECT_TRUE(FreeLibrary(module));
    EXPECT_EQ(GetModuleHandleW(L"sample.dll"), module);
    EXPECT_TRUE(FreeLibrary(module));
    EXPECT_EQ(GetModuleHandleW(L"sample.dll"), nullptr);

    SetLastError(0);
    EXPECT_FALSE(FreeLibrary(nullptr));
    EXPECT_NE(GetLastError(), 0u);
}

TEST(Modules, OnlyTheModulesOwnEntryAnswers)
{
    const HMODULE library = GetModuleHandleW(L"zmu.dll");
    EXPECT_STREQ(UTL_String(library, sharedID, 64).wideText(), L"Unknown");

    const HMODULE sample = LoadLibraryW(L"sample.dll");
    ASSERT_NE(sample, nullptr);
    EXPECT_STREQ(UTL_String(sample, sharedID, 64).wideText(), L"from the sample");
    EXPECT_THROW(UTL_String(sample, sharedID + 1, 64), UTL_Exception);
    EXPECT_THROW(UTL_String("sample.dll", sharedID, 64), UTL_Exception);

    // Both reach the library's entry through what they depend on.
    const HMODULE plain = LoadLibraryW(L"plain.dll");
    ASSERT_NE(plain, nullptr);
    EXPECT_THROW(UTL_String(plain, sharedID, 64), UTL_Exception);
    const HMODULE program = GetModuleHandleW(nullptr);
    EXPECT_EQ(GetModuleHandleW(L"platform_test.exe"), program);
    EXPECT_THROW(UTL_String(program, sharedID, 64), UTL_Exception);
    EXPECT_TRUE(FreeLibrary(plain));
    EXPECT_TRUE(FreeLibrary(sample));
}

TEST(Modules, NamesThatNoModuleHas)
{
#if defined(_WIN32)
    const std::wstring names[] = {L"no such module.dll", L"zmu.exe", L"C:\\no\\such\\module.dll"};
#else
    std::vector<std::wstring> names = {
        L"",    L".dll",    L".exe", L"no such module.dll", L"ZMU.dll",
        L"zmu", L"zmu.exe", L"/",    L"./libzmu.so.0"};
    names.emplace_back(5000, L'x');
    names.push_back(std::wstring(1, wchar_t(0xD800)) + L".dll");
    names.push_back(std::wstring(3, wchar_t(0x7FFFFFFF)) + L".dll");
#endif
    for (const std::wstring& name : names) {
        for (const auto lookUp : {GetModuleHandleW, LoadLibraryW}) {
            SetLastError(0);
            EXPECT_EQ(lookUp(name.c_str()), nullptr) << "name " << &name - &names[0];
            EXPECT_EQ(GetLastError(), 126u) << "name " << &name - &names[0];
        }
    }
    EXPECT_EQ(LoadLibraryW(nullptr), nullptr);
}

TEST(Modules, CurrentFolderIsNotSearched)
{
#if defined(_WIN32)
    GTEST_SKIP() << "where the system looks for modules is its own affair";
#else
    QTemporaryDir folder;
    const QString sample =
        QFileInfo("/proc/self/exe").symLinkTarget().section('/', 0, -2) + "/libsample.so.2";
    ASSERT_TRUE(QFile::copy(sample, folder.filePath("libelsewhere.so")));
    ASSERT_TRUE(QDir::setCurrent(folder.path()));
    EXPECT_EQ(LoadLibraryW(L"elsewhere.dll"), nullptr);
    EXPECT_EQ(LoadLibraryW(L"libelsewhere.so"), nullptr);

    // A path says where, and the file's name is enough from then on.
    const HMODULE module = LoadLibraryW(L"./libelsewhere.so");
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(GetModuleHandleW(L"elsewhere.dll"), module);
    EXPECT_TRUE(FreeLibrary(module));
    EXPECT_TRUE(QDir::setCurrent("/"));
#endif
}

#if !defined(_WIN32)

TEST(Modules, OneThatAppearsLaterIsFound)
{
    const QString folder = QFileInfo("/proc/self/exe").symLinkTarget().section('/', 0, -2) + '/';
    const QString sample = folder + "libsample.so.2";
    const auto isFound = [] {
        const HMODULE module = LoadLibraryW(L"late.dll");
        return module && FreeLibrary(module);
    };
    const QString names[] = {folder + "liblate.so.1", folder + "liblate.so"};
    for (const QString& name : names)
        QFile::remove(name);
    for (const QString& name : names) {
        EXPECT_FALSE(isFound());
        EXPECT_FALSE(isFound());
        EXPECT_TRUE(QFile::copy(sample, name));
        EXPECT_TRUE(isFound()) << name.toStdString();
        EXPECT_TRUE(QFile::remove(name));
    }
    EXPECT_FALSE(isFound());
}

#endif

} // namespace
