// The walk over a source, its name, and how a pair is cut to the caller's buffers.
#include <zmu/sysinfo/ZarnSysInfo.h>

#include <gtest/gtest.h>

#include <cwchar>
#include <string>

namespace {

/// A source whose data are its positions; there is none at 3.
class Source : public ZarnSysInfo {
  public:
    explicit Source(const wchar_t* category = nullptr)
    {
        if (category)
            setCategory(category);
    }
    bool getDataPair(int position, wchar_t* caption, wchar_t* datum, int captionSize,
                     int datumSize) override
    {
        return formatDataPair(caption, datum, captionSize, datumSize, L"position", position,
                              false) &&
               position != 3;
    }
    void fail() { m_error = ErrorDrives; }

  protected:
    bool learnNextPosition() override
    {
        m_position += m_updatePosition ? 1 : 0;
        return true;
    }
};

/// A buffer of `size` elements in the middle of others, and what became of it.
std::wstring cut(const wchar_t* text, int size)
{
    wchar_t buffer[32];
    std::wmemset(buffer, L'#', std::size(buffer));
    EXPECT_TRUE(Source().formatDataPair(nullptr, buffer + 1, 0, size, nullptr, text));
    EXPECT_EQ(buffer[0], L'#');
    const int begin = size > 0 ? size + 1 : 1;
    for (int i = begin; i < 32; ++i)
        EXPECT_EQ(buffer[i], L'#') << i;
    return begin > 1 ? buffer + 1 : L"";
}

TEST(DataPair, LongTextsEndInDots)
{
    const struct {
        const wchar_t* text;
        int size;
        const wchar_t* result;
    } cases[] = {{L"1234567", 8, L"1234567"},
                 {L"12345678", 8, L"1234..."},
                 {L"12345678", 9, L"12345678"},
                 {L"1234567890", 8, L"1234..."},
                 {L"1234", 4, L"..."},
                 {L"123", 4, L"123"},
                 {L"12345", 3, L"12"},
                 {L"12", 3, L"12"},
                 {L"12345", 2, L"1"},
                 {L"12345", 1, L""},
                 {L"", 1, L""},
                 {L"12345", 0, L""},
                 {L"12345", -7, L""}};
    for (const auto& [text, size, result] : cases)
        EXPECT_EQ(cut(text, size), result) << size;
}

TEST(DataPair, NumbersAndSidesThatAreLeftOut)
{
    const struct {
        int value;
        bool hex;
        const wchar_t* result;
    } cases[] = {{0x1A2B, true, L"0x00001A2B"},
                 {-1, true, L"0xFFFFFFFF"},
                 {0, false, L"0"},
                 {-2147483647 - 1, false, L"-2147483648"}};
    wchar_t caption[16];
    wchar_t datum[16];
    for (const auto& [value, hex, result] : cases) {
        EXPECT_TRUE(Source().formatDataPair(caption, datum, 16, 16, L"c", value, hex));
        EXPECT_STREQ(caption, L"c");
        EXPECT_STREQ(datum, result);
    }
    EXPECT_TRUE(Source().formatDataPair(caption, nullptr, 16, 16, L"alone", 7, false));
    EXPECT_STREQ(caption, L"alone");
    EXPECT_TRUE(Source().formatDataPair(caption, datum, 16, 16, nullptr, L"alone"));
    EXPECT_STREQ(caption, L"alone");
    EXPECT_STREQ(datum, L"alone");
}

TEST(DataPair, NameOfASource)
{
    wchar_t buffer[8] = L"before";
    EXPECT_EQ(Source().getCategory(buffer, 8), -1);
    const Source source(L"seven77");
    EXPECT_EQ(source.getCategory(nullptr, 0), 8);
    EXPECT_EQ(source.getCategory(buffer, 7), 8);
    EXPECT_STREQ(buffer, L"before");
    EXPECT_EQ(source.getCategory(buffer, 8), 8);
    EXPECT_STREQ(buffer, L"seven77");
}

TEST(DataPair, WalkGoesOnWhateverAPairSays)
{
    Source source;
    wchar_t datum[8];
    const auto step = [&](bool first) {
        const bool succeeded = first ? source.getFirstDataPair(nullptr, datum, 0, 8)
                                     : source.getNextDataPair(nullptr, datum, 0, 8);
        return (succeeded ? L"+" : L"-") + std::wstring(datum);
    };
    EXPECT_EQ(step(true), L"+0");
    EXPECT_EQ(step(false), L"+1");
    EXPECT_TRUE(source.setShouldUpdateCurrentPosition(false));
    EXPECT_EQ(step(false), L"+2");
    EXPECT_EQ(step(false), L"+2");
    EXPECT_FALSE(source.setShouldUpdateCurrentPosition(true));
    EXPECT_EQ(step(false), L"+2");
    EXPECT_EQ(step(false), L"-3");
    EXPECT_EQ(step(true), L"+0"); // which does not rewind
    EXPECT_EQ(step(false), L"+5");
    source.fail();
    EXPECT_EQ(step(false), L"-6"); // written all the same
    EXPECT_EQ(step(false), L"-7");
}

} // namespace
