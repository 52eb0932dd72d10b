// Whose lines are taken for whose: links, modes and owners of files and folders.
#include "MadeSpools.h"

#include <spool/UserNames.h>

#include <dlfcn.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

using namespace zmu_test;
using zmu_spool::Positions;
using zmu_spool::SpoolReader;

namespace {

bool areNamesAway = false; ///< As with a directory of users that does not answer.

} // namespace

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the C library's are reserved
extern "C" int getpwuid_r(uid_t user, passwd* entry, char* texts, std::size_t textsSize,
                          passwd** found)
{
    static const auto next =
        reinterpret_cast<decltype(&getpwuid_r)>(dlsym(RTLD_NEXT, "getpwuid_r"));
    if (!areNamesAway)
        return next(user, entry, texts, textsSize, found);
    *found = nullptr;
    return EIO;
}

/// No user of a directory is in the file.
extern "C" int fgetpwent_r(FILE*, passwd*, char*, std::size_t, passwd** found)
{
    *found = nullptr;
    return ENOENT;
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

class SpoolTrust : public MadeSpools {
  protected:
    void refuses(SpoolReader& reader, const char* reason)
    {
        const Items items = readAll(reader, positions);
        ASSERT_EQ(items.size(), 1) << reason;
        EXPECT_NE(items.front().find(reason), std::string::npos) << items.front();
    }
    void refuses(const char* reason)
    {
        SpoolReader reader({place()}, positions);
        refuses(reader, reason);
    }
    void setMode(const std::string& name, mode_t mode)
    {
        ASSERT_EQ(chmod(path(name.c_str()).c_str(), mode), 0);
    }

    const Folder elsewhere;
    Positions positions{QString::fromStdWString(elsewhere.path("positions")).toStdString()};
    const std::string name = spoolName();
};

TEST_F(SpoolTrust, IsDeniedToWhatOthersCouldHaveWritten)
{
    write(name, spoolLine(1));
    setMode(name, 0660);
    refuses("others than its owner");
    setMode(name, 0642);
    refuses("others than its owner");
    setMode(name, 0640);
    setMode(".", 0770);
    refuses("others could change its name");
    setMode(".", 0700);
    ASSERT_EQ(link(path(name.c_str()).c_str(), path("another").c_str()), 0);
    refuses("it has other names");
    ASSERT_EQ(unlink(path("another").c_str()), 0);
    setMode(".", 01777);

    // What is mended is read, and what becomes wrong in the midst of it is read no further.
    setMode(name, 0666);
    SpoolReader reader({place()}, positions, {.sweep = 0});
    refuses(reader, "others than its owner");
    EXPECT_EQ(readAll(reader, positions), Items());
    setMode(name, 0640);
    EXPECT_EQ(readAll(reader, positions), (Items{"1 text", "ended " + name}));
    write(name, spoolLine(1));
    setMode(".", 0700);
}

TEST_F(SpoolTrust, IsDeniedToWhatIsNoFile)
{
    folder.write("target", QByteArray::fromStdString(spoolLine(1)));
    ASSERT_EQ(symlink("target", path(name.c_str()).c_str()), 0);
    refuses("it is no file");
    ASSERT_EQ(unlink(path(name.c_str()).c_str()), 0);
    ASSERT_EQ(mkfifo(path(name.c_str()).c_str(), 0600), 0);
    refuses("it is no file");
    ASSERT_EQ(unlink(path(name.c_str()).c_str()), 0);
    folder.makeFolder(name.c_str());
    refuses("it is no file");
}

TEST_F(SpoolTrust, TellsTheOwner)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root gives files away";
    write(name, spoolLine(1));
    ASSERT_EQ(chown(path(name.c_str()).c_str(), 54321, 0), 0);
    setMode(".", 01777);
    ASSERT_EQ(chown(path(".").c_str(), 54322, 0), 0);
    refuses("its folder belongs to 54322");
    ASSERT_EQ(chown(path(".").c_str(), 0, 0), 0);
    SpoolReader reader({place()}, positions);
    zmu_spool::SpoolItem item;
    ASSERT_TRUE(reader.next(item));
    EXPECT_EQ(item.mark.file->user, "54321");
    EXPECT_EQ(item.mark.file->source, "54321/h7_pw_812_7");
}

TEST_F(SpoolTrust, KnowsUsersWhileNobodyTellsTheirNames)
{
    const passwd* const self = getpwuid(geteuid());
    if (!self)
        GTEST_SKIP() << "the user has no name";
    const std::string user = std::to_string(geteuid()), userName = self->pw_name;
    write(name, spoolLine(1));
    SpoolReader reader({place()}, positions);
    zmu_spool::SpoolItem item;
    zmu_spool::UserNames names;
    areNamesAway = true;
    ASSERT_TRUE(reader.next(item));
    EXPECT_EQ(item.mark.file->source, user + "/h7_pw_812_7");
    EXPECT_EQ(names.of(user), user);
    areNamesAway = false;
    EXPECT_TRUE(becomesTrue([&] { return names.of(user) == userName; })); // it is asked for again
    areNamesAway = true;
    EXPECT_EQ(names.of(user), userName);
    EXPECT_EQ(readAll(reader, positions, true), Items{"ended " + name}); // it is still the same's
    areNamesAway = false;
    EXPECT_EQ(folder.files(), QStringList());
}

TEST_F(SpoolTrust, LastLineWaitsForAProcessThatLives)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const std::string torn = spoolLine(2).substr(0, 30);
    write(name, spoolLine(1) + torn);
    const pid_t writer = fork();
    if (writer == 0) { // as the proxy has it
        const int lock = static_cast<int>(zmu_spool::lockFile(path(name.c_str())));
        char word = lock < 0 ? 'n' : 'y';
        std::ignore = ::write(ends[1], &word, 1);
        pause();
    }
    char word = 0;
    ASSERT_EQ(read(ends[0], &word, 1), 1);
    ASSERT_EQ(word, 'y');
    SpoolReader reader({place()}, positions, {.sweep = 0});
    EXPECT_EQ(readAll(reader, positions), Items{"1 text"});
    EXPECT_EQ(readAll(reader, positions), Items());
    kill(writer, SIGKILL);
    waitpid(writer, nullptr, 0);
    EXPECT_EQ(readAll(reader, positions, true), (Items{"torn " + torn, "ended " + name}));
    EXPECT_EQ(folder.files(), QStringList());
    close(ends[0]);
    close(ends[1]);
}
