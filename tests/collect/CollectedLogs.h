// What a folder of logs has of each process that was collected from.
#pragma once

#include "Support.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

#include <map>
#include <string>
#include <vector>

namespace zmu_test {

/// The text of all logs of a folder, in the order of their names.
inline QString textOfLogs(const QDir& folder)
{
    QString text;
    for (const QString& log : folder.entryList({"*.html"}, QDir::Files, QDir::Name)) {
        if (QFileInfo(folder, log).size() != 0) // else only its name was taken before a kill
            text += logText(folder.filePath(log).toStdWString());
    }
    return text;
}

/// The identities of all entries in the logs that were collected, in their order, without the
/// user's.
inline std::vector<std::string> identitiesOf(const QString& text)
{
    static const QRegularExpression pattern("data-zmu=\"(?:[^\"]*/)?([^\"/]*)\"");
    std::vector<std::string> all;
    for (const QRegularExpressionMatch& match : pattern.globalMatch(text))
        all.push_back(match.captured(1).toStdString());
    return all;
}

/// The numbers that are in the logs of each source, in the order of the logs, and how many entries
/// tell of a gap.
struct CollectedNumbers {
    explicit CollectedNumbers(const QString& text)
    {
        // Of an entry that was cut off by a kill the element does not end.
        static const QRegularExpression pattern("data-zmu=\"([^\"]*)#(\\d+)(-?)[^\"]*\">[^<]*</i>");
        for (const QRegularExpressionMatch& match : pattern.globalMatch(text)) {
            if (match.captured(3).isEmpty())
                bySource[match.captured(1)].push_back(match.captured(2).toULongLong());
            else
                ++gaps;
        }
    }

    std::map<QString, std::vector<u64>> bySource;
    int gaps = 0;
};

/// The numbers from 1 to `last`.
inline std::vector<u64> numbersTo(u64 last)
{
    std::vector<u64> numbers;
    for (u64 number = 1; number <= last; ++number)
        numbers.push_back(number);
    return numbers;
}

} // namespace zmu_test
