// A walk over the machine that the test runs on, by what others say of it.
#include <zmu/sysinfo/ZarnSysInfoEnvOp.h>

#include <gtest/gtest.h>

#include <QDir>
#include <QRegularExpression>
#include <QStorageInfo>
#include <QSysInfo>

namespace {

/// "caption=datum" and a line break for each pair.
QString walk()
{
    ZarnSysInfoEnvOp source;
    QString rows;
    wchar_t caption[512];
    wchar_t datum[4096];
    for (bool more = source.getFirstDataPair(caption, datum, 512, 4096); more;
         more = source.getNextDataPair(caption, datum, 512, 4096))
        rows += QString::fromWCharArray(caption) + '=' + QString::fromWCharArray(datum) + '\n';
    return rows;
}

TEST(Walk, TellsOfThisMachine)
{
    const auto exactly = [](const QString& text) { return QRegularExpression::escape(text); };
    const bool isWindows = QDir::rootPath() != "/";
    const QString version = QSysInfo::kernelVersion().section('.', 0, 1).section('-', 0, 0);
    const QString name = isWindows ? "Windows.*" : "Linux";
    const QString information = isWindows ? ".+" : exactly(QSysInfo::prettyProductName());
    const QString onWindows = isWindows ? "(?:0x[0-9A-F]{4}|[A-Z]:.+)\n" : "Unknown \\(50\\)\n";
    const QString rows = walk();
    const QRegularExpression expected(
        "^Platform=" + name + "\nPlatform Version=" + exactly(version) +
            "\nPlatform Build Number=\\d+\nPlatform Information=" + information +
            "\nHotfixes=.+\nComputer Name=" + exactly(QSysInfo::machineHostName()) +
            "\nDomain=.+\nSystem Language ID=" + onWindows + "Windows Directory=" + onWindows +
            "System Directory=" + onWindows + "TEMP Directory=" + exactly(QDir::tempPath()) +
            "\nTotal Physical Memory=\\d+ MB\nAvailable Physical Memory=\\d+ MB"
            "\nMaximum Pagefile Size=\\d+ MB\nAvailable Space in Pagefile=\\d+ MB\n"
            "(?:Available Space on Drive (.+)=\\d+ MB\n\\1 Partition Type=.+\n)+"
            "Processor Information=(.+ ~(\\d+ MHz)?|Unknown)\nNumber of Processors=[1-9]\\d*\n$",
        QRegularExpression::CaseInsensitiveOption);
    EXPECT_TRUE(expected.match(rows).hasMatch()) << qPrintable(rows + expected.pattern());

    const QString root = isWindows ? QDir::rootPath().left(2) : "/";
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

} // namespace
