// The proxy that comes along, called as the library does, and what is in its spool.
#pragma once

#include "Support.h"

#include <spool/SpoolLine.h>

#include <QDir>
#include <QFile>
#include <QLibrary>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace zmu_test {

using ProxyEntry = int (*)(unsigned int, long long, int, const wchar_t*, const wchar_t*);

inline ProxyEntry proxy()
{
    static const auto entry = reinterpret_cast<ProxyEntry>(
        QLibrary(QStringLiteral(PROXY_MODULE)).resolve("ProxyRespondToSituation"));
    return entry;
}

inline bool hand(const std::wstring& description, int situationID = 100)
{
    return proxy()(2, 4711, -situationID, L"%s", description.c_str()) != 0;
}

/// Tries until the proxy takes it, as it does within a second after an obstacle has gone.
inline bool handAtLast(const std::wstring& description)
{
    return becomesTrue([&] { return hand(description); });
}

/// All files of a spool folder, in the order of their names, which for those of a process is that
/// of their making.
struct Spools {
    explicit Spools(const QString& folder)
    {
        files = QDir(folder).entryList({"*.spool"}, QDir::Files, QDir::Name);
        for (const QString& name : files) {
            QFile file(folder + '/' + name);
            EXPECT_TRUE(file.open(QIODevice::ReadOnly));
            sizes.push_back(file.size());
            while (!file.atEnd()) {
                QByteArray bytes = file.readLine();
                if (!bytes.endsWith('\n')) {
                    ++torn;
                    continue;
                }
                bytes.chop(1);
                zmu_spool::SpoolLine line;
                const zmu_spool::LineFault fault = zmu_spool::readSpoolLine(
                    {bytes.constData(), static_cast<std::size_t>(bytes.size())}, line);
                EXPECT_FALSE(fault) << name.toStdString() << ": " << describe(fault);
                lines.push_back(line);
            }
        }
    }

    /// Whether the lines of the only process there are numbered without a gap, from 1 on.
    bool isWhole() const
    {
        for (std::size_t i = 0; i < lines.size(); ++i) {
            if (lines[i].sequence != i + 1 || lines[i].start != lines.front().start)
                return false;
        }
        return torn == 0;
    }

    QStringList files;
    std::vector<qint64> sizes;
    std::vector<zmu_spool::SpoolLine> lines;
    int torn = 0;
};

/// A test with a spool folder of its own, which ZMU_SPOOL names.
class Proxy : public testing::Test {
  protected:
    Proxy() { qputenv("ZMU_SPOOL", spool.toUtf8()); }
    Spools spools() const { return Spools(spool); }

    const Folder folder;
    const QString spool =
        QDir::toNativeSeparators(QDir::cleanPath(QString::fromStdWString(folder.path("."))));
};

} // namespace zmu_test
