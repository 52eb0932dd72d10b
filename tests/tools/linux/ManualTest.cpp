// Man page and completion, as the programs take them that read them.
#include <gtest/gtest.h>

#include <QProcess>
#include <QStandardPaths>

#include "Files.h"
#include "ToolRun.h"

using namespace zmu_tools;
using zmu_test::Folder;

namespace {

/// What a program says, errors with it.
std::string outputOf(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    EXPECT_TRUE(process.waitForFinished(60'000)) << process.errorString().toStdString();
    return process.readAll().toStdString();
}

} // namespace

TEST(Manual, ManPageHasEachCommandAndPassesGroff)
{
    const Folder folder;
    const ToolRun run = runTool({"manual", "man"});
    EXPECT_EQ(run.exit, Exit::Good);
    for (const char* const part : {".SS zmu check\n", ".SS zmu form preview\n", "\\-\\-watch",
                                   "\\fB\\-\\-ids\\fR \\fIA\\-B\\fR", ".SH EXIT STATUS", "MODULE"})
        EXPECT_NE(run.output.find(part), std::string::npos) << part;
    EXPECT_EQ(run.output.find("\\-\\-here"), std::string::npos) << "a hidden option";
    EXPECT_EQ(run.output.find("zmu manual"), std::string::npos);

    if (QStandardPaths::findExecutable("groff").isEmpty())
        GTEST_SKIP() << "no groff here";
    const std::wstring page = folder.write("zmu.1", QByteArray::fromStdString(run.output));
    EXPECT_EQ(outputOf("groff", {"-man", "-ww", "-Tutf8", "-z", QString::fromStdWString(page)}),
              "");
}

TEST(Manual, BashCompletesCommandsOptionsAndFiles)
{
    const Folder folder;
    const std::wstring script =
        folder.write("zmu", QByteArray::fromStdString(runTool({"manual", "bash"}).output));
    const struct {
        const char* words;
        const char* completed;
    } rows[] = {
        {"fo", "form "},
        {"ex", "explain "},
        {"form ''", "check preview "},
        {"form pre", "preview "},
        {"form preview --w", "--watch "},
        {"check --aff", "--affixes "},
        {"check some-module --pl", "--plug-ins "},
        {"form check ''", ""}, // what is empty is left to file names
        {"--v", "--version "},
        {"man", ""},
    };
    for (const auto& row : rows) {
        const std::string completed = outputOf(
            "bash", {"-c",
                     QString("source \"$0\"; COMP_WORDS=(zmu %1); "
                             "COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _zmu; "
                             "[[ ${#COMPREPLY[@]} == 0 ]] || printf '%s ' \"${COMPREPLY[@]}\"")
                         .arg(row.words),
                     QString::fromStdWString(script)});
        EXPECT_EQ(completed, row.completed) << row.words;
    }
}
