// Message formatting as the library's callers see it.
#include "Formatted.h"

#include <InsertCases.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <deque>
#include <vector>

using namespace zmu_test;

namespace {

TEST(MessageFormat, RecordedCases)
{
    QFile file(ZMU_TEST_DATA "/message-format.jsonl");
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    std::vector<u64> values;
    std::deque<std::wstring> wide;
    std::deque<std::string> narrow;
    const auto header = QJsonDocument::fromJson(file.readLine()).object();
    for (const QJsonValue argument : header["args"].toArray()) {
        const QString kind = argument.toObject().keys().at(0);
        const QJsonValue value = argument[kind];
        if (kind == "w")
            values.push_back(slot(wide.emplace_back(value.toString().toStdWString()).c_str()));
        else if (kind == "n")
            values.push_back(slot(narrow.emplace_back(value.toString().toStdString()).c_str()));
        else
            values.push_back(static_cast<u64>(value.toInteger()));
    }

    int cases = 0;
    while (!file.atEnd()) {
        const QByteArray line = file.readLine();
        const auto recorded = QJsonDocument::fromJson(line).object();
        const Result result =
            format(static_cast<unsigned>(recorded["width"].toInt()),
                   static_cast<std::size_t>(recorded["capacity"].toInt()),
                   recorded["format"].toString().toStdWString().c_str(), values.data());
        if (recorded["result"].toInt() != 0)
            expectText(result, recorded["text"].toString().toStdWString());
        else
            expectFailure(result, static_cast<ulong32>(recorded["error"].toInt()));
        ++cases;
    }
    EXPECT_EQ(cases, 381);
}

TEST(MessageFormat, TakesTheSlotsThatTheCheckerExpects)
{
    for (const InsertCase& row : insertCases) {
        std::vector<u64> values(99, 1); // no address of a text
        for (std::size_t i = 0; row.takes[i]; ++i)
            values[i] = row.takes[i] == 'w'   ? slot(L"wide")
                        : row.takes[i] == 'a' ? slot("narrow")
                        : row.takes[i] == 'n' ? 3
                                              : 1;
        expectText(format(0, 100, row.format, values.data()), row.shows);
    }
    std::vector<u64> numbers(99, 3);
    for (const wchar_t* const unfinished : unfinishedInserts)
        expectFailure(format(0, 100, unfinished, numbers.data()), 87);
}

} // namespace
