// What the box of an internal error says, read in the box, or where the text goes without a
// display.
#include <Support.h>

#include <zmu/localize/ZarnLocalizeHelpers.h>

#include <gtest/gtest.h>

#include <string>

namespace {

#if defined(_WIN32)

QString said;

/// Reads the box once it is ready, and answers it.
LRESULT CALLBACK answerBox(int code, WPARAM isSender, LPARAM parameter)
{
    const auto& message = *reinterpret_cast<const CWPRETSTRUCT*>(parameter);
    if (code == HC_ACTION && message.message == WM_INITDIALOG) {
        constexpr int textID = 0xFFFF;
        wchar_t caption[600] = {};
        wchar_t text[600] = {};
        GetWindowTextW(message.hwnd, caption, 600);
        GetDlgItemTextW(message.hwnd, textID, text, 600);
        said = QString::fromWCharArray(caption) + ": " + QString::fromWCharArray(text) + '\n';
        EndDialog(message.hwnd, IDOK);
    }
    return CallNextHookEx(nullptr, code, isSender, parameter);
}

#endif

/// Caption and text of the box, if one appears.
QString show(int number, HMODULE module, const std::wstring& detail, const wchar_t* caption)
{
    const auto showError = [&] {
        return ZarnLocalizeHelpers::showError(number, module, detail.c_str(), nullptr, caption, 0);
    };
#if defined(_WIN32)
    said.clear();
    const HHOOK hook =
        SetWindowsHookExW(WH_CALLWNDPROCRET, answerBox, nullptr, GetCurrentThreadId());
    const int answer = showError();
    UnhookWindowsHookEx(hook);
    EXPECT_EQ(answer, said.isEmpty() ? 0 : IDOK);
    return said;
#else
    zmu_test::Traces traces;
    EXPECT_EQ(showError(), 0);
    return traces.take();
#endif
}

TEST(ErrorBox, SaysVersionNumberDetailAndTheModulesWords)
{
    zmu_test::strings() = {{2042, L"Words."}, {6, L""}, {7, std::wstring(600, L'x')}};
    const HMODULE program = GetModuleHandleW(nullptr);
    const HMODULE bare = LoadLibraryW(L"bare.dll");
    ASSERT_NE(bare, nullptr);
    const struct {
        int number;
        HMODULE module;
        const wchar_t* detail;
        const wchar_t* caption;
        const char* shown;
    } cases[] = {
        {2042, program, L"", nullptr, "Example Server Error: Internal Error 4.1.042\n\nWords.\n"},
        {2042, program, L": €", L"", "Example Server Error: Internal Error 4.1.042: €\n\nWords.\n"},
        {2042, program, L"", L"100%% %s of it",
         "100% %s of it: Internal Error 4.1.042\n\nWords.\n"},
        {5, bare, L"", nullptr, "  Error: Internal Error 0.005\n\nwords\n"},
        {2042, nullptr, L"", nullptr, ""},
        {2043, program, L"", nullptr, ""},
        {6, program, L"", nullptr, ""},
        {0, program, L"", nullptr, ""},
        {-5, program, L"", nullptr, ""},
    };
    for (const auto& [number, module, detail, caption, shown] : cases)
        EXPECT_EQ(show(number, module, detail, caption), QString::fromUtf8(shown)) << number;

    // 511 characters; a detail that does not fit is left out, the module's words are cut.
    const QString start = QStringLiteral("Title: Internal Error 4.1.007");
    const auto rest = [](int count) { return "\n\n" + QString(count, 'x') + '\n'; };
    EXPECT_EQ(show(7, program, std::wstring(490, L'd'), L"Title"), start + rest(487));
    EXPECT_EQ(show(7, program, std::wstring(489, L'd'), L"Title"), QString()); // no room for them
    EXPECT_EQ(show(7, program, std::wstring(486, L'd'), L"Title"),
              start + QString(486, 'd') + rest(1));
    EXPECT_TRUE(FreeLibrary(bare));
}

} // namespace
