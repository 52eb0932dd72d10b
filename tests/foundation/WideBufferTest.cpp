#include <zmu/foundation/WideBuffer.h>

#include <gtest/gtest.h>

#include <cwchar>
#include <random>
#include <string>
#include <type_traits>

using zmu::WideBuffer;

static_assert(std::is_trivially_copyable_v<WideBuffer<8>>);

TEST(WideBuffer, TakesItsOwnTextAndNone)
{
    WideBuffer<8> own;
    own.assign(L"abcdef");
    EXPECT_TRUE(own.assign(own.c_str() + 2));
    EXPECT_FALSE(own.append(own.c_str()));
    EXPECT_STREQ(own.c_str(), L"cdefcde");
    EXPECT_TRUE(own.append(nullptr));
    EXPECT_STREQ(own.c_str(), L"cdefcde");
    EXPECT_TRUE(own.assign(nullptr));
    EXPECT_STREQ(own.c_str(), L"");
}

// Any order of operations leaves the text that a string would hold, cut where there is no room, and
// zeros behind it.
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
            ASSERT_EQ(buffer.assign(text.c_str()), text.size() < capacity) << step;
            model = text;
            break;
        case 1:
            model += text;
            ASSERT_EQ(buffer.append(text.c_str()), model.size() < capacity) << step;
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
