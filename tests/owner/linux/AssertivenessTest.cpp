// The setting of the machine, in a file.
#include "Assertiveness.h"

#include <linux/Child.h>

#include <QElapsedTimer>
#include <QFileInfo>
#include <QLockFile>

#include <pwd.h>
#include <sys/time.h>
#include <unistd.h>

#include <chrono>
#include <thread>

using namespace zmu_test;

TEST_F(Assertiveness, IsMadeInTheFileAsItIs)
{
    settings.remove();
    Owner owner;
    EXPECT_EQ(settings.content(), "[AppServer]\nZM_Assertiveness=0\n"); // there was no file
    settings.write("[AppServer]\nOther=x\n");
    EXPECT_EQ(level(owner), 0);
    EXPECT_EQ(settings.content(), "[AppServer]\nOther=x\nZM_Assertiveness=0\n");
    settings.write("[AppServer]\nZM_Assertiveness=\"7\"\n");
    EXPECT_EQ(level(owner), 7);
    settings.write("no settings at all\n");
    EXPECT_EQ(level(owner), -32);
    EXPECT_EQ(settings.content(), "no settings at all\n");
}

namespace {

/// The level as an ordinary user gets it, in a process of its own.
int levelAsUser(Owner& owner)
{
    const passwd* const nobody = getpwnam("nobody");
    Child child([&] {
        if (geteuid() == 0 && (!nobody || setgid(nobody->pw_gid) || setuid(nobody->pw_uid)))
            return 99;
        const int result = level(owner);
        return result < 0 ? 100 - result : result;
    });
    const int result = child.wait().status;
    return result > 100 ? 100 - result : result;
}

} // namespace

TEST_F(Assertiveness, OfAUserWithoutRights)
{
    if (geteuid() == 0 && !getpwnam("nobody"))
        GTEST_SKIP() << "there is no ordinary user to become";
    Owner owner;
    const QByteArray file = settings.file();
    settings.remove();
    EXPECT_EQ(levelAsUser(owner), 0); // nobody has set anything, and this one may not
    EXPECT_EQ(settings.stored(), "(none)");
    settings.store("5");
    ASSERT_EQ(chmod(file, 0444), 0);
    EXPECT_EQ(levelAsUser(owner), 5);
    settings.store("12");
    EXPECT_EQ(levelAsUser(owner), -34); // only a repair needs the right
    EXPECT_EQ(settings.stored(), "12");
    ASSERT_EQ(chmod(file, 0600), 0);
    EXPECT_EQ(levelAsUser(owner), geteuid() == 0 ? -32 : 0);
    ASSERT_EQ(chmod(file, 0666), 0); // the file, though not its directory
    settings.store("12");
    EXPECT_EQ(levelAsUser(owner), 0);
    EXPECT_EQ(settings.stored(), "0");
    settings.remove();
    ASSERT_EQ(chmod(file.left(file.lastIndexOf('/')), 0777), 0);
    EXPECT_EQ(levelAsUser(owner), 0);
    EXPECT_EQ(settings.stored(), "0");
}

TEST_F(Assertiveness, IsLookedForInAllFolders)
{
    Owner owner;
    const Folder other;
    const QByteArray first = qgetenv("XDG_CONFIG_DIRS");
    const QByteArray second = QFile::encodeName(QString::fromStdWString(other.path("")));
    ASSERT_TRUE(QDir().mkpath(second + "/Quorvane"));
    other.write("Quorvane/Farrowlink.ini", "[Other]\nx=1\n[AppServer]\nZM_Assertiveness=6\n");
    qputenv("XDG_CONFIG_DIRS", "relative:" + first + ":" + second);
    settings.remove();
    EXPECT_EQ(level(owner), 6);
    settings.store("3");
    EXPECT_EQ(level(owner), 3);
    settings.store(nullptr);
    EXPECT_EQ(level(owner), 6);
    other.write("Quorvane/Farrowlink.ini",
                "; ours\n[AppServer]\nZM_Assertiveness=66\n[Other]\nx=1");
    EXPECT_EQ(level(owner), 0); // repaired where it stands
    EXPECT_EQ(other.read("Quorvane/Farrowlink.ini"),
              "; ours\n[AppServer]\nZM_Assertiveness=0\n[Other]\nx=1\n");
    EXPECT_EQ(settings.stored(), "(none)");
    qputenv("XDG_CONFIG_DIRS", "relative");
    EXPECT_EQ(level(owner), -32);
}

TEST_F(Assertiveness, LosesNothingOfAFile)
{
    Owner owner;
    // More than is read, with the level behind it.
    const QByteArray large =
        "; " + QByteArray(0x100000, 'x') + "\n[AppServer]\nZM_Assertiveness=5\n";
    settings.write(large);
    EXPECT_EQ(level(owner), -32);
    EXPECT_TRUE(settings.content() == large);

    const Folder other;
    other.write("real.ini", "[AppServer]\nZM_Assertiveness=12\n");
    settings.remove();
    const QByteArray target = QFile::encodeName(QString::fromStdWString(other.path("real.ini")));
    ASSERT_EQ(symlink(target, settings.file()), 0);
    EXPECT_EQ(level(owner), 0);
    EXPECT_TRUE(QFileInfo(settings.file()).isSymLink());
    EXPECT_EQ(other.read("real.ini"), "[AppServer]\nZM_Assertiveness=0\n");

    int seen = 0; // of a file that an editor empties and writes a little later
    for (int i = 0; i < 5 && seen != 6; ++i) {
        settings.write("");
        std::thread editor([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            settings.write("[AppServer]\nZM_Assertiveness=6\n");
        });
        seen = level(owner);
        editor.join();
    }
    EXPECT_EQ(seen, 6);
}

TEST_F(Assertiveness, WaitsForAnotherWriterForASecond)
{
    Owner owner;
    const QString lock = settings.file() + ".lock";
    settings.store("12");
    QElapsedTimer clock;
    {
        QLockFile others(lock);
        ASSERT_TRUE(others.lock());
        const timeval longAgo[2]{}; // which makes it nobody's only if nobody has it
        ASSERT_EQ(utimes(QFile::encodeName(lock), longAgo), 0);
        clock.start();
        EXPECT_EQ(level(owner), -34);
        EXPECT_LT(clock.elapsed(), 5000);
        EXPECT_GT(clock.elapsed(), 500);
        std::thread waiting([&] { level(owner); });
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        settings.store("5");
        others.unlock();
        waiting.join();
        EXPECT_EQ(settings.stored(), "5"); // not repaired: it has a level meanwhile
        settings.store("12");
    }
    EXPECT_EQ(level(owner), 0);
    // What a process left that is gone holds nobody up.
    settings.store("12");
    Child gone([&] {
        QLockFile others(lock);
        if (others.tryLock())
            _exit(0); // which leaves the file
        return 1;
    });
    EXPECT_EQ(gone.wait().status, 0);
    ASSERT_TRUE(QFile::exists(lock));
    EXPECT_EQ(level(owner), 0);
    EXPECT_FALSE(QFile::exists(lock));
}
