// Logs that are followed while they are written: over a rollover, and from a folder.
#include "../log/LogParts.h"

#include <tools/log/Logs.h>
#include <tools/log/Output.h>

#include <QDir>
#include <QElapsedTimer>
#include <QRegularExpression>
#include <QThread>

using namespace zmu_test;
using namespace zmu_tools::logs;

namespace {

/// Collects what a follower shows.
class Followed {
  public:
    explicit Followed(const std::wstring& place)
        : m_forms(QString()), m_logs({QString::fromStdWString(place)}, m_forms, true)
    {}

    /// Looks until `count` texts are there, for a minute at most.
    const QStringList& await(qsizetype count)
    {
        QElapsedTimer timer;
        for (timer.start(); m_texts.size() < count && timer.elapsed() < 60000;
             QThread::msleep(20)) {
            m_logs.readNew(
                [this](const Entry& entry, const std::string&) {
                    m_texts << QString::fromStdU16String(shownText(entry));
                },
                500);
        }
        return m_texts;
    }

  private:
    Forms m_forms;
    Logs m_logs;
    QStringList m_texts;
};

class LogFollow : public testing::TestWithParam<bool> {
  protected:
    /// With a form that links its logs, or one that does not.
    void start()
    {
        QDir(QString::fromStdWString(m_folder.path("."))).mkpath("logs/Templates");
        setLogDirectory(m_folder.path("logs"));
        const QByteArray body = "<p>[ENTRY_ID] [SITUATION_ID] [SITUATION_DSCRP]</p>\n";
        const std::wstring form = m_folder.write(
            "logs/Templates/own.html",
            formOf("head\n", body, GetParam() ? "<i>next: <!--NEXT_LOG--></i>\n" : "<i>end</i>\n"));
        Stages settings(m_log, form);
        settings.offerFormExtras(GetParam());
        m_monitor = Zarn::create(&settings);
        ASSERT_TRUE(m_monitor) << settings.getSelfDX_Code();
    }
    ~LogFollow() override { Zarn::destroy(&m_monitor, 0, false); }

    const Folder m_folder;
    const std::wstring m_log = m_folder.path("logs/first log.html");
    Zarn* m_monitor = nullptr;
};

} // namespace

TEST_P(LogFollow, GoesOverToSuccessors)
{
    start();
    Followed log(m_log);
    QStringList expected;
    int second = 0; // its number in the series of the process, which other tests may have begun
    std::wstring origin;
    for (int round = 0; round < 3; ++round) {
        for (const wchar_t* text : {L"one", L"two"}) {
            ASSERT_EQ(reportText(m_monitor, text), 0);
            expected << QString::fromWCharArray(text);
        }
        if (round != 1) { // entries of that round are read only after the rollover
            EXPECT_EQ(log.await(expected.size()), expected);
        }
        ASSERT_TRUE(m_monitor->reestablishLogFile(false));
        if (round == 0) {
            const QString note = log.await(expected.size() + 1).last();
            const auto parts = QRegularExpression("#([0-9]+) .* with (.+)\\.$").match(note);
            second = parts.captured(1).toInt();
            origin = parts.captured(2).toStdWString();
        }
        expected << seriesNote(second + round, origin);
    }
    EXPECT_EQ(log.await(expected.size()), expected);
}

TEST_P(LogFollow, ShowsHalfAnEntryWhenNoMoreComes)
{
    start();
    Followed log(m_log);
    ASSERT_EQ(reportText(m_monitor, L"whole"), 0);
    EXPECT_EQ(log.await(1), QStringList("whole"));
    Zarn::destroy(&m_monitor, 0, false);

    // As a process leaves it that is killed amid a write: over the tail, and less than it was.
    const QByteArray whole = readFile(m_log);
    const QByteArray entry = logBytes("<p>2 100 ha").mid(2);
    const auto tail = whole.lastIndexOf(logBytes("<i>").mid(2));
    m_folder.write("logs/first log.html", whole.left(tail) + entry);
    EXPECT_EQ(log.await(2), QStringList({"whole", "<p>2 100 ha"}));

    // What comes nevertheless goes over it.
    m_folder.write("logs/first log.html",
                   whole.left(tail) + logBytes("<p>2 100 half</p>\n<i>end</i>\n").mid(2));
    EXPECT_EQ(log.await(3).last(), "half");
}

TEST_P(LogFollow, FindsNewLogsOfAFolder)
{
    start();
    Followed folder(m_folder.path("logs"));
    ASSERT_EQ(reportText(m_monitor, L"one"), 0);
    EXPECT_EQ(folder.await(1), QStringList("one"));
    Monitor other(m_folder.path("logs/other.html"),
                  m_folder.path("logs/Templates/own.html").c_str());
    ASSERT_EQ(reportText(other.get(), L"two"), 0);
    EXPECT_EQ(folder.await(2), QStringList({"one", "two"}));
    ASSERT_EQ(reportText(m_monitor, L"three"), 0);
    EXPECT_EQ(folder.await(3).last(), "three");
}

TEST(LogFollowFiles, TellsOfALogThatWasCutOrReplaced)
{
    const Folder folder;
    const auto write = [&folder](const char* name, const QString& entries) {
        return folder.write(name, logBytes("<log>\n" + entries + "</log>\n"));
    };
    QDir(QString::fromStdWString(folder.path("."))).mkdir("Templates");
    folder.write("Templates/own.html", plainForm);
    const std::wstring path = write("log.html", "one\ntwo\n");
    bool isRenamed = false;
    testing::internal::CaptureStderr();
    {
        Followed log(path);
        EXPECT_EQ(log.await(2), QStringList({"one", "two"}));
        write("log.html", "three\n"); // shorter
        EXPECT_EQ(log.await(3).last(), "three");
        write("log.html", "four, which is longer\nfive\n");
        EXPECT_EQ(log.await(5).mid(3), QStringList({"four, which is longer", "five"}));
        const QString name = QString::fromStdWString(path);
        isRenamed = QFile::rename(name, name + ".old");
        if (isRenamed) {
            write("log.html.old", "four, which is longer\nfive\nsix\n"); // still read
            EXPECT_EQ(log.await(6).last(), "six");
            write("log.html", "seven\n");
            EXPECT_EQ(log.await(7).mid(5), QStringList({"six", "seven"}));
        }
    }
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_EQ(QByteArray::fromStdString(told).count("cut or replaced"), isRenamed ? 3 : 2) << told;
    if (!isRenamed)
        GTEST_SKIP() << "a file that is read cannot be renamed here; the rest holds";
}

INSTANTIATE_TEST_SUITE_P(Links, LogFollow, testing::Bool(),
                         [](const auto& info) { return info.param ? "Linked" : "Noted"; });
