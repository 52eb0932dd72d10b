// What is read in the system's files, and that nothing in them does harm.
#include <zmu/platform/linux/SystemFiles.h>

#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

#include <sys/stat.h>

using namespace zmu;

namespace {

/// Texts that end anywhere and hold anything: all starts of `text`, and each of its bytes replaced.
template <class Reader>
void disturb(const std::string& text, Reader read)
{
    for (std::size_t i = 0; i < text.size(); ++i) {
        read(std::string(text, 0, i)); // in a heap block of its own, where the sanitizer watches
        for (const char byte : {'\0', '\n', ' ', '=', ':', '"', '\\', '7', '\xFF'}) {
            std::string disturbed = text;
            disturbed[i] = byte;
            read(disturbed);
        }
    }
}

TEST(SystemFiles, KernelReleases)
{
    const struct {
        const char* release;
        bool isKnown;
        DWORD major, minor, build;
    } cases[] = {{"6.1.0-13-amd64", true, 6, 1, 0},
                 {"5.15.167.4-microsoft-standard-WSL2", true, 5, 15, 167},
                 {"6.18", true, 6, 18, 0},
                 {"4.19-rc1", true, 4, 19, 0},
                 {"3.10.x", true, 3, 10, 0},
                 {"6.1.99999999999", true, 6, 1, 0},
                 {"6", false, 9, 9, 9},
                 {"6.-1", false, 9, 9, 9},
                 {" 6.1.2", false, 9, 9, 9},
                 {"99999999999.1", false, 9, 9, 9},
                 {"", false, 9, 9, 9}};
    for (const auto& [release, isKnown, major, minor, build] : cases) {
        KernelVersion version{9, 9, 9};
        EXPECT_EQ(parseKernelRelease(release, version), isKnown) << release;
        EXPECT_EQ(version.major, major) << release;
        EXPECT_EQ(version.minor, minor) << release;
        EXPECT_EQ(version.build, build) << release;
    }
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
        {"#PRETTY_NAME=comment\nXPRETTY_NAME=x\nPRETTY_NAME_X=x\nNAME=\"only\"", "only"},
        {"PRETTY_NAME=\"\"\nNAME=Arch", "Arch"},
        {"PRETTY_NAME=\"never closed", "never closed"},
        {"PRETTY_NAME=end\\", "end\\"},
        {"PRETTY_NAME=\"two\"' in one'", "two in one"},
        {"PRETTY_NAME", ""},
        {"", ""}};
    for (const auto& [text, name] : cases)
        EXPECT_EQ(distributionName(text), name) << text;
    disturb(cases[2].first, distributionName);
    EXPECT_EQ(distributionName("PRETTY_NAME=" + std::string(100000, 'x')).size(), 100000u);
}

TEST(SystemFiles, Processors)
{
    const struct {
        std::string text;
        const char* vendor;
        const char* model;
        DWORD megahertz;
    } cases[] = {{"processor\t: 0\nvendor_id\t: GenuineIntel\nmodel\t\t: 15\nmodel name\t: Some "
                  "CPU @ 2.40GHz\n"
                  "cpu MHz\t\t: 2399.998\n\nprocessor\t: 1\nvendor_id\t: Other\n",
                  "GenuineIntel", "Some CPU @ 2.40GHz", 2399},
                 {"processor\t: 0\nBogoMIPS\t: 50.00\nCPU implementer\t: 0x41\nCPU part\t: 0xd0c\n",
                  "CPU implementer 0x41", "CPU part 0xd0c", 0},
                 {"processor\t: 0\ncpu\t\t: POWER9, altivec supported\nclock\t\t: 2300.000000MHz\n",
                  "", "POWER9, altivec supported", 2300},
                 {"vendor_id :\nvendor_id : IBM/S390\nmodel name:no blank\ncpu MHz : fast",
                  "IBM/S390", "no blank", 0},
                 {"cpu MHz : -5\nvendor_id", "", "", 0},
                 {"cpu MHz : 99999999999", "", "", 0}};
    for (const auto& [text, vendor, model, megahertz] : cases) {
        const ProcessorFacts facts = processorFacts(text);
        EXPECT_EQ(facts.vendor, vendor);
        EXPECT_EQ(facts.model, model);
        EXPECT_EQ(facts.megahertz, megahertz);
    }
    disturb(cases[0].text, processorFacts);
}

TEST(SystemFiles, ResolverDomains)
{
    const std::pair<std::string, const char*> cases[] = {
        {"nameserver 10.0.0.1\nsearch example.com other.org\n", "example.com"},
        {"search a.example\ndomain \t b.example.\r\n#domain c\n; search d\nsearchx e\n",
         "b.example"},
        {"search\tx.example\ty.example", "x.example"},
        {"search .", ""},
        {"search x.example\nsearch", ""},
        {"options edns0", ""}};
    for (const auto& [text, domain] : cases)
        EXPECT_EQ(resolverDomain(text), domain) << text;
    disturb(cases[1].first, resolverDomain);
}

