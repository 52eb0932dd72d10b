// `zmu form` as its users run it.
#include <gtest/gtest.h>

#include <QFile>
#include <QProcess>

#include "Files.h"
#include "ToolRun.h"

using namespace zmu_tools;
using zmu_test::Folder;

namespace {

const QByteArray good = "^HEAD\n<p>[PRODUCT_NAME]\n^BODY\n<li>[SITUATION_DSCRP]\n^TAIL\n</p>\n";

std::string utf8(const std::wstring& path)
{
    return QString::fromStdWString(path).toStdString();
}

/// The next line of a program that runs; empty if it does not come.
QByteArray nextLine(QProcess& tool)
{
    while (!tool.canReadLine()) {
        if (!tool.waitForReadyRead(60'000))
            return {};
    }
    return tool.readLine().trimmed();
}

} // namespace

TEST(FormCommand, ChecksShippedFormsAndWhatCannotBeRead)
{
    const Folder folder;
    for (const char* const form : {"aps_template.html", "bpw_template.html"}) {
        const ToolRun run = runTool({"form", "check", std::string(ZMU_TEST_TEMPLATES "/") + form});
        EXPECT_EQ(run.exit, Exit::Good) << run.output;
        EXPECT_EQ(run.output.find("warning"), std::string::npos) << run.output;
    }
    const std::string bad =
        utf8(folder.write("bad.html", QByteArray(good).replace("PROD", "PORD")));
    const ToolRun run = runTool({"form", "check", bad});
    EXPECT_EQ(run.exit, Exit::Findings);
    EXPECT_EQ(run.output, bad +
                              ":2:4: error: no variable is called [PORDUCT_NAME]; [PRODUCT_NAME] "
                              "would be one (188/VarNameUnknown)\n"
                              "    <p>[PORDUCT_NAME]\n"
                              "       ^\n" +
                              bad + ": the library would use its built-in form instead\n");
    for (const char* const command : {"check", "preview"}) {
        EXPECT_EQ(runTool({"form", command, "/no/such/form"}).exit, Exit::Unreadable);
        EXPECT_EQ(runTool({"form", command, utf8(folder.path("."))}).exit, Exit::Unreadable);
        EXPECT_EQ(runTool({"form", command}).exit, Exit::Usage);
    }
    EXPECT_EQ(runTool({"form"}).exit, Exit::Usage);
    EXPECT_NE(runTool({"form", "check", "\x1b[2J"}).errors.find("\\x1b[2J"), std::string::npos);
}

TEST(FormCommand, PreviewsWithSampleEntriesOfEveryKind)
{
    const Folder folder;
    const std::string form = utf8(folder.write("form.html", good));
    const std::string log = utf8(folder.path("log.html"));
    for (int i = 0; i < 2; ++i) { // over the one before
        const ToolRun run = runTool({"form", "preview", form, "--log", log});
        EXPECT_EQ(run.exit, Exit::Good) << run.errors;
        EXPECT_EQ(run.output, log + "\n");
    }
    const QString text = zmu_test::logText(folder.path("log.html"));
    EXPECT_EQ(text.count("<li>"), 8);
    for (const char* const word : {"<p>Example Product", "class=\"note\"", "class=\"good\"",
                                   "class=\"warning\"", "class=\"fault\"", "<a href", "&lt;b"})
        EXPECT_TRUE(text.contains(word)) << word;

    const std::string shipped = ZMU_TEST_TEMPLATES "/bpw_template.html";
    EXPECT_EQ(runTool({"form", "preview", shipped, "--log", log}).exit, Exit::Good);
    EXPECT_TRUE(zmu_test::logText(folder.path("log.html")).contains("</html>"));

    folder.write("form.html", "no form");
    const ToolRun run = runTool({"form", "preview", form, "--log", log});
    EXPECT_EQ(run.exit, Exit::Findings);
    EXPECT_NE(run.output.find(log + " (with the built-in form)\n"), std::string::npos);
    EXPECT_EQ(runTool({"form", "preview", form, "--log", form}).exit, Exit::Unreadable);
    EXPECT_EQ(runTool({"form", "preview", form, "--log", "/no/such/folder/log"}).exit,
              Exit::Unreadable);
    const std::wstring notes = folder.write("notes.txt", "not to be lost");
    const ToolRun refused = runTool({"form", "preview", form, "--log", utf8(notes)});
    EXPECT_EQ(refused.exit, Exit::Unreadable);
    EXPECT_NE(refused.errors.find("no log"), std::string::npos) << refused.errors;
    EXPECT_EQ(zmu_test::readFile(notes), "not to be lost");
}

TEST(FormCommand, WatchesAFormThatEditorsReplace)
{
    const Folder folder;
    const std::wstring form = folder.write("form.html", good);
    const QByteArray log = QString::fromStdWString(folder.path("log.html")).toUtf8();
    QProcess tool;
    tool.start(ZMU_TEST_TOOL,
               {"form", "preview", "--watch", "--log", log, QString::fromStdWString(form)});
    EXPECT_EQ(nextLine(tool), log);

    for (const char* const name : {"First", "Second", "Third"}) {
        const QByteArray changed = QByteArray(good).replace("<p>", QByteArray("<p>") + name);
        const bool isReplaced = *name != 'S';
        const std::wstring file = folder.write(isReplaced ? "new.html" : "form.html", changed);
        if (isReplaced) {
            QFile::remove(QString::fromStdWString(form));
            ASSERT_TRUE(
                QFile::rename(QString::fromStdWString(file), QString::fromStdWString(form)));
        }
        QByteArray line; // what was seen half written is written with again
        do
            line = nextLine(tool);
        while (!line.isEmpty() &&
               (line != log || !zmu_test::logText(folder.path("log.html")).contains(name)));
        EXPECT_EQ(line, log) << name;
    }
    tool.kill();
    tool.waitForFinished();
}
