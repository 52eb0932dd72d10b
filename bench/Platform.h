// What the measurements need of the system: linux/Platform.cpp and windows/Platform.cpp, one of
// them built.
#pragma once

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <optional>

namespace zmu_bench {

/// Heap allocations of the calling thread since it began; nothing where the libraries' allocations
/// cannot be seen.
std::optional<unsigned long> allocationCount();

/// Processes that wait for a processor; nothing where the system does not tell.
std::optional<double> systemLoad();

/// A folder in memory; empty if the system has none.
QString memoryFolder();

/// A file that is written at given positions by one system call each.
class PlainFile {
  public:
    explicit PlainFile(const QString& path);
    ~PlainFile();
    PlainFile(const PlainFile&) = delete;
    PlainFile& operator=(const PlainFile&) = delete;

    bool writeAt(std::int64_t position, const QByteArray& bytes) const;

  private:
    std::intptr_t m_handle = -1;
};

} // namespace zmu_bench
