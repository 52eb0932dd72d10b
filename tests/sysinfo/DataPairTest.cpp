// The walk over a source, its name, and how a pair is cut to the caller's buffers.
#include <zmu/sysinfo/ZarnSysInfo.h>

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

/// A source whose data are its positions; there is none at 3.
class Source : public ZarnSysInfo {
  public:
    bool getDataPair(int position, wchar_t* caption, wchar_t* datum, int captionSize,
                     int datumSize) override
    {
        return formatDataPair(caption, datum, captionSize, datumSize, L"c", position, false) &&
               position != 3;
    }
    void fail() { m_error = ErrorDrives; }
    using ZarnSysInfo::setCategory;

  protected:
    bool learnNextPosition() override
    {
        m_position += m_updatePosition ? 1 : 0;
        return true;
    }
};

TEST(DataPair, LongTextsEndInDots)
{
    using namespace std::string_view_literals;
    const struct {
        const wchar_t* text;
        int size;
        std::wstring_view result; // with what stands behind the buffer
    } cases[] = {{L"12345678", 9, L"12345678\0#"sv}, {L"12345678", 8, L"1234...\0#"sv},
                 {L"1234567", 8, L"1234567\0#"sv},   {L"1234", 4, L"...\0#"sv},
                 {L"12345", 3, L"12\0#"sv},          {L"12345", 1, L"\0#"sv},
                 {L"12345", 0, L"####"sv},           {nullptr, 9, L"####"sv}};
    for (const auto& [text, size, result] : cases) {
        std::wstring caption(16, L'#');
        std::wstring datum = caption;
        EXPECT_TRUE(Source().formatDataPair(caption.data(), datum.data(), size, size, text, text));
        EXPECT_TRUE(datum.starts_with(result)) << datum;
        EXPECT_EQ(caption, datum);
    }
}

TEST(DataPair, Numbers)
{
    wchar_t hex[16];
    wchar_t decimal[16];
    EXPECT_TRUE(Source().formatDataPair(nullptr, hex, 16, 16, L"c", 0x1A2B, true));
    EXPECT_STREQ(hex, L"0x00001A2B");
    EXPECT_TRUE(Source().formatDataPair(nullptr, hex, 16, 16, L"c", -1, true));
    EXPECT_STREQ(hex, L"0xFFFFFFFF");
    EXPECT_TRUE(Source().formatDataPair(nullptr, decimal, 0, 16, L"c", -2147483647 - 1, false));
    EXPECT_STREQ(decimal, L"-2147483648");
}

TEST(DataPair, NameOfASource)
{
    wchar_t buffer[8] = L"before";
    Source source;
    EXPECT_EQ(source.getCategory(buffer, 8), -1);
    source.setCategory(L"seven77");
    EXPECT_EQ(source.getCategory(nullptr, 0), 8);
    EXPECT_EQ(source.getCategory(buffer, 7), 8);
    EXPECT_STREQ(buffer, L"before");
    EXPECT_EQ(source.getCategory(buffer, 8), 8);
    EXPECT_STREQ(buffer, L"seven77");
}

TEST(DataPair, WalkGoesOnWhateverAPairSays)
{
    Source source;
    std::wstring walk;
    for (const char step : std::string_view("1nsnsnnn1fnn")) {
        wchar_t datum[8];
        if (step == 's')
            source.setShouldUpdateCurrentPosition(!source.shouldUpdateCurrentPosition());
        else if (step == 'f')
            source.fail(); // from there on pairs are false, and are written all the same
        else if (step == '1' ? source.getFirstDataPair(nullptr, datum, 0, 8)
                             : source.getNextDataPair(nullptr, datum, 0, 8))
            walk += L'+' + std::wstring(datum);
        else
            walk += L'-' + std::wstring(datum);
    }
    EXPECT_EQ(walk, L"+0+1+2+2-3+4+0-6-7"); // the second first pair does not rewind
}

} // namespace
