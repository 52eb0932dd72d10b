// Numbers in real locales, which are compiled for the test: a machine need not have any.
#include <zmu/localize/ZarnLocalizeHelpers.h>

#include <QFile>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <climits>
#include <clocale>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

using Helpers = ZarnLocalizeHelpers;

namespace {

constexpr char numberSpaceUtf8[] = "\u202F";

/// The user's locale for the rest of the test. The C library knows these and "C", no others.
class Locales {
  public:
    /// Empty, or why there can be none here.
    std::string obstacle() const
    {
#if defined(_WIN32)
        return "the locales are the system's";
#else
        if (!QFile::exists("/usr/share/i18n/locales/de_DE"))
            return "the sources of locales are not installed";
        return m_folder.isValid() ? "" : "no temporary folder";
#endif
    }

    /// Compiles "fr_FR.UTF-8" unless that is done, and enters it.
    void enter(const std::string& name)
    {
        const QString locale = QString::fromStdString(name);
        const QString path = m_folder.filePath(locale);
        if (name != "C" && !QFile::exists(path)) {
            QProcess compiler;
            compiler.start("localedef", {"--no-archive", "-c", "-i", locale.section('.', 0, 0),
                                         "-f", locale.section('.', 1), path});
            compiler.waitForFinished(60000);
            EXPECT_TRUE(QFile::exists(path + "/LC_NUMERIC"))
                << name << ": " << compiler.readAllStandardError().toStdString();
        }
        qputenv("LOCPATH", m_folder.path().toUtf8());
        qputenv("LC_ALL", name.c_str());
    }

  private:
    QTemporaryDir m_folder;
};

std::wstring widen(const std::string& text)
{
    return QString::fromStdString(text).toStdWString();
}

TEST(Numbers, AreWrittenAndReadInTheLocale)
{
    Locales locales;
    if (!locales.obstacle().empty())
        GTEST_SKIP() << locales.obstacle();
    const std::string s = numberSpaceUtf8;
    const struct {
        const char* locale;
        i64 value;
        std::string text;
    } cases[] = {{"en_US.UTF-8", 0, "0"},
                 {"en_US.UTF-8", 999, "999"},
                 {"en_US.UTF-8", -1234, "-1,234"},
                 {"en_US.UTF-8", 1234567, "1,234,567"},
                 {"en_US.UTF-8", LLONG_MAX, "9,223,372,036,854,775,807"},
                 {"en_US.UTF-8", LLONG_MIN, "-9,223,372,036,854,775,808"},
                 {"de_DE.UTF-8", 1234567, "1.234.567"},
                 {"de_DE.UTF-8", -123456, "-123.456"},
                 {"en_IN.UTF-8", 123456789, "12,34,56,789"},
                 {"en_IN.UTF-8", LLONG_MIN, "-92,23,37,20,36,85,47,75,808"},
                 {"fr_FR.UTF-8", -1234567, "-1" + s + "234" + s + "567"},
                 {"fr_FR.UTF-8", LLONG_MIN,
                  "-9" + s + "223" + s + "372" + s + "036" + s + "854" + s + "775" + s + "808"},
                 // One byte there, two in UTF-8.
                 {"nn_NO.ISO-8859-1", -1234, "-1\u00A0" + std::string("234")},
                 // Groups, and nothing between them.
                 {"bg_BG.UTF-8", 1234567, "1234567"},
                 {"C", 1234567, "1234567"}};
    for (const auto& [locale, value, text] : cases) {
        locales.enter(locale);
        char narrow[64];
        std::memset(narrow, '#', sizeof narrow);
        EXPECT_EQ(Helpers::convertIntToPunctuatedStrA(value, narrow, 64), text.size()) << locale;
        EXPECT_STREQ(narrow, text.c_str()) << locale;
        EXPECT_EQ(narrow[63], '\0');
        EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), locale);
        wchar_t wide[64];
        EXPECT_EQ(Helpers::convertIntToPunctuatedStrW(value, wide, 64), widen(text).size());
        EXPECT_EQ(wide, widen(text)) << locale;

        i64 back = 1;
        const bool isLong = text.size() > 1;
        EXPECT_EQ(Helpers::convertPunctuatedStrToIntA(narrow, 64, back), true) << locale;
        EXPECT_EQ(back, value) << locale;
        EXPECT_EQ(Helpers::convertPunctuatedStrToIntW(wide, 2, back), isLong) << locale;
        EXPECT_EQ(back, value) << locale;
    }
}

