// The proxy that comes along: what it writes, where, and when it refuses.
#include "MachineSettings.h"
#include "Spools.h"

#include <zmu/monitor/DxCodes.h>

#include <QCoreApplication>
#include <QDateTime>

using namespace zmu_test;

TEST_F(Proxy, WritesWhatAProcessWithoutALogReports)
{
    ASSERT_TRUE(proxy()); // is loaded, and so found by the library
    ZarnData settings(0x7FFFFFFFFFFFFFFF);
    makeReady(settings, folder.path("no.html"));
    Zarn* monitor = Zarn::create(&settings);
    ASSERT_TRUE(monitor) << settings.getSelfDX_Code();
    strings()[1001] = L"1~0~2~u`s||``Session %1!u! of %2!s! has started.`";
    const qint64 before = QDateTime::currentMSecsSinceEpoch();
    EXPECT_TRUE(monitor->respondToSituation(1001, nullptr, 7U, L"Ada \"<Ä>\"\t\U0001F600"));
    const qint64 after = QDateTime::currentMSecsSinceEpoch();
    EXPECT_EQ(monitor->getSelfDX_Code(), 0);
    Zarn::destroy(&monitor, 0, false);
    EXPECT_TRUE(hand(L"The module stays, and its spool goes on."));

    const Spools written = spools();
    ASSERT_EQ(written.lines.size(), 2);
    EXPECT_TRUE(written.isWhole());
    const zmu_spool::SpoolLine& line = written.lines.front();
    EXPECT_EQ(line.description, "Session 7 of Ada \"<Ä>\"\t😀 has started.");
    EXPECT_EQ(line.situation, 1001);
    EXPECT_EQ(line.enablements, 11);
    EXPECT_EQ(line.instantiator, 0x7FFFFFFFFFFFFFFF);
    EXPECT_TRUE(line.program.starts_with("proxy_test")) << line.program;
    EXPECT_EQ(line.process, static_cast<u64>(QCoreApplication::applicationPid()));
    constexpr i64 ofMillisecond = 1'000'000;
    EXPECT_GE(line.time / ofMillisecond, before - 1000);
    EXPECT_LE(line.time / ofMillisecond, after + 1000);
    EXPECT_LE(line.start, line.time);
    EXPECT_GT(line.start, line.time - 86400'000 * ofMillisecond);
    EXPECT_EQ(QDir(spool).entryList(QDir::Files), written.files); // no log
}

TEST_F(Proxy, TakesAnyText)
{
    struct Row {
        std::wstring text;
        std::string description;
    };
    const std::vector<Row> rows = {
        {L"", ""},
        {L"\"\\/\r\n\t\b\x01\x1F\x7F\x9B[31m", "\"\\/\r\n\t\b\x01\x1F\x7F\xC2\x9B[31m"},
        {L"\U0001F600\xD83D\xDE00", "😀😀"}, // a pair is one, whatever the width
        {L"a\xD83D", "a\uFFFD"},
        {L"\xDE00z", "\uFFFDz"},
        {L"\xD83D\xD83D\xDE00", "\uFFFD😀"},
        {L"\xD83D\"", "\uFFFD\""},
        {std::wstring(1024, L'\x02'), std::string(1024, '\x02')},
        {std::wstring(1025, L'\x02'), std::string(1025, '\x02')},
        {std::wstring(300000, L'\xDC00'), QString(300000, QChar(0xFFFD)).toStdString()},
    };
    for (const Row& row : rows)
        EXPECT_TRUE(hand(row.text));
    EXPECT_FALSE(proxy()(1, 1, -1, L"%s", nullptr));
    EXPECT_FALSE(hand(std::wstring(zmu_spool::longestLine, L'x'))); // which no line can hold
    EXPECT_FALSE(hand(std::wstring(3 * zmu_spool::longestLine, L'x')));
    EXPECT_TRUE(hand(std::wstring(zmu_spool::longestLine - 2000, L'y')));
    EXPECT_TRUE(proxy()(~0U, INT64_MIN, INT_MIN, L"%s", L"extremes"));
    EXPECT_TRUE(isWindows() || hand({wchar_t(0x110000), wchar_t(-1)}));

    const Spools written = spools();
    ASSERT_EQ(written.lines.size(), rows.size() + (isWindows() ? 2 : 3));
    for (std::size_t i = 0; i < rows.size(); ++i)
        EXPECT_EQ(written.lines[i].description, rows[i].description) << "row " << i;
    const zmu_spool::SpoolLine& extremes = written.lines[rows.size() + 1];
    EXPECT_EQ(extremes.sequence, rows.size() + 4); // refused ones leave a gap
    EXPECT_EQ(extremes.instantiator, INT64_MIN);
    EXPECT_EQ(extremes.situation, 2147483648);
    EXPECT_EQ(extremes.enablements, ~0U);
    EXPECT_EQ(written.lines.back().description, isWindows() ? "extremes" : "\uFFFD\uFFFD");
}

using ProxyThreads = Proxy;

TEST_F(ProxyThreads, NumberLinesInTheOrderOfTheFiles)
{
    constexpr int threads = 4;
    constexpr int rounds = 500;
    constexpr qint64 fileSize = 20000;
    MachineSettings settings;
    settings.storeSection("Spool", {{"FileSize", QString::number(fileSize)}});
    inThreads(threads, rounds,
              [](int thread, int round) { EXPECT_TRUE(hand(std::to_wstring(thread), round + 1)); });
    const Spools written = spools();
    EXPECT_EQ(written.lines.size(), threads * rounds);
    EXPECT_TRUE(written.isWhole());
    std::vector<i64> last(threads);
    for (const zmu_spool::SpoolLine& line : written.lines)
        EXPECT_EQ(line.situation, ++last.at(std::stoul(line.description)));
    EXPECT_GT(written.files.size(), 10);
    for (const qint64 size : written.sizes)
        EXPECT_LE(size, fileSize);
}

TEST_F(Proxy, KeepsToTheLimitOfItsFolder)
{
    constexpr qint64 limit = 300000;
    MachineSettings settings;
    settings.storeSection("Spool", {{"FolderSize", QString::number(limit)}});
    const std::wstring ballast = folder.write("ballast.spool", QByteArray(200000, 'b'));
    QFile left(QString::fromStdWString(ballast)); // by a writer that has gone, long ago
    ASSERT_TRUE(left.open(QIODevice::ReadWrite));
    ASSERT_TRUE(left.setFileTime(QDateTime::currentDateTime().addSecs(-3600),
                                 QFileDevice::FileModificationTime));
    left.close();
    folder.write("nothing.else", QByteArray(200000, 'b'));
    const Traces traces;
    int taken = 0;
    while (hand(std::wstring(500, L'x')))
        ++taken;
    EXPECT_GT(taken, 50);
    qint64 sum = 0;
    for (const QString& name : spools().files)
        sum += QFile(spool + '/' + name).size();
    EXPECT_LE(sum, limit);
    EXPECT_GT(sum, limit - 1000);
    EXPECT_FALSE(hand(std::wstring(500, L'x')));
    QFile::remove(QString::fromStdWString(ballast));
    EXPECT_TRUE(handAtLast(L"room again"));
}

// ---- The folder ------------------------------------------------------------------------------------------

namespace {

struct FolderRow {
    const char* name;
    const char* variable; ///< ZMU_SPOOL: a name below the test's folder, or as it is.
    const char* setting;  ///< The machine's, likewise. Null for none.
    const char* fileSize;
    const char* used; ///< Where the file is to be; null if the situation is refused,
    const char* told; ///< with these words.
};

const std::string longName = '/' + std::string(2000, 'x');

const FolderRow folderRows[] = {
    {"OfTheEnvironment", "/first", "/second", "16777216", "/first", ""},
    {"OfTheMachine", "", "/second", nullptr, "/second", ""},
    {"OfTheUser", "", nullptr, nullptr, "/users/zmu", ""},
    // What is set and cannot be used gives way to nothing else: whoever collects is not there.
    {"NotRelative", "relative", "/second", nullptr, nullptr, "no absolute path"},
    {"NotTooLong", longName.c_str(), "/second", nullptr, nullptr, "no absolute path"},
    {"NotMade", "/missing", "/second", nullptr, nullptr, "no file can be made"},
    {"NotWithoutItsSize", "/first", nullptr, "16 MiB", nullptr, "no number of bytes"},
    {"NotWithoutAnySize", "/first", nullptr, "0", nullptr, "no number of bytes"},
};

class ProxyFolder : public testing::TestWithParam<FolderRow> {};

} // namespace

TEST_P(ProxyFolder, IsFoundByRank)
{
    const FolderRow& row = GetParam();
    if (row.used && QString(row.used).startsWith("/users") && QDir("/var/spool/zmu").exists())
        GTEST_SKIP() << "this machine has a folder for all";
    const Folder folder;
    const QDir root(QString::fromStdWString(folder.path(".")));
    for (const char* name : {"first", "second", "users"})
        ASSERT_TRUE(root.mkpath(name));
    const auto pathOf = [&](const QString& name) {
        return name.startsWith('/') ? QDir::cleanPath(root.path() + name) : name;
    };
    qputenv("ZMU_SPOOL", pathOf(row.variable).toUtf8());
    qputenv(isWindows() ? "LOCALAPPDATA" : "XDG_STATE_HOME", pathOf("/users").toUtf8());
    MachineSettings settings;
    QMap<QString, QString> values;
    if (row.setting)
        values["Folder"] = pathOf(row.setting);
    if (row.fileSize)
        values["FileSize"] = row.fileSize;
    settings.storeSection("Spool", values);

    Traces traces;
    EXPECT_EQ(hand(L"somewhere"), row.used != nullptr);
    EXPECT_EQ(hand(L"once more"), row.used != nullptr);
    const QString trace = traces.take();
    EXPECT_TRUE(trace.contains(row.told)) << trace.toStdString();
    EXPECT_EQ(trace.count("cs4s3: "), row.used ? 0 : 1) << trace.toStdString(); // told once
    if (!row.used)
        return;
    const QString last = isWindows() && QString(row.used).startsWith("/users") ? "/spool" : "";
    EXPECT_EQ(Spools(pathOf(row.used) + last).lines.size(), 2);
}

INSTANTIATE_TEST_SUITE_P(Folder, ProxyFolder, testing::ValuesIn(folderRows),
                         [](const auto& test) { return test.param.name; });
