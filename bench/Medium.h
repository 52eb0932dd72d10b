// Where logs are measured: in memory, and on disk.
#pragma once

#include <QString>
#include <QTemporaryDir>

#include <memory>

namespace zmu_bench {

enum class Medium { Tmpfs, Disk };
inline constexpr Medium media[] = {Medium::Tmpfs, Medium::Disk};

const char* nameOf(Medium medium);

/// Kind of the medium's file system, empty if this machine has no such medium.
QString fileSystemOf(Medium medium);

/// A folder of its own on a medium that exists, deleted with all files at the end of the scope.
class Folder {
  public:
    explicit Folder(Medium medium);

    QString path(const char* name) const { return m_folder->filePath(QString::fromUtf8(name)); }
    /// Deletes every file but `kept`, which is a full path.
    void clearExcept(const QString& kept) const;

  private:
    std::unique_ptr<QTemporaryDir> m_folder;
};

} // namespace zmu_bench
