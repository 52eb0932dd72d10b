// `zmu collect`: what becomes of spools in a log.
#include "CollectedLogs.h"
#include "MadeSpools.h"
#include "ToolRun.h"

#include <collect/Collector.h>
#include <tools/collect/OwnLog.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <atomic>
#include <thread>

using namespace zmu_collect;
using namespace zmu_test;
using zmu_tools::Exit;

class Collect : public MadeSpools {
  protected:
    Collect() { folder.makeFolder("logs"); }

    ToolRun collectOnce(std::vector<std::string> more = {})
    {
        std::vector<std::string> arguments = {"collect", place(), "--once", "--log-dir",
                                              path("logs")};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return runTool(arguments);
    }
    QStringList logs() const
    {
        return QDir(QString::fromStdString(path("logs"))).entryList({"*.html"}, QDir::Files);
    }
    QString text() const { return textOfLogs(QDir(QString::fromStdString(path("logs")))); }
    Items identities() const { return identitiesOf(text()); }
};

TEST_F(Collect, WritesEachLineOnceWhateverBecomesOfThePositions)
{
    write(spoolName(1), spoolLine(1) + spoolLine(4, "<b class=\\\"good\\\">good</b> <script>"));
    const ToolRun first = collectOnce({"--keep"});
    EXPECT_EQ(first.exit, Exit::Good) << first.errors;
    const Items one = {"h7_pw_812_7#1", "h7_pw_812_7#2-3", "h7_pw_812_7#4"};
    EXPECT_EQ(identities(), one);
    EXPECT_TRUE(text().contains("SituationID=1001 -->"));
    EXPECT_TRUE(text().contains("SituationID=10101 -->"));
    EXPECT_TRUE(text().contains("<b class=\"good\">good</b> &lt;script&gt; <i data-zmu="));

    // Nothing new: no log is begun for that.
    const QByteArray positions = folder.read("logs/collect.positions");
    EXPECT_EQ(collectOnce({"--keep"}).exit, Exit::Good);
    EXPECT_EQ(logs().size(), 1);

    // What is written behind the positions is found in the logs, also in several.
    Items two = one;
    write(spoolName(2), spoolLine(5) + "{}\n" + spoolLine(6) + spoolLine(7).substr(0, 20));
    EXPECT_EQ(collectOnce().exit, Exit::Findings);
    two.insert(two.end(), {"h7_pw_812_7#5",
                           "h7_pw_812_7#5!h7_pw_812_7_000002.spool%2C%20bytes%20207%20to%20210"});
    ASSERT_EQ(identities().size(), 7);
    const Items all = identities();
    EXPECT_EQ(folder.files().filter(".spool"), QStringList());
    write(spoolName(2), spoolLine(5) + "{}\n" + spoolLine(6) + spoolLine(7).substr(0, 20));
    write(spoolName(3), spoolLine(8));
    folder.write("logs/collect.positions", positions);
    EXPECT_EQ(collectOnce().exit, Exit::Findings);
    Items more = all;
    more.insert(more.end(), {"h7_pw_812_7#7-7", "h7_pw_812_7#8"});
    EXPECT_EQ(identities(), more);
    EXPECT_EQ(logs().size(), 3);
}

TEST_F(Collect, RefusesToGuess)
{
    write(spoolName(1), spoolLine(1));
    folder.write("logs/collect.positions", "damaged");
    const ToolRun damaged = collectOnce();
    EXPECT_EQ(damaged.exit, Exit::Unreadable);
    EXPECT_NE(damaged.errors.find("the file is damaged"), std::string::npos) << damaged.errors;
    EXPECT_EQ(logs(), QStringList());
    EXPECT_EQ(runTool({"collect", place(), "--once"}).exit, Exit::Usage);
    EXPECT_EQ(runTool({"collect", path("missing"), "--once", "--json"}).exit, Exit::Unreadable);
    EXPECT_EQ(collectOnce({"--form", path("missing")}).exit, Exit::Unreadable);
    EXPECT_EQ(runTool({"collect", place(), "--log-dir", path("missing")}).exit, Exit::Unreadable);
    EXPECT_EQ(collectOnce({"--log-size", "1kB"}).exit, Exit::Usage);
    EXPECT_EQ(folder.files().filter(".spool").size(), 1);
}

TEST_F(Collect, BeginsAnotherLogAtTheSizeThatIsAskedFor)
{
    std::string lines;
    for (int i = 1; i <= 3000; ++i)
        lines += spoolLine(i, std::string(200, 'x'));
    write(spoolName(1), lines);
    const ToolRun run = collectOnce({"--log-size", "1MB"});
    EXPECT_EQ(run.exit, Exit::Good);
    constexpr qint64 limit = 1 << 20, entry = 2048; // bytes; one entry passes the limit
    qsizetype fullQty = 0;
    for (const QString& log : logs()) {
        const qint64 size = QFileInfo(QString::fromStdString(path("logs/")) + log).size();
        EXPECT_LT(size, limit + entry);
        fullQty += size >= limit;
    }
    EXPECT_GE(fullQty, 1);
    EXPECT_EQ(fullQty, logs().size() - 1);
    EXPECT_EQ(identities().size(), 3000);
}

