// A walk over the machine that the test runs on, by what others say of it.
#include "Walk.h"

#include <System.h>

#include <zmu/sysinfo/ZarnSysInfoEnvApp.h>
#include <zmu/sysinfo/ZarnSysInfoEnvVars.h>

#include <QCoreApplication>
#include <QDir>
#include <QRegularExpression>
#include <QStorageInfo>
#include <QSysInfo>

using namespace zmu_test;

namespace {

TEST(Walk, TellsOfThisMachine)
{
    const auto exactly = [](const QString& text) { return QRegularExpression::escape(text); };
    // Windows tells each program the version that it is made for.
    const QString version =
        isWindows() ? "\\d+\\.\\d+"
                    : exactly(QSysInfo::kernelVersion().section('.', 0, 1).section('-', 0, 0));
    const QString name = isWindows() ? "Windows.*" : "Linux";
    const QString information = isWindows() ? ".+" : exactly(QSysInfo::prettyProductName());
    qputenv("LC_ALL", "de_CH.UTF-8"); // which need not be installed
    const QString language = isWindows() ? "0x[0-9A-F]{4}\n" : "0x0807\n";
    const QString windows = isWindows() ? "[A-Z]:.+\n" : "/usr\n";
    const QString system = isWindows() ? "[A-Z]:.+\n" : "/(?:usr/)?lib.*\n";
    const QString rows = walk<ZarnSysInfoEnvOp>();
    const QRegularExpression expected(
        "^Platform=" + name + "\nPlatform Version=" + version +
            "\nPlatform Build Number=\\d+\nPlatform Information=" + information +
            "\nHotfixes=.+\nComputer Name=" + exactly(QSysInfo::machineHostName()) +
            "\nDomain=.+\nSystem Language ID=" + language + "Windows Directory=" + windows +
            "System Directory=" + system + "TEMP Directory=" + exactly(QDir::tempPath()) +
            "\nTotal Physical Memory=\\d+ MB\nAvailable Physical Memory=\\d+ MB"
            "\nMaximum Pagefile Size=\\d+ MB\nAvailable Space in Pagefile=\\d+ MB\n"
            "(?:Available Space on Drive (.+)=\\d+ MB\n\\1 Partition Type=.+\n)+"
            "Processor Information=(.+ ~(\\d+ MHz)?|Unknown)\nNumber of Processors=[1-9]\\d*\n$",
        QRegularExpression::CaseInsensitiveOption);
    EXPECT_TRUE(expected.match(rows).hasMatch()) << qPrintable(rows + expected.pattern());

    const QString root = isWindows() ? QDir::rootPath().left(2) : "/";
    const QString type = QStorageInfo::root().fileSystemType();
    EXPECT_TRUE(rows.contains('\n' + root + " Partition Type=" + type + '\n')) << qPrintable(type);
    QFile memory("/proc/meminfo");
    if (!memory.open(QIODevice::ReadOnly))
        return;
    const auto total = QRegularExpression("MemTotal: *(\\d+) kB").match(memory.readAll());
    EXPECT_TRUE(rows.contains("\nAvailable Physical Memory=" +
                              QString::number(total.captured(1).toULongLong() / 1024) + " MB\n"));
}

TEST(Walk, DomainOfTheAccount)
{
    const auto domain = [](int size = 64) {
        wchar_t buffer[64] = L"";
        EXPECT_TRUE(GetAccountDomainW(buffer, size));
        return std::wstring(buffer);
    };
    qputenv("USERDOMAIN", "LONG-DOMAIN");
    EXPECT_EQ(domain(), L"LONG-DOMAIN");
    EXPECT_EQ(domain(11), L"LONG-DO...");
    qputenv("ZMU_TEST_DOMAIN", "inner");
    qputenv("USERDOMAIN", "%ZMU_TEST_DOMAIN%");
    EXPECT_EQ(domain(), L"inner");
    qunsetenv("USERDOMAIN");
    const std::wstring own = domain();
    EXPECT_NE(own, L"");
    for (const char* const nothing : {"", "%USERDOMAIN%"}) {
        qputenv("USERDOMAIN", nothing);
        EXPECT_EQ(domain(), own);
    }
}

TEST(Walk, TellsOfTheModules)
{
    const QString rows = walk<ZarnSysInfoEnvApp>();
    EXPECT_EQ(rows.count('\n'), 59 * 7);
    int argc = 1;
    char name[] = "walk";
    char* argv[] = {name, nullptr};
    const QCoreApplication application(argc, argv); // knows where the program is
    const QString own = isWindows() ? "zmu.dll" : "libzmu.so";
    EXPECT_TRUE(rows.contains('\n' + own + " Version=" ZMU_TEST_VERSION "\n")) << qPrintable(rows);
    const QString program = QCoreApplication::applicationDirPath();
    const QString missing = isWindows() ? "skin.dll" : "libskin.so";
    EXPECT_TRUE(QDir::fromNativeSeparators(rows).contains('\n' + missing + " Location=" + program +
                                                          "/\n" + missing + " Size=Unknown\n"))
        << qPrintable(program);
    const QString kernel = isWindows() ? "ntoskrnl.exe" : "vmlinuz-" + QSysInfo::kernelVersion();
    EXPECT_EQ(rows.count('\n' + kernel + ' '), 7);
    const QString system = isWindows() ? "kernel32\\.dll Size" : "libQt6Core\\.so\\.6 File Version";
    EXPECT_TRUE(rows.contains(QRegularExpression('\n' + system + "=\\d"))) << qPrintable(rows);
}

TEST(Walk, TellsOfTheEnvironment)
{
    qputenv("ZMU_TEST_LIST", "B=C");
    qputenv("ZMU_TEST_EMPTY", "");
    qputenv("ZMU_TEST_LONG", QByteArray(5000, 'x'));
    ZarnSysInfoEnvVars source;
    qputenv("ZMU_TEST_LATE", "late");
    const QString rows = '\n' + walk(source);
    EXPECT_TRUE(rows.contains("\nZMU_TEST_LIST=B\n")); // up to the second sign
    EXPECT_EQ(rows.contains("\nZMU_TEST_EMPTY=\n"), !isWindows());
    EXPECT_TRUE(rows.contains("\nZMU_TEST_LONG=" + QString(4092, 'x') + "...\n"));
    EXPECT_FALSE(rows.contains("LATE"));
    EXPECT_EQ('\n' + walk(source), rows); // from the first one again
    EXPECT_FALSE(source.getDataPair(-1, nullptr, nullptr, 0, 0));
}

} // namespace
