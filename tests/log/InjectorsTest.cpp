// Reports of the system in a log: the block of a form that asks for them, what is hostile in them,
// and temporary folders that refuse them.
#include "LogParts.h"

#include <QDir>
#include <QRegularExpression>

using namespace zmu;
using namespace zmu_test;

namespace {

/// The variables in a frame each, so that what fills them can be told apart.
const QByteArray threeReports = "<1 [SYS_INFO_ENV_APP] 1>\n<2 [SYS_INFO_ENV_OP] 2>\n"
                                "<3 [SYS_INFO_VARS_ENV] 3>\n";

QByteArray formWith(const QByteArray& block, const QByteArray& head = threeReports)
{
    return "^INJECT_SYS_INFO\n" + block + formOf(head, "[SITUATION_DSCRP]\n", "</log>\n");
}

/// A log whose form has that block, in a folder where its temporary files are, too.
class Injectors : public testing::Test {
  protected:
    void SetUp() override
    {
        folder.makeFolder("temporary");
        useTemporaryFolder("temporary");
    }
    ~Injectors() override
    {
        for (const auto& [variable, value] : m_before)
            value.isNull() ? qunsetenv(variable) : qputenv(variable, value);
    }
    void useTemporaryFolder(const char* name) const
    {
        for (const auto& [variable, before] : m_before)
            qputenv(variable, toNarrow(folder.path(name)).c_str());
    }
    QStringList temporaryFiles() const
    {
        return QDir(QString::fromStdWString(folder.path("temporary"))).entryList(QDir::Files);
    }

    /// The number of the failure for which the form was dismissed, 0 for none.
    int establish(const QByteArray& form)
    {
        QFile::remove(QString::fromStdWString(log));
        data.emplace(log, folder.write("form.html", form));
        Traces traces;
        EXPECT_TRUE(data->establishLogFile(true)) << data->getSelfDX_Code();
        trace = traces.take();
        const auto dismissal =
            QRegularExpression("is dismissing exception #(\\d+)\\.").match(trace);
        EXPECT_EQ(data->getFileLog()->m_formIsBuiltIn, dismissal.hasMatch());
        return dismissal.captured(1).toInt();
    }
    /// What stands in the head between two marks.
    QString between(const char* start, const char* end) const
    {
        return logText(log).section(start, 1).section(end, 0, 0);
    }

    const Folder folder;
    const std::wstring log = folder.path("log.html");
    std::optional<Stages> data;
    QString trace;

  private:
    const std::pair<const char*, QByteArray> m_before[3] = {
        {"TMPDIR", qgetenv("TMPDIR")}, {"TEMP", qgetenv("TEMP")}, {"TMP", qgetenv("TMP")}};
};

} // namespace

TEST_F(Injectors, BlocksAndTheirFailures)
{
    const QByteArray pair = "c\n=\n";
    const QByteArray datum = "\n;\n";
    const QByteArray four = "SYS_INFO_ENV_OP 1 1 0\n" + pair + datum;
    const struct {
        QByteArray block;
        int code;
    } cases[] = {
        {"1\n" + four, 0},
        {"injectors: 1 and 2\n" + four, 0},
        {"0\nnonsense\n", 0},
        {"1\nSYS_INFO_ENV_OP n=1 1x x10\n" + pair + datum, 0},
        {"5\n" + four + four + four + "nonsense\n", 0},
        {"none\n" + four, dx::InjectorCountMissing},
        {"", dx::InjectorCountMissing}, // the marker of the head
        {"4294967295\n" + four, dx::InjectorCountNegative},
        {"1\n\n", dx::InjectorDefinitionUnusable},
        {"1\nSYS_INFO_ENV_OP 1 1\n", dx::InjectorDefinitionUnusable},
        {"1\nSYS_INFO_ENV_OP  1 1 0\n", dx::InjectorDefinitionUnusable},
        {"1\nSYS_INFO_ENV_OP 1 1 0 \n", dx::InjectorDefinitionUnusable},
        {"1\nSYS_INFO_ENV_OP 1 1 " + QByteArray(1002, '0') + "\n", 0},
        {"1\nSYS_INFO_ENV_OP 1 1 " + QByteArray(1004, '0') + "\n", dx::InjectorDefinitionUnusable},
        {"1\nSYS_INFO 1 1 0\n", dx::InjectorVarUnknown},
        {"1\nYEAR 1 1 0\n", dx::InjectorVarUnknown},
        {"1\nSYS_INFO_ENV_OP x 1 0\n", dx::CaptionCountMissing},
        {"1\nSYS_INFO_ENV_OP 3000000000 1 0\n", dx::CaptionCountNegative},
        {"1\nSYS_INFO_ENV_OP 1 x 0\n", dx::DatumCountMissing},
        {"1\nSYS_INFO_ENV_OP 1 3000000000 0\n", dx::DatumCountNegative},
        {"1\nSYS_INFO_ENV_OP 1 1 2\n", dx::InjectorFormMissing},
        {"1\nSYS_INFO_ENV_OP 99 1 0\n" + pair, dx::InjectorBlockCutShort}};
    for (const auto& test : cases) {
        // The lines behind the count may be those of the head, which are there to be read.
        EXPECT_EQ(establish(formWith(test.block)), test.code) << test.block.constData();
        EXPECT_EQ(data->report(L"entry"), dx::Satisfied);
        EXPECT_TRUE(logText(log).contains("entry"));
        data.reset();
        EXPECT_TRUE(temporaryFiles().isEmpty());
    }
}

