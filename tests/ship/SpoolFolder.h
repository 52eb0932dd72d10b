// Spool files as processes that have ended leave them.
#pragma once

#include "Support.h"

#include <spool/SpoolWriter.h>

#include <QFile>

#include <gtest/gtest.h>

#include <string>

namespace zmu_test {

class SpoolFolder {
  public:
    std::string path() const { return QString::fromStdWString(m_folder.path(".")).toStdString(); }
    QStringList files() const { return m_folder.files(); }

    /// Adds lines with these numbers to the file of a process, which begins with them or goes on.
    void add(zmu::u64 process, zmu::u64 first, zmu::u64 last, const std::wstring& text = L"text",
             const wchar_t* host = L"Host.Example") const
    {
        zmu_spool::Origin origin;
        std::wcsncpy(origin.host, host, zmu_spool::longestName);
        std::wcsncpy(origin.program, L"pw", zmu_spool::longestName);
        origin.process = process;
        origin.start = 1700000000000000000;
        char name[zmu_spool::fileNameQty];
        composeFileName(name, origin, 1);
        char described[zmu_spool::originQty];
        const std::string_view from(
            described, static_cast<std::size_t>(putOrigin(described, origin) - described));
        QFile file(QString::fromStdWString(m_folder.path(name)));
        ASSERT_TRUE(file.open(QIODevice::Append));
        for (zmu::u64 number = first; number <= last; ++number) {
            const std::wstring description = text + L' ' + std::to_wstring(number);
            std::string bytes(zmu_spool::bytesForLine(description.size()), '\0');
            char* const front = bytes.data() + zmu_spool::frontQty;
            const char* const end = zmu_spool::putDescription(
                zmu_spool::putSituation(front, from, {1700000000000000000, 7, 4711, 2, 100}),
                description.data(), description.size());
            const char* const begin = zmu_spool::putFront(front, number);
            file.write(begin, end - begin);
        }
    }

  private:
    Folder m_folder;
};

} // namespace zmu_test
