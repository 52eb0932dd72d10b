// A walk over the machine that the test runs on.
#include <zmu/sysinfo/ZarnSysInfoEnvOp.h>

#include <gtest/gtest.h>

#include <QDir>
#include <QRegularExpression>
#include <QStorageInfo>
#include <QSysInfo>

namespace {

struct Row {
    QString caption;
    QString datum; ///< A regular expression.
};

QString text(const wchar_t* text)
{
    return QString::fromWCharArray(text);
}

QString escaped(const QString& text)
{
    return QRegularExpression::escape(text);
}

std::vector<Row> walk()
{
    ZarnSysInfoEnvOp source;
    std::vector<Row> rows;
    wchar_t caption[512];
    wchar_t datum[4096];
    for (bool more = source.getFirstDataPair(caption, datum, 512, 4096); more;
         more = source.getNextDataPair(caption, datum, 512, 4096))
        rows.push_back({text(caption), text(datum)});
    return rows;
}

#if defined(_WIN32)
const QString drive = QDir::rootPath().left(2);
const std::vector<Row> own = {{"Platform", "Windows.*"},
                              {"Platform Version", "\\d+\\.\\d+"},
                              {"Platform Build Number", "\\d+"},
                              {"Platform Information", ".+"},
                              {"Hotfixes", ".+"},
                              {"Computer Name", escaped(qEnvironmentVariable("COMPUTERNAME"))},
                              {"Domain", ".+"},
                              {"System Language ID", "0x[0-9A-F]{4}"},
                              {"Windows Directory", escaped(qEnvironmentVariable("windir"))},
                              {"System Directory", "(?i).*\\\\system32"}};
#else
const QString drive = "/";
const std::vector<Row> own = {
    {"Platform", "Linux"},
    {"Platform Version", escaped(QSysInfo::kernelVersion().section('.', 0, 1)).section('-', 0, 0)},
    {"Platform Build Number", "\\d+"},
    {"Platform Information", escaped(QSysInfo::prettyProductName())},
    {"Hotfixes", "Unavailable"},
    {"Computer Name", escaped(QSysInfo::machineHostName())},
    {"Domain", ".+"},
    {"System Language ID", "Unknown \\(50\\)"},
    {"Windows Directory", "Unknown \\(50\\)"},
    {"System Directory", "Unknown \\(50\\)"}};
#endif

TEST(Walk, TellsOfThisMachine)
{
    std::vector<Row> expected = own;
    const QString megabytes = "\\d+ MB";
    expected.insert(expected.end(), {{"TEMP Directory", escaped(QDir::tempPath())},
                                     {"Total Physical Memory", megabytes},
                                     {"Available Physical Memory", megabytes},
                                     {"Maximum Pagefile Size", megabytes},
                                     {"Available Space in Pagefile", megabytes}});
    const std::vector<Row> rows = walk();
    ASSERT_GE(rows.size(), expected.size() + 4);
    const std::size_t drives = expected.size();
    // As many drives as there are.
    while (expected.size() < rows.size() - 2) {
        const QString name = rows[expected.size()].caption.section("Drive ", 1);
        expected.push_back({"Available Space on Drive " + name, megabytes});
        expected.push_back({name + " Partition Type", ".+"});
    }
    expected.push_back({"Processor Information", "(.+ ~(\\d+ MHz)?|Unknown)"});
    expected.push_back({"Number of Processors", "[1-9]\\d*"});
    ASSERT_EQ(rows.size(), expected.size());
    bool hasRoot = false;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        SCOPED_TRACE(qPrintable(rows[i].caption + '=' + rows[i].datum));
        EXPECT_EQ(rows[i].caption.toStdString(), expected[i].caption.toStdString());
        EXPECT_TRUE(
            QRegularExpression('^' + expected[i].datum + '$').match(rows[i].datum).hasMatch())
            << qPrintable(expected[i].datum);
        hasRoot = hasRoot || rows[i].caption == "Available Space on Drive " + drive;
    }
    EXPECT_TRUE(hasRoot);
    EXPECT_EQ(rows[11].datum.section(' ', 0, 0).toULongLong(),
              rows[12].datum.section(' ', 0, 0).toULongLong() + 1);
#if !defined(_WIN32)
    EXPECT_EQ(rows[drives].caption, "Available Space on Drive /");
    EXPECT_EQ(rows[drives + 1].datum.toStdString(),
              QStorageInfo::root().fileSystemType().toStdString());
    QFile memory("/proc/meminfo");
    ASSERT_TRUE(memory.open(QIODevice::ReadOnly));
    const QString facts = memory.readAll();
    const auto kilobytes = [&](const QString& name) {
        return QRegularExpression(name + ": *(\\d+) kB").match(facts).captured(1).toULongLong();
    };
    EXPECT_EQ(rows[12].datum, QString::number(kilobytes("MemTotal") / 1024) + " MB");
    EXPECT_EQ(rows[13].datum, QString::number(kilobytes("SwapTotal") / 1024) + " MB");
#else
    (void)drives;
#endif
}

TEST(Walk, DomainOfTheAccount)
{
    const auto domain = [](int size = 64) {
        wchar_t buffer[64] = L"";
        EXPECT_TRUE(GetAccountDomainW(buffer, size));
        return text(buffer).toStdString();
    };
    qputenv("USERDOMAIN", "LONG-DOMAIN");
    EXPECT_EQ(domain(), "LONG-DOMAIN");
    EXPECT_EQ(domain(11), "LONG-DO...");
    EXPECT_EQ(domain(3), "LO");
    qputenv("ZMU_TEST_DOMAIN", "inner");
    qputenv("USERDOMAIN", "%ZMU_TEST_DOMAIN%");
    EXPECT_EQ(domain(), "inner");
    qunsetenv("USERDOMAIN");
    const std::string own = domain();
    EXPECT_NE(own, "");
    EXPECT_NE(own, "%USERDOMAIN%");
    qputenv("USERDOMAIN", "");
    EXPECT_EQ(domain(), own);
    qputenv("USERDOMAIN", "%USERDOMAIN%");
    EXPECT_EQ(domain(), own);
    EXPECT_TRUE(GetAccountDomainW(nullptr, 64));
}

} // namespace
