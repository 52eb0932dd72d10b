// The built-in string table, asked as any resource module is.
#include <zmu/localize/StringTable.h>
#include <zmu/platform/Win32.h>

#include <QCoreApplication>
#include <QTranslator>

#include <gtest/gtest.h>

#include <cwchar>
#include <iterator>
#include <string>

namespace {

constexpr DWORD untouched = 4711; ///< A last error that nobody sets.

TEST(StringTable, LooksUpCutsAndRefuses)
{
    struct Row {
        unsigned int id;
        int bufferMax;
        int length;
        DWORD error;
        const wchar_t* text; ///< The buffer's begin; "#" is what it held before.
    };
    const Row rows[] = {
        {10001, 64, 39, ERROR_SUCCESS, L"<a href=\"Codes/WBT.html#%lu\">WBT%lu</a>"},
        {14201, 64, 30, ERROR_SUCCESS, L"<a href=\\\"file://%ls\\\">%ls</a>"},
        {15601, 64, 21, ERROR_SUCCESS, L"Environment Variables"},
        {10007, 8, 7, ERROR_SUCCESS, L"Unknown"},
        {10007, 7, 6, ERROR_SUCCESS, L"Unknow"},
        {10007, 1, 0, ERROR_SUCCESS, L""},
        {10007, 0, 0, ERROR_INVALID_PARAMETER, L"##"},
        {10007, -1, 0, ERROR_INVALID_PARAMETER, L"##"},
        {14006, 64, 1, ERROR_SUCCESS, L" "},
        {14015, 64, 0, ERROR_SUCCESS, L""}, // exists and is empty
        {0, 64, 0, ERROR_FILE_NOT_FOUND, L"##"},
        {15435, 64, 0, ERROR_FILE_NOT_FOUND, L"##"}, // a gap amid the names of systems
        {0xFFFFFFFF, 64, 0, ERROR_FILE_NOT_FOUND, L"##"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.id << " into " << row.bufferMax);
        wchar_t buffer[64];
        std::wmemset(buffer, L'#', std::size(buffer));
        SetLastError(untouched);

        EXPECT_EQ(ZRLoadStringW(row.id, buffer, row.bufferMax), row.length);

        EXPECT_EQ(GetLastError(), row.error);
        const std::size_t compared = std::wcslen(row.text) + (row.text[0] != L'#');
        EXPECT_EQ(std::wstring(buffer, compared), std::wstring(row.text, compared));
        if (row.length > 0 && row.length < 63) {
            EXPECT_EQ(buffer[row.length + 1], L'#'); // nothing behind the terminator
        }
    }
}

TEST(StringTable, IsTranslatedByTheHost)
{
    struct Translator : QTranslator {
        bool isEmpty() const override { return false; }
        QString translate(const char*, const char* source, const char*, int) const override
        {
            return qstrcmp(source, "Unknown") == 0 ? QStringLiteral("Inconnu \u00e9") : QString();
        }
    } translator;
    int argc = 1;
    char name[] = "test";
    char* argv[] = {name, nullptr};
    const QCoreApplication application(argc, argv);
    QCoreApplication::installTranslator(&translator);

    wchar_t buffer[16] = {};
    EXPECT_EQ(ZRLoadStringW(10007, buffer, 16), 9);
    EXPECT_STREQ(buffer, L"Inconnu \u00e9");
    EXPECT_EQ(ZRLoadStringW(14001, buffer, 16), 3); // has no translation
    EXPECT_STREQ(buffer, L"Yes");
}

} // namespace
