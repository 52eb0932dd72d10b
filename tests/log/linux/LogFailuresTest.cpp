// What the system refuses: room, rights, files that are none. The torture program has more of it.
#include "LogParts.h"

#include <linux/Refusals.h>

#include <QDir>

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace zmu;
using namespace zmu_test;

namespace {

/// Ends a test that hangs.
class Alarm {
  public:
    Alarm() { alarm(30); }
    ~Alarm() { alarm(0); }
};

} // namespace

TEST(LogFailures, FullDiskAtARolloverIsToldAndEndsWithTheRoom)
{
    const Folder folder;
    const std::string disk = toNarrow(folder.path("disk"));
    ASSERT_TRUE(QDir().mkpath(QString::fromStdString(disk)));
    if (const std::string why = mountSmallDisk(disk); !why.empty())
        GTEST_SKIP() << why;
    const std::string ballast = disk + "/ballast";
    setLogDirectory(folder.path("disk"));
    Stages data(folder.path("disk/log.html"), folder.write("form.html", plainForm));
    ASSERT_TRUE(data.establishLogFile(true));
    fill(ballast);
    data.setLimit(10);
    EXPECT_EQ(data.report(L"last"), dx::RolloverFailed);
    EXPECT_EQ(readFile(folder.path("disk/log.html")), logBytes(plainLog("last\n")));
    EXPECT_EQ(data.report(L"lost"), dx::LogNotOpen);
    unlink(ballast.c_str());
    data.setLimit(1048576);
    EXPECT_TRUE(data.reestablishLogFile(false)) << data.getSelfDX_Code();
    EXPECT_EQ(data.report(L"logged"), dx::Satisfied);
    // The head was lost for want of room, and with it the encoding that it sets.
    const QByteArray bytes = readFile(data.getFileLogName());
    EXPECT_TRUE(bytes.contains("logged") || bytes.contains(logBytes("logged").mid(2)));
}

TEST(LogFailures, PipesAndDevicesAreNoFiles)
{
    const Folder folder;
    const Alarm alarm;
    const std::wstring pipe = folder.path("pipe");
    ASSERT_EQ(mkfifo(toNarrow(pipe).c_str(), 0600), 0);
    for (const std::wstring& name : {pipe, std::wstring(L"/dev/null"), std::wstring(L"/dev/full"),
                                     std::wstring(L"/dev/zero")}) {
        SCOPED_TRACE(toNarrow(name));
        EXPECT_EQ(Monitor(name).createCode(), dx::FileNotOpened);
        const Monitor monitor(folder.path("log.html"), name.c_str());
        ASSERT_TRUE(monitor.get()) << monitor.createCode();
        EXPECT_EQ(reportText(monitor.get(), L"entry"), dx::Satisfied);
        EXPECT_TRUE(logText(folder.path("log.html")).startsWith("<html><body>\n"));
    }
}

TEST(LogFailures, PermissionsAreRespected)
{
    const Folder folder;
    const std::wstring form = folder.write("form.html", plainForm);
    const std::wstring kept = folder.write("kept.html", "what stands here");
    chmod(toNarrow(kept).c_str(), 0444);
    obeyPermissions();
    chmod(toNarrow(folder.path(".")).c_str(), 0555);
    EXPECT_EQ(Monitor(kept, form.c_str()).createCode(), dx::FileNotOpened);
    EXPECT_EQ(Monitor(folder.path("new.html"), form.c_str()).createCode(), dx::FileNotOpened);
    EXPECT_EQ(folder.read("kept.html"), "what stands here");
    chmod(toNarrow(folder.path(".")).c_str(), 0755);
    EXPECT_TRUE(Monitor(folder.path("new.html"), form.c_str()).get());
}

TEST(LogFailures, TemporaryFolderWithoutRoom)
{
    const Folder folder;
    const Alarm alarm;
    const std::string disk = toNarrow(folder.path("disk"));
    mkdir(disk.c_str(), 0700);
    if (const std::string reason = mountSmallDisk(disk); !reason.empty())
        GTEST_SKIP() << reason;
    qputenv("TMPDIR", disk.c_str());
    const std::wstring form = folder.write(
        "form.html", "^INJECT_SYS_INFO\n1\nSYS_INFO_ENV_APP 0 0 0\n" +
                         formOf("[SYS_INFO_ENV_APP]\n", "[SITUATION_DSCRP]\n", "</log>\n"));
    const auto check = [&](const char* what) {
        SCOPED_TRACE(what);
        const std::wstring log = folder.path(what);
        Stages data(log, form);
        Traces traces;
        EXPECT_TRUE(data.establishLogFile(true));
        EXPECT_TRUE(traces.take().contains("is dismissing exception #90."));
        EXPECT_EQ(data.report(L"entry"), dx::Satisfied);
        EXPECT_TRUE(logText(log).contains("entry"));
    };
    {
        const SizeLimit held(4000);
        check("size limit");
    }
    fill(disk + "/ballast");
    check("full");
    ASSERT_EQ(mount(nullptr, disk.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    check("read-only");
    umount(disk.c_str());
}
