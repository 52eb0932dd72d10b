// What the tests of the status dialog share.
#pragma once

#include <Support.h>

#include <zmu/notify/ZarnStatusReporter.h>

#include <gtest/gtest.h>

#include <string>

namespace zmu_test {

/// The test program is the module of the dialog and of the strings.
inline constexpr wchar_t program[] = L"notify_test.exe";
inline constexpr int dialogID = 100;
inline constexpr int textID = 1000;

inline ZarnStatusReporter* makeReporter(DLGPROC procedure = nullptr, ulong32 styles = 0x10000,
                                        HWND parent = nullptr)
{
    return ZarnStatusReporter::create(L"Title", styles, program, 0, dialogID, textID, procedure,
                                      parent);
}

/// A dialog of the host's own.
inline HWND makeDialog(DLGPROC procedure, HWND parent = nullptr)
{
    const auto* const dialog =
        reinterpret_cast<const wchar_t*>(static_cast<unsigned long long>(dialogID));
    return CreateDialogParamW(GetModuleHandleW(nullptr), dialog, parent, procedure, 0);
}

inline std::wstring textOf(HWND window)
{
    wchar_t text[4096] = {};
    return {text, static_cast<std::size_t>(GetWindowTextW(window, text, 4096))};
}

/// What the reporter's text control says.
inline std::wstring shownText()
{
    return textOf(GetDlgItem(ZarnStatusReporter_MACRO_GetDialogWindowHandle(), textID));
}

/// Each test has a desktop, by these variables where it takes them, and ends without a reporter.
class Dialogs : public ::testing::Test {
  protected:
    Dialogs()
    {
        qputenv("DISPLAY", "none");
        qputenv("QT_QPA_PLATFORM", "offscreen");
        qputenv("ZMU_WINDOW_SECONDS", "60");
    }
    ~Dialogs() override { ZarnStatusReporter::destroy(); }
};

} // namespace zmu_test
