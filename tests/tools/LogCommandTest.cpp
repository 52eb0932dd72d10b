// `zmu log`: what the library has written is read back, whatever the form; what cannot be read is
// shown; several logs are one.
#include "../log/LogParts.h"
#include "Growth.h"

#include <tools/Command.h>
#include <tools/log/LogReader.h>

#include <QDateTime>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>

#include <random>
#include <tuple>

using namespace zmu_test;
using namespace zmu_tools;
using namespace zmu_tools::logs;

namespace {

struct Answer {
    Exit exit = Exit::Good;
    QString output;
    QString errors;
    QList<QJsonObject> entries; ///< What was JSON of it.

    QStringList texts(const char* key) const
    {
        QStringList texts;
        for (const QJsonObject& entry : entries)
            texts << entry[QLatin1String(key)].toVariant().toString();
        return texts;
    }
};

Answer run(const std::vector<std::string>& arguments)
{
    Answer answer;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    std::vector<std::string> all = {"log"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    answer.exit = runCommandLine(all);
    answer.output = QString::fromStdString(testing::internal::GetCapturedStdout());
    answer.errors = QString::fromStdString(testing::internal::GetCapturedStderr());
    for (const QString& line : answer.output.split('\n', Qt::SkipEmptyParts)) {
        const QJsonDocument json = QJsonDocument::fromJson(line.toUtf8());
        if (json.isObject())
            answer.entries << json.object();
    }
    return answer;
}

std::string utf8(const std::wstring& path)
{
    return QString::fromStdWString(path).toStdString();
}

/// A log and, unless it is empty, its form, in the folder where the reader looks for it.
class LogCommand : public testing::Test {
  protected:
    const wchar_t* useForm(const QByteArray& form)
    {
        QDir(root()).mkdir("Templates");
        m_form = folder.write("Templates/own.html", form);
        return m_form.c_str();
    }
    /// Writes by the library.
    std::string writeLog(const QStringList& texts, const wchar_t* form, const char* name = "a.html")
    {
        Monitor monitor(folder.path(name), form);
        for (const QString& text : texts)
            EXPECT_EQ(reportText(monitor.get(), text.toStdWString().c_str()), 0);
        return utf8(folder.path(name));
    }
    /// Writes by hand.
    std::string makeLog(const QString& text, const char* name = "a.html") const
    {
        return utf8(folder.write(name, logBytes(text)));
    }
    QString root() const { return QString::fromStdWString(folder.path(".")); }

    const Folder folder;

  private:
    std::wstring m_form;
};

/// Texts of pieces that stand in forms and in what surrounds descriptions.
QStringList randomTexts(int seed, int count, const QStringList& pieces)
{
    std::mt19937 random(static_cast<unsigned>(seed));
    QStringList texts;
    for (int i = 0; i < count; ++i) {
        QString text;
        for (unsigned pieceQty = random() % 8 + 1; pieceQty > 0; --pieceQty)
            text += pieces[static_cast<int>(random() % static_cast<unsigned>(pieces.size()))];
        texts << text.trimmed() + '.';
    }
    return texts;
}

QByteArray shippedForm(const char* name = "bpw_template.html")
{
    return readFile(QString(ZMU_TEMPLATES "/" + QString(name)).toStdWString());
}

const QByteArray htmlForm =
    formOf("<html>\n", "<li>[ENTRY_ID] [HOURS]:[MINUTES] [SITUATION_ID] [SITUATION_DSCRP]</li>\n",
           "</html>\n");

} // namespace

TEST_F(LogCommand, ReadsBackWhatWasReported)
{
    const QStringList any = {"a",
                             " ",
                             "12",
                             "<b class=\"good\">good</b> ",
                             "&amp;",
                             "<br>\n",
                             "%",
                             "]",
                             "</td></tr>\n",
                             "2026-11-22",
                             "</li>\n",
                             "\r\n",
                             "<li>7 ",
                             QString::fromUtf8("\xF0\x9F\x98\x80\xC3\xA9")};
    const QStringList line = {"a", " ", "12", " - ", "<i>x</i>", "&lt;", "%", ": "};
    const std::tuple<const char*, QByteArray, QStringList> forms[] = {
        {"built in", {}, any},
        {"shipped", shippedForm(), any},
        {"list", htmlForm, any},
        {"percent", formOf("h\n", "100%% [YEAR][MONTH][DAY]%t[SITUATION_DSCRP]%n\n", "t\n"), line},
        {"bare", formOf("h\n", "[SITUATION_DSCRP]\n", "t\n"), line},
        {"no line end", formOf("h\n", "<p id=[ENTRY_ID]>[SITUATION_DSCRP]%0\n", "\n--\n"), line},
        {"in front", formOf("h\n", "[SITUATION_DSCRP] - [PRODUCT_NAME]: [SUITE_NAME]\n", "t\n"),
         line},
        {"amid", formOf("[YEAR]\n", "[NAME_OF_USER]: [SITUATION_DSCRP], [ENTRY_COLOR]\n", "t\n"),
         line},
        {"several lines", formOf("h\n", "<p>\r\n[SITUATION_DSCRP]\r\n</p>\n", "t\n"), line},
        {"tail of any text", formOf("h\n", "[SITUATION_DSCRP]\n", "[PRODUCT_NAME]: end\n"), line},
        {"joined", formOf("h\n", "<p>[PRODUCT_NAME][SITUATION_DSCRP]</p>\n", "t\n"), line},
    };
    int seed = 0;
    for (const auto& [name, form, pieces] : forms) {
        SCOPED_TRACE(name);
        const QStringList texts = randomTexts(++seed, 300, pieces);
        const std::string log = writeLog(texts, form.isEmpty() ? nullptr : useForm(form), name);
        const Answer answer = run({"--json", log});
        EXPECT_EQ(answer.exit, Exit::Good) << answer.errors.toStdString();
        const bool isJoined =
            !answer.entries.isEmpty() && answer.entries[0].contains("PRODUCT_NAME+SITUATION_DSCRP");
        EXPECT_EQ(answer.texts(isJoined ? "PRODUCT_NAME+SITUATION_DSCRP" : "SITUATION_DSCRP"),
                  texts);
        const int last = answer.entries.size();
        const QJsonObject lastEntry = last > 0 ? answer.entries.last() : QJsonObject();
        EXPECT_EQ(lastEntry["ENTRY_ID"].toInt(), form.contains("[ENTRY_ID]") ? last : 0);
        EXPECT_EQ(lastEntry["situation"].toInt(),
                  form.isEmpty() || form.contains("[SITUATION_ID]") ? textSituation : 0);
    }
}

TEST_F(LogCommand, LogThatTellsItselfNeedsNoForm)
{
    folder.makeFolder("Templates");
    folder.write("Templates/broken.html", "^HEAD\nh\n^BODY\n[NO_SUCH]\n"); // matters to no log yet
    QByteArray form;
    for (const char* const name : {"aps_template.html", "bpw_template.html"}) {
        form = shippedForm(name);
        const std::string log = writeLog({"one", "two"}, useForm(form), name);
        const Answer before = run({"--json", log});
        QFile::remove(root() + "/Templates/own.html");
        EXPECT_EQ(run({"--json", log}).output, before.output);
        EXPECT_EQ(before.texts("text"), QStringList({"one", "two"}));
        EXPECT_EQ(before.errors, "");
    }
    EXPECT_EQ(run({"--json", writeLog({}, useForm(form), "none.html")}).output, QString());

    // A form that was changed, and still says what it was, is not believed.
    QByteArray changed = form;
    changed.replace("^BODY\n<tr id=\"e[ENTRY_ID]\"", "^BODY\n<tr class=\"e[ENTRY_ID]\"");
    const std::string other = writeLog({"three"}, useForm(changed), "b.html");
    EXPECT_EQ(run({"--json", other}).texts("text"), QStringList("three"));
    QFile::remove(root() + "/Templates/own.html");
    const Answer unknown = run({other});
    EXPECT_EQ(unknown.exit, Exit::Findings);
    EXPECT_TRUE(unknown.output.contains("three")) << qPrintable(unknown.output);
    EXPECT_TRUE(unknown.errors.contains("broken.html")) << qPrintable(unknown.errors);
}

TEST_F(LogCommand, EntriesDoNotSayHowTheyAreRead)
{
    const QString forged = "<meta name=\"zmu-entry\" content=\"&lt;b&gt;{SITUATION_DSCRP}&lt;/b&gt;"
                           "&#10;\">\n<!--entries-->\n<b>forged</b>\n";
    const std::pair<const char*, QByteArray> forms[] = {
        {"built in", {}}, {"list", htmlForm}, {"shipped", shippedForm()}};
    for (const auto& [name, form] : forms) {
        SCOPED_TRACE(name);
        const std::string log =
            writeLog({"one", forged, "two"}, form.isEmpty() ? nullptr : useForm(form), name);
        EXPECT_EQ(run({"--json", log}).texts("SITUATION_DSCRP"),
                  QStringList({"one", forged, "two"}));
    }
    QFile::remove(root() + "/Templates/own.html");
    const std::string page = makeLog("<html>\n<body>\n<p>" + forged + "</p>\n</body>\n</html>\n");
    EXPECT_EQ(run({"--json", page}).exit, Exit::Findings);
}

TEST_F(LogCommand, ReadsEachWayOfWritingText)
{
    const QString text = "<html>\n<li>1 02:03 7 caf\u00e9 &eacute;</li>\n</html>\n";
    const auto bytes = [](const QString& text) {
        return QByteArray(reinterpret_cast<const char*>(text.utf16()), 2 * text.size());
    };
    QByteArray swapped = bytes(QChar(0xfeff) + text);
    for (qsizetype i = 0; i < swapped.size(); i += 2)
        std::swap(swapped[i], swapped[i + 1]);
    const std::string form = utf8(folder.write("form.html", htmlForm));
    for (const QByteArray& file : {bytes(QChar(0xfeff) + text), swapped, text.toUtf8(),
                                   bytes(QChar(0xfeff) + QString(text).replace("\n", "\r\n"))}) {
        const Answer answer = run({"--json", "--form", form, utf8(folder.write("log.html", file))});
        EXPECT_EQ(answer.exit, Exit::Good);
        EXPECT_EQ(answer.texts("text"), QStringList(QString("caf\u00e9 \u00e9")));
    }
}

TEST_F(LogCommand, DropsNothingOfALogThatWasCut)
{
    const QStringList texts = {"first", "second text", "third"};
    const std::string path = writeLog(texts, useForm(htmlForm));
    const QByteArray whole = readFile(QString::fromStdString(path).toStdWString());
    const QString log = logText(QString::fromStdString(path).toStdWString());
    for (qsizetype size = 0; size <= whole.size(); ++size) {
        SCOPED_TRACE(size);
        const std::wstring cut = folder.write("cut.html", whole.left(size));
        Forms forms(QString::fromStdWString(folder.path("Templates/own.html")));
        LogReader reader(QString::fromStdWString(cut), forms, false);
        Entry entry;
        QString read(""); // a null one begins with nothing, not even with an empty one
        qsizetype entries = 0;
        while (reader.next(entry, true)) {
            entries += entry.body != nullptr;
            read += QString::fromUtf16(entry.text.data(), qsizetype(entry.text.size()));
        }
        const QString left = asLogText(
            QString::fromUtf16(reinterpret_cast<const char16_t*>(whole.constData()), size / 2));
        EXPECT_EQ(entries, left.count("</li>\n"));
        // All of it is there but for the head, and a tail that is whole.
        if (size > 16 && size < whole.size()) {
            EXPECT_TRUE(asLogText(read).startsWith(left.mid(7))) << qPrintable(read);
        }
    }
}

TEST_F(LogCommand, ShowsWhatIsNoEntry)
{
    const QString head = "<html>\n";
    const QString tail = "</html>\n";
    const std::string form = utf8(folder.write("form.html", htmlForm));
    const std::tuple<const char*, QString, int, int> cases[] = {
        {"between", head + "<li>1 02:03 7 a</li>\nhand-made\n<li>2 02:03 7 b</li>\n" + tail, 2, 1},
        {"half", head + "<li>1 02:03 7 a<li>2 02:03 7 b</li>\n" + tail, 1, 1},
        {"behind the tail", head + "<li>1 02:03 7 a</li>\n" + tail + "old bytes", 1, 1},
        {"zeros", head + QString(500, QChar(0)) + "<li>1 02:03 7 a</li>\n" + tail, 1, 1},
        {"another head", "<body>\n<li>1 02:03 7 a</li>\n" + tail, 1, 0},
        {"no log", "Dear diary,\n", 0, 1},
        {"nothing", "", 0, 0},
        {"no such hour", head + "<li>1 99:99 7 a</li>\n" + tail, 1, 0},
        {"number", head + "<li>99999999999999999999 02:03 -7 a</li>\n" + tail, 1, 0},
    };
    for (const auto& [name, text, entries, raw] : cases) {
        SCOPED_TRACE(name);
        const Answer answer = run({"--json", "--form", form, makeLog(text)});
        const auto isRaw = [](const QJsonObject& entry) {
            return entry.contains("raw") || entry.contains("zeros");
        };
        EXPECT_EQ(std::count_if(answer.entries.begin(), answer.entries.end(), isRaw), raw);
        EXPECT_EQ(answer.entries.size(), entries + raw) << qPrintable(answer.output);
        EXPECT_EQ(answer.exit, raw ? Exit::Findings : Exit::Good);
        EXPECT_EQ(answer.errors.contains("a.html"), raw > 0);
    }
    const QString beyond = head + "<li>1 02:03 99999999999 a</li>\n" + tail;
    EXPECT_FALSE(run({"--json", "--form", form, makeLog(beyond)}).entries[0].contains("situation"));
    EXPECT_TRUE(run({"--form", form, makeLog("x\x1b[31m")}).output.contains("x\\x1b[31m"));
}

TEST_F(LogCommand, TakesTimeLinearInTheLog)
{
    const QByteArray many(900, 'a');
    const auto entries = [](const QByteArray& body) { return formOf("h\n", body + "\n", "t\n"); };
    const std::tuple<const char*, QByteArray, QString> cases[] = {
        {"many variables",
         entries("a[PRODUCT_NAME]a[SITUATION_DSCRP]a[SUITE_NAME]a[NAME_OF_USER]ab"), "a"},
        {"long head", formOf("h\n[PRODUCT_NAME]" + many + "b\n", "x[SITUATION_DSCRP]\n", "t\n"),
         "a"},
        {"number in a head",
         formOf("h\n[PRODUCT_NAME]" + many.repeated(9) + "[ENTRY_ID]b\n", "x[SITUATION_DSCRP]\n",
                "t\n"),
         "a"},
        {"number in a body", entries(many + "[ENTRY_ID]x[SITUATION_DSCRP]"), "a"},
        {"figures behind a number",
         entries("1[ENTRY_ID]" + QByteArray(900, '1') + "[YEAR]x[SITUATION_DSCRP]"), "1"},
        {"beginnings", entries("<p>[SITUATION_DSCRP]</p>"), "<p>"},
        {"ends", formOf("h\n", "<p>[SITUATION_DSCRP]</p>%0\n", "t\n"), "<p></p>x"},
        {"zeros", entries("x[SITUATION_DSCRP]"), QString("y") + QChar(0)},
        {"numbers", entries("[ENTRY_ID][SITUATION_ID][SITUATION_DSCRP][YEAR]"), "1234567890"},
        {"comments", entries("x[SITUATION_DSCRP]"), "x" + QString("<!-- >").repeated(500) + "\n"},
    };
    for (const auto& [name, form, text] : cases) {
        SCOPED_TRACE(name);
        const std::string path = utf8(folder.write("form.html", form));
        expectLinear(
            [&, &unit = text](int qty) {
                const std::string log = makeLog("h\n" + unit.repeated(qty / int(unit.size())));
                EXPECT_NE(run({"--form", path, log}).output, "");
            },
            1 << 15);
    }
    folder.write("form.html", entries(many.repeated(3) + "[SITUATION_DSCRP]"));
    const Answer refused = run({"--form", utf8(folder.path("form.html")), makeLog("h\n")});
    EXPECT_TRUE(refused.errors.contains("1023")) << qPrintable(refused.errors);
}

TEST_F(LogCommand, ReadsManyLogsWhoseProcessesWereKilled)
{
    const int count = 600;
    useForm(formOf("h\n",
                   "[YEAR]-[MONTH]-[DAY] [HOURS]:[MINUTES]:[SECONDS].[MILLISECONDS] "
                   "[SITUATION_DSCRP].\n",
                   "t\n"));
    const auto entry = [](int number) {
        return QStringLiteral("2026-11-22 00:00:%1.%2 %3.\n")
            .arg(number / 1000, 2, 10, QChar('0'))
            .arg(number % 1000, 3, 10, QChar('0'))
            .arg(number);
    };
    QStringList expected;
    for (int i = 0; i < count; ++i)
        makeLog("h\n" + entry(i) + entry(count + i) + "2026-11-22 00",
                QByteArray::number(i).append(".html").constData());
    for (int i = 0; i < 2 * count; ++i)
        expected << QString::number(i);
    QElapsedTimer timer;
    timer.start();
    const Answer answer = run({"--json", root().toStdString()});
    EXPECT_LT(timer.elapsed(), 50 * count); // each alone waits for twice as long
    EXPECT_EQ(answer.texts("text").filter(QRegularExpression(".")), expected);
    EXPECT_EQ(answer.exit, Exit::Findings);
}

TEST_F(LogCommand, SelectsAndMerges)
{
    const QByteArray form =
        formOf("h\n",
               "[YEAR]-[MONTH]-[DAY] [HOURS]:[MINUTES]:[SECONDS].[MILLISECONDS] #[SITUATION_ID] "
               "[SITUATION_DSCRP]\n",
               "t\n");
    useForm(form);
    const std::string a = makeLog("h\n"
                                  "2026-11-21 23:59:59.999 #7 one\n"
                                  "2026-11-22 10:00:00.000 #8 <b class=\"fault\">fault</b> two\n"
                                  "2026-11-22 09:00:00.000 #9 three, by a clock that was set\nt\n");
    const std::string b = makeLog("h\n2026-11-22 00:00:00.000 #1001 four\n"
                                  "2026-11-22 10:00:00.500 #7 five &lt;1&gt;\nt\n",
                                  "b.html");
    folder.write("page.html", "<html>no log</html>");

    const std::tuple<std::vector<std::string>, QString> cases[] = {
        {std::vector<std::string>(), "7 1001 8 9 7"},
        {{"--last", "2"}, "9 7"},
        {{"--last", "0"}, ""},
        {{"--situation", "7,9"}, "7 9 7"},
        {{"--situation", "8-1001", "--situation", "7"}, "7 1001 8 9 7"},
        {{"--since", "2026-11-22"}, "1001 8 9 7"},
        {{"--since", "2026-11-22 10:00"}, "8 7"},
        {{"--until", "2026-11-21"}, "7"},
        {{"--until", "2026-11-22T10:00:00"}, "7 1001 8 9 7"},
        {{"--until", "2026-11-22T10:00:00.000"}, "7 1001 8 9"},
        {{"--since", "14:00", "--grep", "no such"}, ""},
        {{"--grep", "(?i)FAULT two|<1>"}, "8 7"},
    };
    for (const auto& [options, situations] : cases) {
        for (const std::vector<std::string>& places : {std::vector{a, b}, {root().toStdString()}}) {
            std::vector<std::string> arguments = options;
            arguments.insert(arguments.begin(), {"--json"});
            arguments.insert(arguments.begin(), places.begin(), places.end());
            const Answer answer = run(arguments);
            EXPECT_EQ(answer.texts("situation").join(' '), situations);
            EXPECT_EQ(answer.exit, Exit::Good) << qPrintable(answer.errors);
        }
    }
    EXPECT_EQ(run({a, "--last", "2"}).output,
              "2026-11-22 10:00:00.000       8  fault two\n"
              "2026-11-22 09:00:00.000       9  three, by a clock that was set\n");
    EXPECT_EQ(run({"--json", a}).texts("time").first(), "2026-11-21T23:59:59.999");
}

TEST_F(LogCommand, TellsWhatIsWrongWithItsLine)
{
    const std::string log = makeLog("h\n");
    const std::string broken = utf8(folder.write("broken.html", "^HEAD\nh\n^BODY\n[NO_SUCH]\n"));
    const std::tuple<std::vector<std::string>, Exit, const char*> cases[] = {
        {std::vector<std::string>(), Exit::Usage, "LOG"},
        {{log, "--since", "yesterday"}, Exit::Usage, "yesterday"},
        {{log, "--since", "2026-02-30"}, Exit::Usage, "2026-02-30"},
        {{log, "--situation", "x"}, Exit::Usage, "\"x\""},
        {{log, "--grep", "("}, Exit::Usage, "parenthes"},
        {{log, "--last", "-1"}, Exit::Usage, "last"},
        {{log, "--\x1b[2J"}, Exit::Usage, "--\\x1b[2J"},
        {{log, "--form", "/no/such"}, Exit::Unreadable, "/no/such"},
        {{log, "--form", broken}, Exit::Unreadable, "broken.html:4:"},
        {{utf8(folder.path("none.html"))}, Exit::Unreadable, "none.html"},
        {{utf8(folder.path("none.html")), log}, Exit::Unreadable, "none.html"},
    };
    for (const auto& [arguments, exit, told] : cases) {
        const Answer answer = run(arguments);
        EXPECT_EQ(answer.exit, exit) << told;
        EXPECT_TRUE(answer.errors.contains(told)) << qPrintable(answer.errors);
    }
}
