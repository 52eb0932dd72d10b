// Where a log lies and what it is called.
#include "OwnerParts.h"

#include <zmu/platform/Paths.h>

#include <QDateTime>
#include <QRegularExpression>
#include <QThread>

using namespace zmu;
using namespace zmu_test;

namespace {

class Paths : public testing::Test {
  protected:
    QString root() const { return QString::fromStdWString(folder.path(".")); }
    QString inside(const QString& name) const { return root() + '/' + name; }

    const Folder folder;
};

/// The directory by its specifier; empty with the code on failure.
std::wstring specifier(const QString& directory)
{
    setLogDirectory(directory.toStdWString());
    UTL_String result(L"left over");
    return ZarnDataZGW::obtainLogDirectorySpecifier(result, nullptr) ? result.wideText() : L"";
}

QString nameOf(const std::wstring& path)
{
    return QFileInfo(QString::fromStdWString(path)).fileName();
}

const QString program = "owner_test";
const QString stamp = "_\\d{4}-\\d\\d-\\d\\d_\\d\\d-\\d\\d-\\d\\d-\\d{3}\\.";

bool isNamed(const QString& name, const QString& beginning, const QString& extension)
{
    return QRegularExpression('^' + beginning + stamp + extension + '$').match(name).hasMatch();
}

} // namespace

TEST_F(Paths, DirectoryThatCannotBeExpandedIsMade)
{
    qputenv("ZMU_TEST_LOOP", "%ZMU_TEST_LOOP%x");
    const QString name = inside("%ZMU_TEST_LOOP%");
    EXPECT_EQ(specifier(name), name.toStdWString());
    EXPECT_TRUE(QFileInfo(name).isDir());
    EXPECT_EQ(specifier(name + '/'), name.toStdWString() + pathSeparator);
    EXPECT_EQ(specifier(name + "/missing/%ZMU_TEST_LOOP%"), L"");
    EXPECT_EQ(ZarnDataZGW::getDX_Code1(), zgw::DirectoryNotCreated);
    EXPECT_EQ(ZarnDataZGW::getDX_Code2(), DWORD{ERROR_PATH_NOT_FOUND});
    folder.write("file%ZMU_TEST_LOOP%", "");
    EXPECT_EQ(specifier(inside("file%ZMU_TEST_LOOP%")), L"");
    EXPECT_EQ(ZarnDataZGW::getDX_Code1(), zgw::PathIsNoDirectory);
    EXPECT_EQ(ZarnDataZGW::getDX_Code2(), DWORD{ERROR_DIRECTORY});
}

TEST_F(Paths, LogLiesWhereItIsSaid)
{
    qputenv("ZMU_TEST_PLACE", root().toUtf8());
    ASSERT_TRUE(QDir(root()).mkpath("with spaces/Größe \u65e5"));
    ASSERT_TRUE(QDir::setCurrent(root()));
    QStringList places = {"%ZMU_TEST_PLACE%/with spaces/Größe \u65e5", "with spaces"};
    if (!isWindows()) { // where no name has a colon
        ASSERT_TRUE(QDir().mkpath(inside(":colon")));
        places << ":colon";
    }
    for (const QString& place : places) {
        SCOPED_TRACE(place.toStdString());
        setLogDirectory(place.toStdWString());
        Owner owner;
        Zarn* monitor = owner.createZarnMonitor();
        ASSERT_TRUE(monitor);
        EXPECT_EQ(reportText(monitor, L"entry"), 0);
        EXPECT_TRUE(ZarnDataZGW::destroyZarnMonitor(monitor));
        QString path = place;
        const QDir directory("./" + path.replace("%ZMU_TEST_PLACE%", "."));
        const QStringList files = directory.entryList(QDir::Files);
        ASSERT_EQ(files.size(), 1);
        EXPECT_TRUE(isNamed(files[0], program, "html"));
        EXPECT_TRUE(logText(directory.filePath(files[0]).toStdWString()).contains("entry<br>\n"));
    }
    EXPECT_TRUE(QDir::setCurrent("/"));
}

TEST_F(Paths, DirectoryThatIsNoneOrTooLong)
{
    EXPECT_EQ(specifier(""), L"");
    EXPECT_EQ(ZarnDataZGW::getDX_Code1(), zgw::DirectoryNotCreated);
    EXPECT_EQ(ZarnDataZGW::getDX_Code2(), DWORD{ERROR_PATH_NOT_FOUND});
    EXPECT_EQ(codeOfConstruction(), zgw::DirectoryNotCreated);

    QString deep = root();
    while (deep.size() < 1019)
        deep += '/' + QString(std::min<qsizetype>(100, 1019 - deep.size()), 'd');
    deep.truncate(1020);
    deep += QString(1020 - deep.size(), 'd');
    EXPECT_EQ(specifier(deep).size(), 1021U);
    EXPECT_EQ(specifier(deep + "dd").size(), 1023U);
    EXPECT_EQ(specifier(deep + "ddd"), L"");
    ASSERT_TRUE(QDir().mkpath(deep));
    if (!isWindows()) { // which makes no directories of that length
        // Of a longer one as much is taken as a path may have, and made as it stands then.
        const QString cut = deep + "/ddd";
        EXPECT_EQ(specifier(cut + QString(400, 'd')), cut.toStdWString());
        EXPECT_TRUE(QFileInfo(cut).isDir());
    }

    // What is left for a name is cut, and has no room for the moment: the next log has the same.
    setLogDirectory(deep.toStdWString());
    {
        Owner first;
        EXPECT_EQ(first.logPath().size(), 1023U);
        EXPECT_EQ(Owner().logPath(), first.logPath());
    }
}

