// Spool files as a test wants them, and what a reader gives of them.
#pragma once

#include "Support.h"

#include <spool/SpoolReader.h>

#include <QCoreApplication>

#include <string>
#include <vector>

namespace zmu_test {

/// A line of process 812, started in 1970, with its line feed.
inline std::string spoolLine(u64 sequence, const std::string& description = "text",
                             int process = 812)
{
    const std::string start =
        process == 812 ? "1970-01-01T00:00:00.000000007Z" : "1970-01-01T00:00:00.000000009Z";
    return R"({"sequence":)" + std::to_string(sequence) +
           R"(,"time":"2026-11-22T06:32:27.123456789Z","host":"h7","program":"pw","process":)" +
           std::to_string(process) + R"(,"start":")" + start +
           R"(","thread":1,"instantiator":-1,"enablements":2,"situation":1001,"description":")" +
           description + "\"}\n";
}

/// The name of a file of that process.
inline std::string spoolName(int number = 1, int process = 812)
{
    return "h7_pw_" + std::to_string(process) + (process == 812 ? "_7_" : "_9_") +
           QString("%1.spool").arg(number, 6, 10, QChar('0')).toStdString();
}

/// A test with a folder of spool files, and the application that a reader needs.
class MadeSpools : public testing::Test {
  protected:
    void write(const std::string& name, const std::string& bytes) const
    {
        folder.write(name.c_str(), QByteArray::fromStdString(bytes));
    }
    std::string path(const char* name) const
    {
        return QString::fromStdWString(folder.path(name)).toStdString();
    }
    std::string place() const { return path("."); }

    /// What a reader gives at once, each item as a few words; all of it is confirmed, and files
    /// that have ended are removed if `isRemoving`.
    std::vector<std::string> readAll(zmu_spool::Positions& positions, bool isRemoving = false) const
    {
        zmu_spool::SpoolReader reader({place()}, positions);
        return readAll(reader, positions, isRemoving);
    }
    static std::vector<std::string> readAll(zmu_spool::SpoolReader& reader,
                                            zmu_spool::Positions& positions,
                                            bool isRemoving = false)
    {
        using Kind = zmu_spool::SpoolItem::Kind;
        std::vector<std::string> items;
        zmu_spool::SpoolItem item;
        while (reader.next(item)) {
            std::string& text = items.emplace_back();
            if (item.kind == Kind::Line) {
                if (item.missing != 0)
                    text = (item.mayHaveBeenRead ? "perhaps " : "") + std::to_string(item.missing) +
                           " missing, ";
                text += std::to_string(item.line->sequence) + ' ' + item.line->description;
            } else if (item.kind == Kind::Fault) {
                text = std::to_string(item.linesQty) + " faults: " + item.what;
            } else if (item.kind == Kind::Torn) {
                text = "torn " + std::string(item.raw);
            } else if (item.kind == Kind::Ended) {
                text = "ended " + item.mark.file->name;
            } else {
                text = item.what;
            }
            if (!item.mark.file)
                continue;
            positions.confirm(item.mark);
            std::string why;
            if (isRemoving && item.kind == Kind::Ended) {
                EXPECT_TRUE(reader.remove(*item.mark.file, why)) << why;
            }
        }
        return items;
    }

    const Folder folder;
    int argumentsQty = 1;
    char program[5] = "test";
    char* arguments[2] = {program, nullptr};
    const QCoreApplication application{argumentsQty, arguments};
};

using Items = std::vector<std::string>;

} // namespace zmu_test
