// Files that are none, or not where they seem to be.
#include "../ToolRun.h"

#include <QProcess>

#include <sys/stat.h>

#include "Files.h"

#include <filesystem>

using namespace zmu_tools;
using zmu_test::Folder;

TEST(ToolFiles, OutputThatCannotBeWrittenIsAnError)
{
    const Folder folder;
    const QString form = QStringLiteral(ZMU_TEST_TEMPLATES "/bpw_template.html");
    const QString log = QString::fromStdWString(folder.write("a.html", "\xFF\xFEx\0"));
    for (const QStringList& arguments :
         {QStringList{"help"}, QStringList{"--version"}, QStringList{"explain", "135"},
          QStringList{"form", "check", form}, QStringList{"check", ZMU_TEST_MISTAKEN, "--ids=2"},
          QStringList{"log", log}, QStringList{"log", "--follow", log}}) {
        SCOPED_TRACE(arguments.join(' ').toStdString());
        QProcess tool;
        tool.setStandardOutputFile(QStringLiteral("/dev/full"));
        tool.start(ZMU_TEST_TOOL, arguments);
        ASSERT_TRUE(tool.waitForFinished(60'000));
        EXPECT_EQ(tool.exitCode(), int(Exit::Unreadable));
        EXPECT_TRUE(tool.readAllStandardError().contains("standard output cannot be written"));
    }
}

TEST(ToolFiles, PipesAreNotReadAndLinksAreSeenThrough)
{
    const Folder folder;
    const std::string pipe = std::filesystem::path(folder.path("pipe")).string();
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& file : {pipe, std::string("/dev/zero")}) {
        EXPECT_EQ(runTool({"form", "check", file}).exit, Exit::Unreadable);
        EXPECT_EQ(runTool({"check", ZMU_TEST_MISTAKEN, "--form", file}).exit, Exit::Unreadable);
        EXPECT_EQ(runTool({"log", file}).exit, Exit::Unreadable);
    }

    const std::filesystem::path root(folder.path("."));
    std::filesystem::create_directory_symlink(root, root / "d");
    const std::wstring form =
        folder.write("f.html", "^HEAD\nh\n^BODY\n[SITUATION_DSCRP]\n^TAIL\nt\n");
    const ToolRun run = runTool({"form", "preview", std::filesystem::path(form).string(), "--log",
                                 (root / "d/f.html").string()});
    EXPECT_EQ(run.exit, Exit::Unreadable);
    EXPECT_NE(run.errors.find("over the form"), std::string::npos) << run.errors;
    EXPECT_TRUE(std::filesystem::exists(form));
}
