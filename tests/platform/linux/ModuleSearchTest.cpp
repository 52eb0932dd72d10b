// Where modules are looked for.
#include <zmu/platform/Win32.h>

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

namespace {

/// The folder of this program and its modules.
QString ownFolder()
{
    return QFileInfo("/proc/self/exe").symLinkTarget().section('/', 0, -2) + '/';
}

TEST(ModuleSearch, LeavesTheCurrentFolderOut)
{
    QTemporaryDir folder;
    const QString sample = ownFolder() + "libsample.so.2";
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
}

TEST(ModuleSearch, FindsOneThatAppearsLater)
{
    const QString folder = ownFolder();
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

} // namespace