TEST_F(Paths, NamesOfLogsAndForms)
{
    setLogDirectory(root().toStdWString());
    const QString user = userName();
    ASSERT_FALSE(user.isEmpty());
    const QString userProgram = user + '_' + program;
    const struct {
        i64 id;
        QString beginning;
        QString form;
    } rows[] = {{ZGW_OWNER_CM, program, "bpw_template.html"},
                {ZGW_OWNER_LOGON, userProgram, "bpw_template.html"},
                {ZGW_OWNER_PW, userProgram, "bpw_template.html"},
                {ZGW_OWNER_APS, program, "aps_template.html"},
                {0, program, "bpw_template.html"},
                {-5, program, "bpw_template.html"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.id);
        Owner owner(row.id);
        const QString path = QString::fromStdWString(owner.logPath());
        EXPECT_TRUE(path.startsWith(QDir::toNativeSeparators(root() + '/'))) << qPrintable(path);
        EXPECT_TRUE(isNamed(nameOf(owner.logPath()), row.beginning, "html")) << qPrintable(path);
        EXPECT_EQ(
            owner.formPath(),
            (QDir::toNativeSeparators(root() + '/') + "Templates/" + row.form).toStdWString());

        if (row.id == 0) { // is native in any case, and then without the log that it needs
            EXPECT_EQ(codeOfConstruction(0, false), zgw::DataSetRefused);
            continue;
        }
        Owner dependent(row.id, false);
        EXPECT_EQ(dependent.logPath(), L"");
        EXPECT_EQ(dependent.formPath(), owner.formPath());
    }
}

TEST_F(Paths, CopyOfThePathNeedsRoom)
{
    setLogDirectory(root().toStdWString());
    Owner owner;
    wchar_t buffer[600];
    std::wmemset(buffer, L'x', 600);
    EXPECT_EQ(owner.getLogFileFQPath(buffer, 259), buffer);
    EXPECT_EQ(std::wstring(buffer, 260), std::wstring(259, L'\0') + L'x');
    buffer[0] = L'x';
    EXPECT_EQ(owner.getLogFileFQPath(buffer, 0)[0], L'\0');
    EXPECT_EQ(owner.getLogFileFQPath(nullptr, 600), nullptr);
    EXPECT_GT(std::wcslen(owner.getLogFileFQPath(buffer, 260)), 20U);
}

TEST_F(Paths, LogsThatCannotBeMade)
{
    folder.write("file", "");
    ASSERT_TRUE(QDir(root()).mkdir("read-only"));
    QFile::setPermissions(inside("read-only"), QFile::ReadOwner | QFile::ExeOwner);
    const bool isBoundByRights = !QFileInfo(inside("read-only")).isWritable();
    for (const QString& name : {inside("missing"), inside("file"), inside("read-only")}) {
        if (name.endsWith("read-only") && !isBoundByRights)
            continue;
        SCOPED_TRACE(name.toStdString());
        setLogDirectory(name.toStdWString());
        Owner owner;
        Traces traces;
        EXPECT_EQ(owner.createZarnMonitor(), nullptr);
        const QString why = name.endsWith("missing") ? "there is no directory "
                            : name.endsWith("file")  ? "something that is no directory"
                                                     : "has no right to make files in ";
        const QString told = traces.take();
        EXPECT_TRUE(told.contains(why)) << qPrintable(told);
        EXPECT_EQ(owner.getDX_Code1(), zgw::MonitorNotCreated);
        EXPECT_EQ(owner.getDX_Code2(), 45U); // the file could not be opened
    }
    EXPECT_EQ(codeOfConstruction(ZGW_OWNER_CM, true, Zarn_LOG_TEXT), zgw::DataSetRefused);
    EXPECT_EQ(ZarnDataZGW::getDX_Code2(), 143U); // this kind is not served
    EXPECT_EQ(folder.files(), QStringList("file"));
}

TEST_F(Paths, FileBelongsToItsFirstMaker)
{
    setLogDirectory(root().toStdWString());
    {
        Owner unused;
        ASSERT_EQ(folder.files().size(), 1);
    }
    EXPECT_EQ(folder.files().size(), 0); // nobody has asked for it
    std::wstring name;
    {
        Owner asked;
        name = asked.logPath();
    }
    EXPECT_EQ(folder.files(), QStringList(nameOf(name)));
}

TEST_F(Paths, NameThatIsTakenIsLeftAlone)
{
    // All names of the moments in which the owner is made are there already, from another process.
    setLogDirectory(root().toStdWString());
    const Owner first; // which does what takes its time
    constexpr int milliseconds = 200;
    int taken = 0;
    QDateTime start;
    QString last;
    int lead = 250;
    do {
        start = QDateTime::currentDateTime().addMSecs(lead *= 2);
        for (int i = 0; i < milliseconds; ++i, ++taken) {
            const QString moment = start.addMSecs(i).toString("yyyy-MM-dd_HH-mm-ss-zzz");
            last = program + '_' + moment + ".html";
            folder.write(last.toUtf8(), "somebody else's");
        }
    } while (QDateTime::currentDateTime() >= start);
    QThread::msleep(static_cast<unsigned long>(QDateTime::currentDateTime().msecsTo(start)));
    Owner owner;
    Zarn* monitor = owner.createZarnMonitor();
    ASSERT_TRUE(monitor);
    EXPECT_GT(nameOf(owner.logPath()), last);
    EXPECT_EQ(folder.files().size(), taken + 2);
    EXPECT_TRUE(Zarn::destroy(&monitor, 0, false));
    int others = 0;
    for (const QString& file : folder.files())
        others += folder.read(file.toUtf8()) == "somebody else's";
    EXPECT_EQ(others, taken);
}
