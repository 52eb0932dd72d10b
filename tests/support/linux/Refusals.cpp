#include "Refusals.h"

#include "Mounts.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace zmu_test {

SizeLimit::SizeLimit(long bytes)
{
    getrlimit(RLIMIT_FSIZE, &m_before);
    const rlimit limit{static_cast<rlim_t>(bytes), m_before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
}

std::string mountSmallDisk(const std::string& path)
{
    if (const QString why = enterOwnMounts(); !why.isEmpty())
        return why.toStdString();
    if (mount("none", path.c_str(), "tmpfs", 0, "size=1m") != 0)
        return std::string("no mount: ") + strerror(errno);
    return {};
}

void fill(const std::string& ballast)
{
    const int file = open(ballast.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    const std::string block(4096, 'b');
    for (std::size_t size = block.size(); size > 0; size /= 2) {
        while (write(file, block.data(), size) > 0) {
        }
    }
    close(file);
}

void obeyPermissions()
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2] = {};
    syscall(SYS_capget, &header, data);
    data[0].effective &= ~(1U << CAP_DAC_OVERRIDE);
    syscall(SYS_capset, &header, data);
}

} // namespace zmu_test