TEST_F(Collect, WritesJson)
{
    write(spoolName(1), spoolLine(1, "\\u001b \\\" ä") + "\xFF\n" + spoolLine(3));
    QFile::remove(".lock");
    for (int round = 0; round < 2; ++round) { // without positions all comes again
        const ToolRun run = runTool({"collect", place(), "--once", "--json"});
        EXPECT_EQ(run.exit, Exit::Findings);
        const QStringList lines = QString::fromStdString(run.output).split('\n');
        ASSERT_EQ(lines.size(), 5) << run.output;
        EXPECT_TRUE(lines[0].contains(
            "\"sequence\":1,\"time\":\"2026-11-22T06:32:27.123456789Z\",\"host\":\"h7\"," // NOLINT
            "\"program\":\"pw\",\"process\":812,\"start\":\"1970-01-01T00:00:00.000000007Z\","
            "\"thread\":1,\"instantiator\":-1,\"enablements\":2,\"situation\":1001,"
            "\"description\":\"\\u001b \\\" ä\"}"))
            << lines[0].toStdString();
        EXPECT_TRUE(lines[1].contains("\"leftOut\":\"h7_pw_812_7_000001.spool, bytes "));
        EXPECT_TRUE(lines[2].contains("\"missing\":2,\"last\":2}"));
    }
    EXPECT_FALSE(QFile::exists(".lock")); // nor is anything left behind
    EXPECT_EQ(runTool({"collect", place(), "--once", "--json", "--positions", path("p")}).exit,
              Exit::Findings);
    EXPECT_EQ(folder.files().filter(".spool"), QStringList());
}

namespace {

/// A sink whose disk is full at first.
class FullSink : public Sink {
  public:
    bool write(const Report&) override
    {
        ++writes;
        return true;
    }
    bool sync() override
    {
        m_why = "full";
        return ++syncs > 2;
    }
    std::atomic<int> writes = 0;
    std::atomic<int> syncs = 0;
};

} // namespace

TEST_F(Collect, SavesAgainWhatCouldNotBeSavedAndRests)
{
    FullSink sink;
    std::atomic<int> told = 0;
    Collector collector({.spools = {place()},
                         .positions = path("positions"),
                         .isKeeping = true,
                         .tell = [&](const std::string&) { ++told; }},
                        sink, nullptr);
    const std::jthread watcher([&] {
        EXPECT_TRUE(becomesTrue([&] { return sink.syncs >= 3; }));
        EXPECT_EQ(told, 1);
        write(spoolName(1), spoolLine(1));
        EXPECT_TRUE(becomesTrue([&] { return folder.files().contains("positions"); }));
        const int syncs = sink.syncs;
        std::this_thread::sleep_for(std::chrono::milliseconds(3500)); // longer than a sweep
        EXPECT_EQ(sink.syncs, syncs);
        EXPECT_EQ(sink.writes, 1);
        collector.stop();
    });
    collector.run();
}

TEST_F(Collect, GoesOnWhenThereIsALogAgain)
{
    zmu_tools::collect::OwnLog log(path("logs"), "");
    LogSink sink(log);
    zmu_spool::SpoolLine line;
    line.description = std::string(1500, 'x');
    Report report;
    report.source = "s";
    report.line = &line;
    report.sequence = 1;
    QDir here(QString::fromStdString(place()));
    const Traces traces;
    ASSERT_TRUE(here.rename("logs", "away"));
    EXPECT_FALSE(sink.write(report));
    EXPECT_NE(sink.why().find("no log can be begun"), std::string::npos) << sink.why();
    ASSERT_TRUE(here.rename("away", "logs"));
    EXPECT_TRUE(sink.write(report)) << sink.why();
    EXPECT_TRUE(sink.sync()) << sink.why();
    EXPECT_EQ(identities(), (Items{"s#1", "s#1.2"}));
    // Of another sink's entries those are known that may come again.
    LogSink next(log);
    next.recover(0, {}, [](std::string_view, u64 sequence) { return sequence == 1; });
    next.endRecovery({"h7_pw_812_7", "s"}); // of which a file may be readable later
    EXPECT_FALSE(next.isRecovering());
    report.source = "ada/h7_pw_812_7";
    EXPECT_TRUE(sink.write(report)) << sink.why();
    next.recover(0, {}, [](std::string_view, u64) { return true; });
    next.endRecovery({"h7_pw_812_77", "h7_pw_812_7"});
    EXPECT_TRUE(next.isRecovering());
    EXPECT_TRUE(next.write(report));
    EXPECT_FALSE(next.isRecovering());
    EXPECT_EQ(next.log(), "");
}
