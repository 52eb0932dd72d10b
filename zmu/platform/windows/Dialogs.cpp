#include <zmu/platform/Dialogs.h>

#include <zmu/platform/Win32.h>

HFONT zmu::createMessageFont(bool& isKnown)
{
    NONCLIENTMETRICSW metrics = {};
    static_assert(sizeof metrics == 504);
    metrics.cbSize = sizeof metrics;
    isKnown = SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0) != FALSE;
    return isKnown ? CreateFontIndirectW(&metrics.lfMessageFont) : nullptr;
}

void zmu::dressDialog(HWND dialog, bool staysOnTop, HFONT font)
{
    const ULONG_PTR classStyle = GetClassLongPtrW(dialog, GCL_STYLE);
    if ((classStyle & CS_SAVEBITS) != 0)
        SetClassLongPtrW(dialog, GCL_STYLE, static_cast<LONG_PTR>(classStyle & ~CS_SAVEBITS));

    const LONG_PTR style = GetWindowLongPtrW(dialog, GWL_STYLE);
    const LONG_PTR newStyle = (style & ~LONG_PTR{WS_CHILD | WS_SYSMENU}) | LONG_PTR{WS_POPUP};
    const LONG_PTR extended = GetWindowLongPtrW(dialog, GWL_EXSTYLE);
    const LONG_PTR newExtended =
        staysOnTop ? extended | WS_EX_TOPMOST : extended & ~LONG_PTR{WS_EX_TOPMOST};
    if (newStyle != style)
        SetWindowLongPtrW(dialog, GWL_STYLE, newStyle);
    if (newExtended != extended)
        SetWindowLongPtrW(dialog, GWL_EXSTYLE, newExtended);
    if (newStyle != style || newExtended != extended)
        SetWindowPos(dialog, staysOnTop ? HWND_TOPMOST : HWND_TOP, 0, 0, 0, 0,
                     SWP_NOSIZE | SWP_NOMOVE | SWP_FRAMECHANGED);

    if (!font)
        return;
    for (HWND child = GetWindow(dialog, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT)) {
        if (GetDlgCtrlID(child) != 0)
            SendMessageW(child, WM_SETFONT, reinterpret_cast<WPARAM>(font), TRUE);
    }
}

bool zmu::learnWorkArea(HWND, RECT& area)
{
    return SystemParametersInfoW(SPI_GETWORKAREA, 0, &area, 0) != FALSE;
}

void zmu::prepareTextDrawing(u64 context, ulong32 color)
{
    auto* const drawing = reinterpret_cast<HDC>(context);
    if (SetTextColor(drawing, color) != CLR_INVALID)
        SetBkMode(drawing, TRANSPARENT);
}
