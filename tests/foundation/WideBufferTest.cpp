#include <zmu/foundation/WideBuffer.h>

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <type_traits>

using zmu::WideBuffer;

static_assert(std::is_trivially_copyable_v<WideBuffer<8>>);

TEST(WideBuffer, TextThatDoesNotFitIsCutAndTerminated)
{
    const struct {
        const wchar_t *first, *second;
        bool fits;
        const wchar_t* text;
    } cases[] = {{L"abc", L"", true, L"abc"},    {L"abcd", L"", false, L"abc"},
                 {L"ab", L"cde", false, L"abc"}, {L"ab", L"c", true, L"abc"},
                 {L"abc", L"d", false, L"abc"},  {nullptr, nullptr, true, L""}};
    for (const auto& [first, second, fits, text] : cases) {
        WideBuffer<4> buffer;
        EXPECT_EQ(buffer.assign(first) && buffer.append(second), fits) << text;
        EXPECT_STREQ(buffer.c_str(), text);
    }
    WideBuffer<8> own;
    own.assign(L"abcdef");
    EXPECT_TRUE(own.assign(own.c_str() + 2));
    EXPECT_FALSE(own.append(own.c_str()));
    EXPECT_STREQ(own.c_str(), L"cdefcde");
}

// Any order of operations leaves the text that a string would hold, and zeros behind it.
TEST(WideBuffer, ElementsBehindTheTextAreAlwaysZero)
{
    constexpr std::size_t capacity = 16;
    WideBuffer<capacity> buffer;
    std::wstring model;
    std::mt19937 random(20240229);
    for (int step = 0; step < 50000; ++step) {
        const std::wstring text(random() % 20, static_cast<wchar_t>(L'a' + step % 26));
        const std::size_t extent = random() % (capacity + 1);
        switch (random() % 5) {
        case 0:
            buffer.assign(text.c_str());
            model = text;
            break;
        case 1:
            buffer.append(text.c_str());
            model += text;
            break;
        case 2: // a raw write of known extent
            wmemset(buffer.writable(), L'z', extent);
            buffer.setUsed(extent);
            model.assign(extent, L'z');
            break;
        case 3: // one of which nothing is known, given up
            wmemset(buffer.writable(), L'y', extent);
            buffer.clear();
            model.clear();
            break;
        case 4: // a token cut off in place
            buffer.inPlace()[model.size() / 2] = L'\0';
            model.resize(model.size() / 2);
            buffer.append(L"");
            break;
        }
        model.resize(std::min(model.size(), capacity - 1));
        ASSERT_EQ(buffer.c_str(), model) << step;
        ASSERT_EQ(buffer.length(), model.size()) << step;
        ASSERT_EQ(buffer.isEmpty(), model.empty()) << step;
        for (std::size_t i = model.size(); i < capacity; ++i)
            ASSERT_EQ(buffer.c_str()[i], L'\0') << step;
    }
}