TEST_F(Injectors, ReportsStandInTheHead)
{
    qputenv("ZMU_TEST", "the value");
    EXPECT_EQ(establish(formWith("3\nSYS_INFO_VARS_ENV 1 2 0\n(\n:\n[\n]\n{\n}\n"
                                 "SYS_INFO_ENV_APP 1 1 1\n(\n)\n[\n]\n"
                                 "SYS_INFO_ENV_OP 1 1 0\n\n=\n\n;\n")),
              0);
    const QString modules = between("<1 ", " 1>");
    EXPECT_EQ(modules.count('('), 59);
    EXPECT_EQ(modules.count('['), 59 * 7);
    EXPECT_TRUE(between("<2 ", " 2>").contains("Total Physical Memory="));
    const QString variables = between("<3 ", " 3>");
    EXPECT_TRUE(
        variables.contains(QRegularExpression("\\(ZMU_TEST:(\\[the value\\]|\\{the value\\})")));
    EXPECT_TRUE(variables.contains('[') && variables.contains('{'));

    // A successor shows what was found then; an entry shows nothing.
    qputenv("ZMU_TEST", "another value");
    const QString head = logText(log).section("</log>", 0, 0);
    setLogDirectory(folder.path("."));
    EXPECT_TRUE(data->reestablishLogFile(false)) << data->getSelfDX_Code();
    EXPECT_EQ(logText(data->getFileLogName()).section("</log>", 0, 0), head);
    EXPECT_EQ(establish("^INJECT_SYS_INFO\n1\nSYS_INFO_ENV_OP 0 0 0\n" +
                        formOf("-\n", "[SITUATION_DSCRP]<[SYS_INFO_ENV_OP]>\n", "</log>\n")),
              0);
    data->report(L"entry");
    EXPECT_TRUE(logText(log).contains("entry<>\n"));
}

TEST_F(Injectors, OnlyWhatIsUsedAndDefined)
{
    EXPECT_EQ(establish(formWith("nonsense\n", "nothing\n")), 0); // is not even read
    EXPECT_EQ(data->getFileLog()->m_injectorFiles, nullptr);
    EXPECT_EQ(establish(formOf(threeReports, "[SITUATION_DSCRP]\n", "</log>\n")), 0);
    EXPECT_TRUE(trace.contains("detected a request for an undefined log file form injector."));
    EXPECT_EQ(between("<2 ", " 2>"), "");
    // A later definition of the same report takes the place of the earlier one.
    EXPECT_EQ(establish(formWith("2\nSYS_INFO_ENV_OP 1 0 0\nearlier and longer\n=\n"
                                 "SYS_INFO_ENV_OP 1 0 0\nlater\n=\n")),
              0);
    EXPECT_TRUE(between("<2 ", " 2>").startsWith("laterPlatform="));
    EXPECT_FALSE(logText(log).contains("earlier"));
    // Only ASCII keeps its meaning in a section, but an affix is text.
    EXPECT_EQ(establish(formWith("1\nSYS_INFO_ENV_OP 1 0 0\n\xC3\xBC%1[DAY]\n=\n")), 0);
    EXPECT_TRUE(between("<2 ", " 2>").startsWith(text(u"\u00fc%1[DAY]Platform=")));
}

TEST_F(Injectors, HostileValuesShowAsTheyAre)
{
    const QByteArray value = "</table>\"'<script>alert(1)</script>%1!s!%%[DAY]&lt;";
    qputenv("ZMU_TEST", value);
    qputenv("ZMU_<b>", "1");
    EXPECT_EQ(establish(formWith("1\nSYS_INFO_VARS_ENV 1 1 0\n<tr>\n:\n<td>\n</td>\n")), 0);
    const QString variables = between("<3 ", " 3>");
    QString shown = QString(value).toHtmlEscaped().replace("'", "&#39;");
    shown.replace("&amp;lt;", "&amp;lt;<br>"); // a list, by its semicolon
    EXPECT_TRUE(variables.contains("<tr>ZMU_TEST:<td>" + shown + "</td>")) << qPrintable(variables);
    EXPECT_TRUE(variables.contains("<tr>ZMU_&lt;b&gt;:<td>1</td>"));
    EXPECT_EQ(variables.count("<td>"), variables.count("</td>"));
}

TEST_F(Injectors, TemporaryFoldersThatRefuse)
{
    const QByteArray form = formWith("1\nSYS_INFO_ENV_OP 0 0 0\n");
    useTemporaryFolder("not there");
    EXPECT_EQ(establish(form), dx::InjectorFileNotWritten);
    EXPECT_EQ(data->report(L"entry"), dx::Satisfied);
    EXPECT_TRUE(logText(log).contains("will use default layout instead"));
    EXPECT_TRUE(logText(log).contains("entry"));
    // What a process that was killed has left behind goes; what only looks like it stays.
    useTemporaryFolder("temporary");
    folder.write("temporary/FarrowlinkAb12yz", "left");
    folder.write("temporary/FarrowlinkAb12yz.txt", "another's");
    EXPECT_EQ(establish(form), 0);
    // Its own file has no name where it can do without one, and is spared where it cannot.
    EXPECT_EQ(temporaryFiles().contains("FarrowlinkAb12yz"), !isWindows());
    EXPECT_EQ(temporaryFiles().size(), 2);
    EXPECT_TRUE(temporaryFiles().contains("FarrowlinkAb12yz.txt"));
}