// ---- Mounts ----------------------------------------------------------------------------------------------

/// "POINT TYPE" of the fixed ones; no mount of /dev/sdr and on a point with "file" in it is one.
std::vector<std::string> drivesOf(std::string_view mountInfo)
{
    const auto isFixed = [](const Mount& mount) {
        return mount.source != "/dev/sdr1" && mount.point.find("file") == std::string::npos;
    };
    std::vector<std::string> drives;
    for (const Mount& mount : fixedMounts(visibleMounts(mountInfo), isFixed))
        drives.push_back(mount.point + ' ' + mount.type);
    return drives;
}

using Drives = std::vector<std::string>;

TEST(SystemFiles, MountsOfDisks)
{
    const std::string text = "22 27 0:21 / /proc rw,relatime - proc proc rw\n"
                             "27 1 8:2 / / rw shared:1 master:2 - ext4 /dev/sda2 rw\n"
                             "28 27 8:3 / /var/lib/my\\040data\\134\\011x rw - xfs /dev/sda3 rw\n"
                             "29 27 8:3 /sub /bind rw - xfs /dev/sda3 rw\n"
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
    disturb(text, drivesOf);
}

TEST(SystemFiles, MountsThatOthersHide)
{
    const std::pair<const char*, Drives> cases[] = {
        // A container.
        {"50 40 0:60 / / rw - overlay overlay rw\n"
         "51 50 8:1 /v/hosts /etc/file rw - ext4 /dev/sda1 rw\n",
         {"/ overlay"}},
        // A pool counts once.
        {"1 0 0:30 / / rw - zfs root/debian rw\n2 1 0:31 / /home rw - zfs root/home rw\n"
         "3 1 0:32 / /data rw - zfs tank rw\n4 1 0:33 / /data/x rw - zfs tank/x rw\n",
         {"/ zfs", "/data zfs"}},
        // Mounted over: the same point, and one above.
        {"1 0 8:1 / / rw - ext4 /dev/sda1 rw\n"
         "2 1 8:2 / /srv rw - xfs /dev/sda2 rw\n"
         "3 2 0:70 / /srv rw - nfs server:/srv rw\n"
         "4 1 8:3 / /data/disk rw - xfs /dev/sda3 rw\n"
         "5 1 0:71 / /data rw - nfs server:/data rw\n"
         "6 5 8:4 / /data/new rw - xfs /dev/sda4 rw\n"
         "7 1 0:72 / /dat rw - tmpfs tmpfs rw\n",
         {"/ ext4", "/data/new xfs"}},
        // The first root stays below the second.
        {"1 0 0:1 / / rw - rootfs rootfs rw\n2 1 8:1 / / rw - ext4 /dev/sda1 rw\n", {"/ ext4"}},
        // Mounts that rest on each other, on themselves, or on none.
        {"1 2 8:1 / / rw - ext4 /dev/sda1 rw\n2 1 8:2 / /a rw - xfs /dev/sda2 rw\n"
         "3 3 8:3 / /b rw - xfs /dev/sda3 rw\n",
         {"/ ext4", "/a xfs"}},
        {"1 0 8:1 / relative rw - ext4 /dev/sda1 rw\n1 0 8:2 / /x", {"/ "}},
        {"", {"/ "}},
    };
    for (const auto& [text, drives] : cases)
        EXPECT_EQ(drivesOf(text), drives) << text;
}

TEST(SystemFiles, ManyMountsTakeNoTime)
{
    std::string text = "1 0 8:1 / / rw - ext4 /dev/sda1 rw\n";
    for (int id = 2; id < 20000; ++id)
        text += std::to_string(id) + " 1 9:" + std::to_string(id) + " / /" + std::to_string(id) +
                " rw - xfs /dev/sdb rw\n";
    EXPECT_EQ(drivesOf(text).size(), 19999u);
}

// ---- Files -----------------------------------------------------------------------------------------------

TEST(SystemFiles, ReadsRegularFilesOnly)
{
    const QTemporaryDir folder;
    const std::string path = folder.filePath("file").toStdString();
    const auto write = [&](const std::string& text) {
        QFile file(QString::fromStdString(path));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(QByteArray::fromStdString(text));
    };
    write(std::string(5000, 'x') + "\nsecond\n");
    EXPECT_EQ(readSystemFile(path, 5008), std::string(5000, 'x') + "\nsecond\n");
    EXPECT_EQ(readSystemFile(path, 5007), std::string(5000, 'x') + '\n');
    EXPECT_EQ(readSystemFile(path, 5000), "");
    EXPECT_EQ(readSystemFile(path + "x", 100), "");
    EXPECT_EQ(readSystemFile(folder.path().toStdString(), 100), "");
    EXPECT_EQ(readSystemFile("/dev/zero", 100), "");
    const std::string pipe = path + "-pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(readSystemFile(pipe, 100), ""); // at once
}

} // namespace
