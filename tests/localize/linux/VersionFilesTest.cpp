// Version data of files that are cut, mangled or none.
#include "VersionValue.h"

#include <Support.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <link.h>
#include <sys/stat.h>

using namespace zmu_test;

namespace {

/// A copy of the module with version data, to be changed byte by byte.
class ModuleCopy {
  public:
    ModuleCopy()
        : m_good(readFile(
              QFileInfo("/proc/self/exe").symLinkTarget().section('/', 0, -2).toStdWString() +
              L"/libversioned.so"))
    {}

    QByteArray good() const { return m_good; }

    template <class Change>
    std::wstring versionAfter(Change change, const wchar_t* key = nullptr)
    {
        QByteArray bytes = m_good;
        change(bytes);
        const std::wstring path = m_folder.write("module", bytes);
        return value(path.c_str(), L"FileVersion", key);
    }

  private:
    Folder m_folder;
    QByteArray m_good;
};

template <class Record>
Record& at(QByteArray& bytes, std::size_t offset)
{
    return *reinterpret_cast<Record*>(bytes.data() + offset);
}

using FileHeader = ElfW(Ehdr);

TEST(VersionData, IsReadFromWhatIsLeftOfAFile)
{
    ModuleCopy module;
    const auto noSections = [](QByteArray& bytes) { at<FileHeader>(bytes, 0).e_shnum = 0; };
    const auto noSegments = [](QByteArray& bytes) { at<FileHeader>(bytes, 0).e_phnum = 0; };
    const auto otherKey = [](QByteArray& bytes) { bytes.replace("040904B0", "no key ?"); };
    const std::wstring none = L"(none)";
    EXPECT_EQ(module.versionAfter(noSections), L"1.2.3.4");
    EXPECT_EQ(module.versionAfter(noSegments), L"1.2.3.4");
    EXPECT_EQ(module.versionAfter([&](QByteArray& bytes) { noSections(bytes), noSegments(bytes); }),
              none);
    EXPECT_EQ(module.versionAfter(otherKey, L"no key ?"), L"1.2.3.4");
    // The second language has a key but no version.
    EXPECT_EQ(module.versionAfter(otherKey), none);
    EXPECT_EQ(module.versionAfter([](QByteArray& b) { b.replace("1.2.3.4", "\xFF\xC3(\xF0zzz"); }),
              L"\xFFFD\xFFFD(\xFFFDzzz");
}

TEST(VersionData, IsNotSoughtInWhatIsNoModule)
{
    Folder folder;
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
    Folder folder;
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

} // namespace
