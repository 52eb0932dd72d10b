// The system's own text files: mounts, os-release, resolv.conf, cpuinfo, passwd, a kernel's
// release.
#include "Support.h"

#include <zmu/platform/linux/SystemFiles.h>

#include <set>

using namespace zmu_fuzz;

namespace {

void checkMounts(std::string_view text)
{
    const std::vector<zmu::Mount> mounts = zmu::mountsWithinReach(text);
    FUZZ_CHECK(mounts.size() <=
               static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1);
    for (const zmu::Mount& mount : mounts)
        FUZZ_CHECK(mount.point.starts_with('/') && mount.point.find('\0') == std::string::npos);
    std::set<std::string> asked;
    const std::vector<zmu::Mount> fixed = zmu::fixedMounts(mounts, [&](const zmu::Mount& mount) {
        asked.insert(mount.point);
        return mount.id % 2 == 0;
    });
    FUZZ_CHECK(std::is_sorted(fixed.begin(), fixed.end(), [](const auto& left, const auto& right) {
        return left.point < right.point;
    }));
    bool hasRoot = false;
    for (const zmu::Mount& mount : fixed) {
        hasRoot = hasRoot || mount.point == "/";
        FUZZ_CHECK(mount.point == "/" || (asked.contains(mount.point) && mount.id % 2 == 0 &&
                                          !mount.type.starts_with("nfs")));
    }
    FUZZ_CHECK(hasRoot);
}

bool isOneLine(std::string_view text)
{
    return text.find('\n') == text.npos;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    const auto which = input.number(0, 5);
    const auto number = input.number<unsigned>();
    const std::string text = input.rest();
    switch (which) {
    case 0:
        checkMounts(text);
        break;
    case 1:
        FUZZ_CHECK(isOneLine(zmu::distributionName(text)));
        break;
    case 2: {
        const std::string domain = zmu::resolverDomain(text);
        FUZZ_CHECK(domain.find_first_of(" \t\n") == domain.npos);
        break;
    }
    case 3: {
        const zmu::ProcessorFacts facts = zmu::processorFacts(text);
        FUZZ_CHECK(isOneLine(facts.vendor) && isOneLine(facts.model));
        break;
    }
    case 4: {
        const std::string user = zmu::userNameOf(text, number);
        FUZZ_CHECK(user.find_first_of(":\n") == user.npos);
        FUZZ_CHECK(zmu::userNameOf(text + "\nfuzz:x:" + std::to_string(number) + ":\n", number) ==
                   (user.empty() ? "fuzz" : user));
        break;
    }
    default: {
        constexpr DWORD untouched = 12345;
        zmu::KernelVersion version{untouched, untouched, untouched};
        FUZZ_CHECK(zmu::parseKernelRelease(text, version) || version.major == untouched);
        writeFile(pathOf("system.txt"), text);
        const std::size_t limit = number % 300;
        const std::string read = zmu::readSystemFile(pathOf("system.txt"), limit);
        FUZZ_CHECK(read.size() <= limit && text.starts_with(read));
        FUZZ_CHECK(text.size() <= limit ? read == text : read.empty() || read.ends_with('\n'));
    }
    }
    return 0;
}
