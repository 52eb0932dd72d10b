// What is read in the system's files. That nothing in them does harm is what a fuzz target shows.
#include <zmu/platform/linux/SystemFiles.h>

#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include <sys/stat.h>

#include <fstream>

using namespace zmu;

namespace {

TEST(SystemFiles, KernelReleases)
{
    constexpr DWORD none = 9;
    const std::pair<const char*, DWORD> builds[] = {
        {"6.1.0-13-amd64", 0},  {"6.1.167.4-x", 167},    {"6.1-rc1", 0},
        {"6.1.99999999999", 0}, {"99999999999.1", none}, {"6", none},
        {" 6.1", none},         {"6.-1", none},          {"", none}};
    for (const auto& [release, build] : builds) {
        KernelVersion found{6, 1, none};
        EXPECT_EQ(parseKernelRelease(release, found), build != none) << release;
        EXPECT_TRUE(found.major == 6 && found.minor == 1 && found.build == build) << release;
    }
}

TEST(SystemFiles, DriversOfOneKernel)
{
    const QTemporaryDir folder;
    const std::string modules = folder.path().toStdString();
    // Each stands before those above it.
    for (const QString place : {"extra/drm.ko.gz", "updates/dkms/drm.ko.zst", "updates/drm.ko",
                                "kernel/drivers/gpu/drm/drm.ko.xz"}) {
        EXPECT_TRUE(QDir(folder.path()).mkpath(QFileInfo(place).path()));
        QDir(folder.path()).mkpath("kernel/drivers/gpu/drm/drm.ko"); // no file
        std::ofstream(folder.filePath(place).toStdString()) << 'x';
        EXPECT_EQ(findDriver(modules, "gpu/drm/drm.ko"), folder.filePath(place).toStdString());
    }
    EXPECT_EQ(findDriver(modules, "gpu/drm/other.ko"), "");
}

TEST(SystemFiles, DistributionNames)
{
    const std::pair<std::string, const char*> cases[] = {
        {"NAME=Debian\nPRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\nID=debian\n",
         "Debian GNU/Linux 12 (bookworm)"},
        {"PRETTY_NAME='single \"quoted\" \\n'", "single \"quoted\" \\n"},
        {"PRETTY_NAME=\"a \\\"b\\\" \\$c \\`d\\` \\\\e \\f\"", "a \"b\" $c `d` \\e \\f"},
        {"PRETTY_NAME=plain\\ text # no more", "plain text"},
        {"PRETTY_NAME=first\r\n  PRETTY_NAME=last\r\n", "last"},
        {"#PRETTY_NAME=no\nXPRETTY_NAME=x\nPRETTY_NAME=\"\"\nNAME=\"only\"", "only"},
        {"PRETTY_NAME=\"never closed", "never closed"},
        {"PRETTY_NAME=\"two\"' in one'", "two in one"},
        {"PRETTY_NAME", ""}};
    for (const auto& [text, name] : cases)
        EXPECT_EQ(distributionName(text), name) << text;
}

TEST(SystemFiles, Processors)
{
    const std::pair<std::string, const char*> cases[] = {
        {"processor\t: 0\nvendor_id\t: GenuineIntel\nmodel\t\t: 15\nmodel name\t: CPU @ 2.40GHz\n"
         "cpu MHz\t\t: 2399.998\n\nprocessor\t: 1\nvendor_id\t: Other\n",
         "GenuineIntel|CPU @ 2.40GHz|2399"},
        {"processor\t: 0\nBogoMIPS\t: 50.00\nCPU implementer\t: 0x41\nCPU part\t: 0xd0c\n",
         "CPU implementer 0x41|CPU part 0xd0c|0"},
        {"processor\t: 0\ncpu\t\t: POWER9, altivec\nclock\t\t: 2300.000000MHz\n",
         "|POWER9, altivec|2300"},
        {"vendor_id :\nvendor_id : IBM/S390\nmodel name:x\ncpu MHz : fast", "IBM/S390|x|0"},
        {"cpu MHz : 99999999999", "||0"}};
    for (const auto& [text, result] : cases) {
        const ProcessorFacts facts = processorFacts(text);
        EXPECT_EQ(facts.vendor + '|' + facts.model + '|' + std::to_string(facts.megahertz), result);
    }
}

TEST(SystemFiles, ResolverDomains)
{
    const std::pair<std::string, const char*> cases[] = {
        {"nameserver 10.0.0.1\nsearch example.com other.org\n", "example.com"},
        {"search a.example\ndomain \t b.example.\r\n#domain c\n; search d\nsearchx e", "b.example"},
        {"search .", ""},
        {"search x.example\nsearch", ""}};
    for (const auto& [text, domain] : cases)
        EXPECT_EQ(resolverDomain(text), domain) << text;
}

// ---- Mounts ----------------------------------------------------------------------------------------------

/// "POINT TYPE" of the fixed ones; no mount of /dev/sdr and on a point with "file" in it is one.
std::vector<std::string> drivesOf(std::string_view mountInfo)
{
    const auto isFixed = [](const Mount& mount) {
        return mount.source != "/dev/sdr1" && mount.point.find("file") == std::string::npos;
    };
    std::vector<std::string> drives;
    for (const Mount& mount : fixedMounts(mountsWithinReach(mountInfo), isFixed))
        drives.push_back(mount.point + ' ' + mount.type);
    return drives;
}

using Drives = std::vector<std::string>;

TEST(SystemFiles, MountsOfDisks)
{
    const std::string text = "22 27 0:21 / /proc rw,relatime - proc proc rw\n"
                             "27 1 8:2 / / rw shared:1 master:2 - ext4 /dev/sda2 rw\n"
                             "29 27 8:3 /sub /bind rw - xfs /dev/sda3 rw\n"
                             "28 27 8:3 / /var/lib/my\\040data\\134\\011x rw - xfs /dev/sda3 rw\n"
                             "30 27 0:50 /@home /home rw - btrfs /dev/mapper/vg-home rw\n"
                             "31 30 0:50 /@x /home/x rw - btrfs /dev/mapper/vg-home rw\n"
                             "32 27 8:4 /a/file /etc/file rw - ext4 /dev/sdb1 rw\n"
                             "33 27 8:4 /a /etc/dir rw - ext4 /dev/sdb1 rw\n"
                             "34 27 7:1 / /snap ro - squashfs /dev/loop1 ro\n"
                             "35 27 11:0 / /media/cd ro - iso9660 /dev/sr0 ro\n"
                             "36 27 8:65 / /media/stick rw - vfat /dev/sdr1 rw\n"
                             "37 27 0:51 / /net rw - nfs4 server:/dev/x rw\n"
                             "38 27 0:52 / /ntfs rw - fuseblk /dev/sdc1 rw\n"
                             "39 27 0:53 / /tmp rw - tmpfs  rw\n"
                             "40 27 0:54 / /share rw - 9p /dev/share rw\n";
    EXPECT_EQ(drivesOf(text),
              (Drives{"/ ext4", "/etc/dir ext4", "/home btrfs", "/var/lib/my data\\\tx xfs"}));
}

TEST(SystemFiles, MountsThatOthersHide)
{
    const std::pair<const char*, Drives> cases[] = {
        // A container, and pools, which count once.
        {"50 40 0:60 / / rw - overlay overlay rw\n51 50 8:1 /v /etc/file rw - ext4 /dev/sda1 rw\n"
         "52 50 0:61 / /data rw - zfs tank rw\n53 52 0:62 / /data/x rw - zfs tank/x rw\n",
         {"/ overlay", "/data zfs"}},
        // Mounted over: the same point, and one above.
        {"1 0 8:1 / / rw - ext4 /dev/sda1 rw\n2 1 8:2 / /srv rw - xfs /dev/sda2 rw\n"
         "3 2 0:70 / /srv rw - nfs server:/srv rw\n4 1 8:3 / /data/disk rw - xfs /dev/sda3 rw\n"
         "5 1 0:71 / /data rw - nfs server:/ rw\n6 5 8:4 / /data/new rw - xfs /dev/sda4 rw\n"
         "7 1 0:72 / /dat rw - tmpfs  rw\n8 7 8:5 / /dat/a rw - xfs /dev/sda5 rw\n",
         {"/ ext4", "/dat/a xfs"}}, // /data/new lies behind a network's
        {"1 0 0:1 / / rw - nfs server:/ rw\n2 1 8:1 / /disk rw - ext4 /dev/sda1 rw\n",
         {"/ nfs", "/disk ext4"}},
        {"1 0 0:1 / / rw - virtiofs root rw\n2 1 0:2 / / rw - overlay overlay rw\n", {"/ overlay"}},
        // The first root stays below the second.
        {"1 0 0:1 / / rw - rootfs rootfs rw\n2 1 8:1 / / rw - ext4 /dev/sda1 rw\n", {"/ ext4"}},
        // Mounts that rest on each other, and on themselves.
        {"1 2 8:1 / / rw - ext4 /dev/sda1 rw\n2 1 8:2 / /a rw - xfs /dev/sda2 rw\n"
         "3 3 8:3 / /b rw - xfs /dev/sda3 rw\n",
         {"/ ext4", "/a xfs"}},
        {"1 0 8:1 / relative rw - ext4 /dev/sda1 rw\n1 0 8:2 / /x", {"/ "}},
        {"", {"/ "}},
    };
    for (const auto& [text, drives] : cases)
        EXPECT_EQ(drivesOf(text), drives) << text;
    // So many on top of each other that nobody can look at each for each.
    std::string text = "1 0 8:1 / / rw - ext4 /dev/sda1 rw\n";
    for (int i = 2; i < 60000; ++i)
        text +=
            std::to_string(i) + ' ' + std::to_string(i - 1) + " 8:2 / /a rw - xfs /dev/sda2 rw\n";
    EXPECT_EQ(drivesOf(text), (Drives{"/ ext4", "/a xfs"}));
}

// ---- Files -----------------------------------------------------------------------------------------------

TEST(SystemFiles, ReadsRegularFilesOnly)
{
    const QTemporaryDir folder;
    const std::string path = folder.filePath("file").toStdString();
    const std::string text = std::string(5000, 'x') + "\nsecond\n";
    std::ofstream(path) << text;
    EXPECT_EQ(readSystemFile(path, 5008), text);
    EXPECT_EQ(readSystemFile(path, 5007), text.substr(0, 5001));
    EXPECT_EQ(readSystemFile(path, 5000), "");
    const std::string pipe = path + "-pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(readSystemFile(pipe, 100), ""); // at once
    EXPECT_EQ(readSystemFile(path + "x", 100), "");
}

} // namespace
