// What the system refuses: size limits, full disks, a kill, files that are none.
#include "LogParts.h"

#include <QDir>

#include <fcntl.h>
#include <linux/capability.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <random>

using namespace zmu;
using namespace zmu_test;

namespace {

/// The greatest size of a file, for the life of this object.
class SizeLimit {
  public:
    explicit SizeLimit(qint64 bytes)
    {
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit{static_cast<rlim_t>(bytes), m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~SizeLimit() { setrlimit(RLIMIT_FSIZE, &m_before); }
    SizeLimit(const SizeLimit&) = delete;
    SizeLimit& operator=(const SizeLimit&) = delete;

  private:
    rlimit m_before{};
};

/// Ends a test that hangs.
class Alarm {
  public:
    Alarm() { alarm(30); }
    ~Alarm() { alarm(0); }
};

/// Mounts 1 MiB at `path`, seen by this process alone; why not, if it cannot.
std::string mountSmallDisk(const std::string& path)
{
    if (const QString why = enterOwnMounts(); !why.isEmpty())
        return why.toStdString();
    if (mount("none", path.c_str(), "tmpfs", 0, "size=1m") != 0)
        return std::string("no mount: ") + strerror(errno);
    return {};
}

/// Takes all room of a disk, to the last byte.
void fill(const std::string& ballast)
{
    const int file = open(ballast.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    const std::string block(4096, 'b');
    for (std::size_t size = block.size(); size > 0; size /= 2) {
        while (write(file, block.data(), size) > 0) {
        }
    }
    close(file);
}

/// Takes away the right to pass over file permissions, which only root has.
void obeyPermissions()
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2] = {};
    syscall(SYS_capget, &header, data);
    data[0].effective &= ~(1U << CAP_DAC_OVERRIDE);
    syscall(SYS_capset, &header, data);
}

} // namespace

TEST(LogFailures, SizeLimitHarmsNeitherHostNorLog)
{
    const Folder folder;
    const Alarm alarm;
    Stages data(folder.path("log.html"),
                folder.write("form.html", formOf(QByteArray(4000, 'h') + "\n",
                                                 "[ENTRY_ID] [SITUATION_DSCRP]\n", "</log>\n")));
    ASSERT_TRUE(data.establishLogFile(true));
    ASSERT_EQ(data.report(L"first"), dx::Satisfied);
    const QString head = QString(4000, 'h') + '\n';
    QString entries = "1 first\n";
    const auto document = [&] { return logBytes(head + entries + "</log>\n"); };

    const qint64 present = document().size();
    const qint64 needed = present + logBytes("2 entry with text\n").size() - 2;
    const qint64 tail = logBytes("</log>\n").size() - 2;
    for (qint64 limit = present - tail - 2; limit < needed; ++limit) {
        SCOPED_TRACE(limit);
        int code = 0;
        QByteArray bytes;
        {
            Traces traces;
            const SizeLimit held(limit);
            code = data.report(L"entry with text");
            bytes = folder.read("log.html");
        }
        ASSERT_EQ(code, dx::LogSectionUnexpected);
        ASSERT_EQ(bytes, document());
        ASSERT_EQ(data.getFileLog()->m_logByteCount, static_cast<u64>(bytes.size()));
    }
    for (int extra = 0; extra < 3; ++extra) {
        SCOPED_TRACE(extra);
        const QString entry = QStringLiteral("%1 entry with text\n").arg(extra + 2);
        const qint64 limit = document().size() + 2 * entry.size() + extra;
        entries += entry;
        int code = 0;
        {
            const SizeLimit held(limit);
            code = data.report(L"entry with text");
        }
        ASSERT_EQ(code, dx::Satisfied);
        ASSERT_EQ(folder.read("log.html"), document());
    }
}

TEST(LogFailures, FullDiskLosesNothingThatWasWritten)
{
    const Folder folder;
    const Alarm alarm;
    const std::string disk = toNarrow(folder.path("disk"));
    ASSERT_TRUE(QDir().mkpath(QString::fromStdString(disk)));
    if (const std::string why = mountSmallDisk(disk); !why.empty())
        GTEST_SKIP() << why;
    const std::wstring log = folder.path("disk/log.html");
    const std::string ballast = disk + "/ballast";

    {
        Stages data(log, folder.write("form.html", plainForm));
        ASSERT_TRUE(data.establishLogFile(true));
        QString entries;
        for (int round = 0; round < 60; ++round) {
            SCOPED_TRACE(round);
            fill(ballast);
            const QString entry =
                QStringLiteral("round %1 %2").arg(round).arg(QString(7 * round + 1, QChar(0x20AC)));
            int code = 0;
            int failures = 0;
            while (failures < 3) { // the present block takes some more
                code = data.report(entry.toStdWString().c_str());
                if (code == dx::Satisfied)
                    entries += entry + '\n';
                else
                    ++failures;
                ASSERT_TRUE(code == dx::Satisfied || code == dx::LogSectionUnexpected) << code;
                ASSERT_EQ(readFile(log), logBytes(plainLog(entries)));
            }
            ASSERT_EQ(unlink(ballast.c_str()), 0);
            ASSERT_EQ(data.report(L"room again"), dx::Satisfied);
            entries += "room again\n";
            ASSERT_EQ(readFile(log), logBytes(plainLog(entries)));
        }
    }

    // No room for a head: no log, and a log as soon as there is some.
    fill(ballast);
    const std::wstring late = folder.path("disk/late.html");
    EXPECT_NE(Monitor(late, folder.path("form.html").c_str()).createCode(), dx::Satisfied);
    unlink(ballast.c_str());
    const Monitor monitor(late, folder.path("form.html").c_str());
    ASSERT_TRUE(monitor.get()) << monitor.createCode();
    EXPECT_EQ(reportText(monitor.get(), L"entry"), dx::Satisfied);
    EXPECT_EQ(readFile(late), logBytes(plainLog("entry\n")));
}

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

TEST(LogFailures, KilledProcessLeavesEveryEntryThatItHadReported)
{
    const Folder folder;
    const std::wstring form = folder.write("form.html", plainForm);
    const std::wstring log = folder.path("log.html");
    std::mt19937 random(20061);
    int entriesQty = 0;
    for (int round = 0; round < 40; ++round) {
        SCOPED_TRACE(round);
        QFile::remove(QString::fromStdWString(log));
        int ends[2] = {};
        ASSERT_EQ(pipe(ends), 0);
        const pid_t child = fork();
        if (child == 0) {
            Monitor monitor(log, form.c_str());
            for (int i = 0; monitor.get(); ++i) {
                if (reportText(monitor.get(), (L"entry " + std::to_wstring(i)).c_str()) != 0 ||
                    write(ends[1], &i, sizeof i) != sizeof i)
                    break;
            }
            _exit(1);
        }
        close(ends[1]);
        int last = -1;
        ASSERT_EQ(read(ends[0], &last, sizeof last), ssize_t(sizeof last));
        const auto wait = std::chrono::microseconds(random() % 20000);
        const auto end = std::chrono::steady_clock::now() + wait;
        while (std::chrono::steady_clock::now() < end)
            ASSERT_EQ(read(ends[0], &last, sizeof last), ssize_t(sizeof last));
        kill(child, SIGKILL);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status));
        while (read(ends[0], &last, sizeof last) == ssize_t(sizeof last)) {
        }
        close(ends[0]);

        QString expected = "<log>\n";
        for (int i = 0; i <= last; ++i)
            expected += QStringLiteral("entry %1\n").arg(i);
        const QByteArray bytes = readFile(log);
        EXPECT_TRUE(bytes.startsWith(logBytes(expected))) << last;
        // Behind it stands the tail, and over it what has been written of the next entry: the
        // system writes page by page, and a process can be killed between two.
        const QString rest = QString::fromUtf16(
            reinterpret_cast<const char16_t*>(bytes.constData() + logBytes(expected).size()),
            (bytes.size() - logBytes(expected).size()) / 2);
        const QString tail = "</log>\n";
        const QString next = QStringLiteral("entry %1\n").arg(last + 1) + tail;
        qsizetype written = 0;
        while (written < rest.size() && written < next.size() && rest[written] == next[written])
            ++written;
        EXPECT_EQ(rest.mid(written), tail.mid(written)) << qPrintable(rest);
        entriesQty += last + 1;
    }
    EXPECT_GT(entriesQty, 40);
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
