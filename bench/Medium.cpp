#include "Medium.h"

#include "Platform.h"

#include <QDir>
#include <QFile>
#include <QStorageInfo>

namespace zmu_bench {

namespace {

QString folderOn(Medium medium)
{
    return medium == Medium::Tmpfs ? memoryFolder() : QStringLiteral(ZMU_BENCH_DISK_FOLDER);
}

} // namespace

const char* nameOf(Medium medium)
{
    return medium == Medium::Tmpfs ? "tmpfs" : "disk";
}

QString fileSystemOf(Medium medium)
{
    if (folderOn(medium).isEmpty())
        return {};
    const QString kind = QString::fromUtf8(QStorageInfo(folderOn(medium)).fileSystemType());
    const bool isRight = medium == Medium::Disk || kind == QLatin1String("tmpfs");
    return isRight ? kind : QString();
}

Folder::Folder(Medium medium)
    : m_folder(std::make_unique<QTemporaryDir>(folderOn(medium) + "/zmu-bench-XXXXXX"))
{}

void Folder::clearExcept(const QString& kept) const
{
    const QDir folder(m_folder->path());
    for (const QString& name : folder.entryList(QDir::Files)) {
        if (folder.filePath(name) != kept)
            QFile::remove(folder.filePath(name));
    }
}

} // namespace zmu_bench
