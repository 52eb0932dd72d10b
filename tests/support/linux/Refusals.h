// What a system refuses to a process: sizes, room, rights.
#pragma once

#include <sys/resource.h>

#include <string>

namespace zmu_test {

/// The greatest size of a file, for the life of this object.
class SizeLimit {
  public:
    explicit SizeLimit(long bytes);
    ~SizeLimit() { setrlimit(RLIMIT_FSIZE, &m_before); }
    SizeLimit(const SizeLimit&) = delete;
    SizeLimit& operator=(const SizeLimit&) = delete;

  private:
    rlimit m_before{};
};

/// Mounts 1 MiB at `path`, seen by this process alone; why not, if it cannot.
std::string mountSmallDisk(const std::string& path);

/// Takes all room of a disk, to the last byte.
void fill(const std::string& ballast);

/// Takes away the right to pass over file permissions, which only root has.
void obeyPermissions();

} // namespace zmu_test