TEST(Numbers, AreReadUpToWhatIsNone)
{
    Locales locales;
    if (!locales.obstacle().empty())
        GTEST_SKIP() << locales.obstacle();
    locales.enter("en_US.UTF-8");
    const struct {
        std::string text;
        u64 length;
        bool isNumber;
        i64 value;
    } cases[] = {
        {"  1,234xyz", 64, true, 1234},
        {"\t-,1,,2,", 64, true, -12},
        {"12345", 3, true, 123},
        {"007", ULLONG_MAX, true, 7},
        {"1.5", 64, true, 1},
        {"-", 64, false, 0},
        {"- 1", 64, false, 0},
        {"--1", 64, false, 0},
        {"    ", 64, false, 0},
        {"  7", 2, false, 0},
        {"12", 1, false, 0},
        {"x1", 64, false, 0},
        {"9223372036854775808", 64, false, 0},
        {"-9223372036854775809", 64, false, 0},
        {"-9223372036854775808", 64, true, LLONG_MIN},
        {"18446744073709551620", 64, true, 4}, // wraps around
    };
    for (auto [text, length, isNumber, value] : cases) {
        i64 result = 1;
        EXPECT_EQ(Helpers::convertPunctuatedStrToIntA(text.data(), length, result), isNumber)
            << text;
        EXPECT_EQ(result, value) << text;
    }
    const struct {
        std::wstring text;
        bool isNumber;
    } wideCases[] = {{L"1", false},
                     {L"", false},
                     {std::wstring(61, L' ') + L"12", true},
                     {std::wstring(62, L' ') + L"12", false},
                     {std::wstring(1, L'-') + std::wstring(1, wchar_t(0x2028)), false},
                     {L"12€", true}};
    for (auto [text, isNumber] : wideCases) {
        i64 result = 1;
        EXPECT_EQ(Helpers::convertPunctuatedStrToIntW(text.data(), 2, result), isNumber);
        EXPECT_EQ(result, isNumber ? 12 : 0);
    }
    i64 result = 1;
    EXPECT_FALSE(Helpers::convertPunctuatedStrToIntA(nullptr, 2, result));
    EXPECT_FALSE(Helpers::convertPunctuatedStrToIntW(nullptr, 2, result));
    EXPECT_EQ(result, 0);

    // A character that the limit cuts is no separator.
    locales.enter("fr_FR.UTF-8");
    std::string text = "1" + std::string(numberSpaceUtf8) + "2";
    for (u64 length = 2; length <= 5; ++length) {
        EXPECT_TRUE(Helpers::convertPunctuatedStrToIntA(text.data(), length, result));
        EXPECT_EQ(result, length < 5 ? 1 : 12) << length;
    }
}

TEST(Numbers, WhatDoesNotFitLeavesAnEmptyText)
{
    qputenv("LC_ALL", "C");
    const struct {
        const char* locale;
        i64 value;
        u64 capacity;
        const char* text;
    } cases[] = {
        {"C", 10, 2, ""},  {"C", 10, 3, "10"}, {"C", 7, 2, "7"},
        {"C", -1, 16, ""}, // the locale has no negative sign
        {"C", 7, 1, "##"}, {"C", 7, 0, "##"},  {"no_SUCH", 7, 16, ""},
    };
    for (const auto& [locale, value, capacity, text] : cases) {
        qputenv("LC_ALL", locale);
        const bool isUnknown = !std::setlocale(LC_ALL, "");
        if (isUnknown != (locale[0] == 'n'))
            continue; // a system that takes any name
        char narrow[17] = "##";
        wchar_t wide[17] = L"##";
        const u64 length = *text == '#' ? 0 : std::strlen(text);
        EXPECT_EQ(Helpers::convertIntToPunctuatedStrA(value, narrow, capacity), length);
        EXPECT_EQ(Helpers::convertIntToPunctuatedStrW(value, wide, capacity), length);
        EXPECT_STREQ(narrow, text) << value << ' ' << capacity;
        EXPECT_EQ(wide, widen(text)) << value << ' ' << capacity;
    }
    EXPECT_EQ(Helpers::convertIntToPunctuatedStrA(7, nullptr, 16), 0U);
    EXPECT_EQ(Helpers::convertIntToPunctuatedStrW(7, nullptr, 16), 0U);
}

TEST(Numbers, ThreadsShareTheLocale)
{
    qputenv("LC_ALL", "C");
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t] {
            for (i64 value = 10; value < 300; ++value) {
                wchar_t text[32];
                i64 back = 0;
                ASSERT_NE(Helpers::convertIntToPunctuatedStrW(value * (t + 1), text, 32), 0U);
                ASSERT_TRUE(Helpers::convertPunctuatedStrToIntW(text, 32, back));
                ASSERT_EQ(back, value * (t + 1));
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace
