// What the system refuses: room, and files that are none. The torture program has more of it.
#include "LogParts.h"

#include <linux/Refusals.h>

#include <sys/mount.h>
#include <sys/stat.h>

using namespace zmu;
using namespace zmu_test;

TEST(LogFailures, PipesAndDevicesAreNoFiles)
{
    const Folder folder;
    const std::wstring pipe = folder.path("pipe");
    ASSERT_EQ(mkfifo(toNarrow(pipe).c_str(), 0600), 0);
    for (const std::wstring& name : {pipe, std::wstring(L"/dev/null"), std::wstring(L"/dev/full"),
                                     std::wstring(L"/dev/zero")}) {
        SCOPED_TRACE(toNarrow(name));
        EXPECT_EQ(Monitor(name).createCode(), dx::FileNotOpened);
        const FormTrial trial = tryForm(folder, name);
        EXPECT_TRUE(trial.isBuiltIn);
        EXPECT_EQ(trial.code, dx::Satisfied);
    }
}

TEST(LogFailures, TemporaryFolderWithoutRoom)
{
    const Folder folder;
    const std::string disk = toNarrow(folder.makeFolder("disk"));
    if (const std::string reason = mountSmallDisk(disk); !reason.empty())
        GTEST_SKIP() << reason;
    qputenv("TMPDIR", disk.c_str());
    const std::wstring form = folder.write(
        "form.html", "^INJECT_SYS_INFO\n1\nSYS_INFO_ENV_APP 0 0 0\n" +
                         formOf("[SYS_INFO_ENV_APP]\n", "[SITUATION_DSCRP]\n", "</log>\n"));
    const auto expectBuiltIn = [&] {
        const FormTrial trial = tryForm(folder, form);
        EXPECT_EQ(trial.dismissed, QList<int>{dx::InjectorFileNotWritten});
        EXPECT_TRUE(trial.text.contains("entry"));
    };
    {
        const SizeLimit held(4000);
        expectBuiltIn();
    }
    fill(disk + "/ballast");
    expectBuiltIn();
    umount(disk.c_str());
}
