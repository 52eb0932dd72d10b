#include <zmu/monitor/Tokens.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::vector<std::wstring> cut(std::wstring text, const wchar_t* delimiters)
{
    std::vector<std::wstring> tokens;
    std::size_t start = 0;
    std::size_t position = 0;
    auto length = static_cast<std::size_t>(-1);
    while (const wchar_t* token = nextToken(text.data(), delimiters, start, position, length))
        tokens.emplace_back(token);
    return tokens;
}

TEST(Tokens, DelimitersAreNotMerged)
{
    using Tokens = std::vector<std::wstring>;
    const struct {
        const wchar_t* text;
        const wchar_t* delimiters;
        Tokens tokens;
    } rows[] = {
        {L"", L"~", {}},
        {L"a", L"~", {L"a"}},
        {L"~", L"~", {L"", L""}},
        {L"a~b~", L"~", {L"a", L"b", L""}},
        {L"~~a", L"~", {L"", L"", L"a"}},
        {L"a,b~c", L"~,", {L"a", L"b", L"c"}},
        {L"a~b", L"", {}},
        {L"a~b", nullptr, {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(row.text)));
        EXPECT_EQ(cut(row.text, row.delimiters), row.tokens);

        std::wstring counted = row.text;
        int count = -1;
        EXPECT_TRUE(countTokens(counted.data(), row.delimiters, count, 0));
        EXPECT_EQ(count, static_cast<int>(row.tokens.size()));
        const int maximum = static_cast<int>(row.tokens.size()) - 1;
        counted = row.text;
        if (maximum > 0) {
            EXPECT_FALSE(countTokens(counted.data(), row.delimiters, count, maximum));
            EXPECT_EQ(count, 0);
        }
    }

    int count = -1;
    EXPECT_TRUE(countTokens(nullptr, L"~", count, 1));
    EXPECT_EQ(count, 0);
}

} // namespace
