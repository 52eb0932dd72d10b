// How the status dialog looks and where it stands: colours and font, the dialog procedure,
// centring.
#include <zmu/notify/ZarnStatusReporter.h>

#include <zmu/notify/StatusCodes.h>
#include <zmu/platform/Dialogs.h>
#include <zmu/platform/Win32.h>

#include <cstring>
#include <utility>

namespace status = zmu::status;

namespace {

/// Style bit of the dialog that is to stay above other windows.
constexpr ulong32 staysOnTop = 0x10000;

int widthOf(const RECT& rect)
{
    return static_cast<int>(rect.right - rect.left);
}

int heightOf(const RECT& rect)
{
    return static_cast<int>(rect.bottom - rect.top);
}

bool isNormal(i64 style)
{
    return (style & (WS_MINIMIZE | WS_MAXIMIZE)) == 0;
}

/// Where a length of `size` begins that is centred on `areaSize` from `areaStart`, and does not
/// begin before 0 or end behind `limit`.
int centered(int areaStart, int areaSize, int size, int limit)
{
    int start = areaStart + (areaSize - size) / 2;
    if (start < 0)
        start = 0;
    if (start + size > limit)
        start = limit - size;
    return start;
}

/// The frame of the window that `window` is centred on. False for none.
bool findOwnerFrame(HWND window, RECT& frame)
{
    auto* const owner = ZarnStatusReporter::learnParentWindowOwner(window);
    if (owner != window && owner && IsWindow(owner) && IsWindowVisible(owner) &&
        isNormal(GetWindowLongPtrW(owner, GWL_STYLE)) && GetWindowRect(owner, &frame))
        return true;
    SetLastError(ERROR_SUCCESS);
    return false;
}

} // namespace

// ---- Colours and font ----------------------------------------------------------------------------

bool ZarnStatusReporter::establishDlgBox_Aesthetics() const
{
    const bool hasBackground = establishDlgBoxColorBackground();
    const bool hasText = establishDlgBoxColorText();
    const bool hasFont = establishDlgBoxLogicalFont();
    return hasBackground && hasText && hasFont;
}

// Nothing of these failures remains: a dialog in other colours is as good. The codes live as long
// as the operation.

bool ZarnStatusReporter::establishDlgBoxColorBackground() const
{
    clearDiagnostics();
    if (m_dialogWindowColorBackground)
        fail(status::BackgroundTwice);
    else if (m_dialogWindowColorBackground = GetSysColorBrush(COLOR_3DFACE);
             !m_dialogWindowColorBackground)
        fail(status::BackgroundNoBrush);
    const bool succeeded = m_DX_Code1 == status::Success;
    clearDiagnostics();
    return succeeded;
}

bool ZarnStatusReporter::establishDlgBoxColorText() const
{
    m_dialogWindowColorText = GetSysColor(COLOR_WINDOWTEXT);
    // Black is also what a failure gives.
    return m_dialogWindowColorText != 0 || GetSysColorBrush(COLOR_WINDOWTEXT);
}

bool ZarnStatusReporter::establishDlgBoxLogicalFont() const
{
    clearDiagnostics();
    try {
        bool isKnown = false;
        if (!m_dialogWindowIsOurs || m_dialogWindowLogicalFont)
            fail(status::FontBadState);
        else if (m_dialogWindowLogicalFont = zmu::createMessageFont(isKnown);
                 !m_dialogWindowLogicalFont)
            failWithLastError(isKnown ? status::FontNotCreated : status::FontNoMetrics);
    } catch (...) {
        fail(status::FontUnexpected);
    }
    const bool succeeded = m_DX_Code1 == status::Success;
    clearDiagnostics();
    return succeeded;
}

// ---- The dialog procedure ------------------------------------------------------------------------

i64 ZarnStatusReporter::processDialogMessages(HWND window, unsigned int message, u64 first, i64)
{
    clearDiagnostics();
    i64 result = 0;
    switch (message) {
    case WM_INITDIALOG: {
        if (!window) {
            fail(status::InitNoWindow);
            break;
        }
        const bool isOnTop = (m_dialogWindowStyles & staysOnTop) != 0;
        zmu::dressDialog(window, isOnTop, m_dialogWindowLogicalFont);
        centerWindow(window, isOnTop ? HWND_TOPMOST : HWND_TOP);
        SetForegroundWindow(window);
        SetLastError(ERROR_SUCCESS);
        break;
    }
    case WM_CTLCOLORDLG:
    case WM_CTLCOLORSTATIC:
        if (m_dialogWindowColorBackground)
            zmu::prepareTextDrawing(first, m_dialogWindowColorText);
        result = reinterpret_cast<i64>(m_dialogWindowColorBackground);
        break;
    case WM_DESTROY:
        if (auto* const font = std::exchange(m_dialogWindowLogicalFont, nullptr))
            DeleteObject(font);
        break;
    default:
        break;
    }
    clearDiagnostics();
    return result;
}

// ---- Its place -----------------------------------------------------------------------------------

bool ZarnStatusReporter::centerWindow(HWND window, HWND insertAfter)
try {
    clearDiagnostics();
    if (!window || !IsWindow(window))
        return fail(status::CenterBadWindow);
    SetLastError(ERROR_SUCCESS);
    const i64 style = GetWindowLongPtrW(window, GWL_STYLE);
    if (style == 0)
        return failWithLastError(status::CenterBadWindow);
    if (!isNormal(style))
        return fail(status::CenterBadWindow);

    RECT workArea;
    if (!zmu::learnWorkArea(window, workArea))
        return failWithLastError(status::CenterNoWorkArea);
    const int workWidth = widthOf(workArea);
    const int workHeight = heightOf(workArea);
    RECT frame;
    if (!GetWindowRect(window, &frame))
        return failWithLastError(status::CenterNoFrame);

    RECT target;
    if (!findOwnerFrame(window, target))
        target = {0, 0, workWidth, workHeight}; // from the origin, wherever the work area begins
    if (widthOf(target) == 0 || heightOf(target) == 0)
        return fail(status::CenterAreaEmpty);

    const int left = centered(target.left, widthOf(target), widthOf(frame), workWidth);
    const int top = centered(target.top, heightOf(target), heightOf(frame), workHeight);
    const RECT place = {left, top, 0, 0};
    if (std::memcmp(&place, &frame, sizeof place) != 0 &&
        !SetWindowPos(window, insertAfter, left, top, 0, 0, SWP_NOSIZE | SWP_FRAMECHANGED))
        return failWithLastError(status::CenterNotMoved);
    return true;
} catch (...) {
    return fail(status::CenterUnexpected);
}

HWND ZarnStatusReporter::learnParentWindowOwner(HWND window)
{
    if (!window || !IsWindow(window))
        return nullptr;
    while ((GetWindowLongPtrW(window, GWL_STYLE) & WS_CHILD) != 0) {
        auto* const parent = GetParent(window);
        if (!parent)
            break;
        window = parent;
    }
    SetLastError(ERROR_SUCCESS);
    return window;
}
