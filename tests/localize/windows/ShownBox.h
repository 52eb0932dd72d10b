// What a message box says, read in the box.
#pragma once

#include <zmu/platform/Win32.h>

#include <QString>

#include <gtest/gtest.h>

namespace zmu_test {

/// Caption and text of the box that `showBox` shows, if it shows one. The box is answered.
template <class Show>
QString saidBy(const Show& showBox)
{
    static QString said;
    said.clear();
    // Reads the box once it is ready.
    const auto answer = [](int code, WPARAM isSender, LPARAM parameter) -> LRESULT {
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
    };
    const HHOOK hook = SetWindowsHookExW(WH_CALLWNDPROCRET, answer, nullptr, GetCurrentThreadId());
    const int result = showBox();
    UnhookWindowsHookEx(hook);
    EXPECT_EQ(result, said.isEmpty() ? 0 : IDOK);
    return said;
}

} // namespace zmu_test
