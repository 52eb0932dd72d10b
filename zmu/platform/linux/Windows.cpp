// Windows, each shown by a program of its own.
//
// A handle is the number of a place in the table below and of the window that is there. Numbers of
// windows are not given twice, so the handle of a window that has gone is no window for ever.
#include <zmu/platform/Dialogs.h>
#include <zmu/platform/ProcessLock.h>
#include <zmu/platform/Threads.h>
#include <zmu/platform/Win32.h>
#include <zmu/platform/linux/WindowHelper.h>

#include <atomic>
#include <cstddef>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace {

using zmu::CancellationHold;
using zmu::window::Order;
using zmu::window::Reply;
using zmu::window::Request;
using zmu::window::WindowHelper;

struct Dialog {
    WindowHelper helper;
    DLGPROC procedure = nullptr;
    HWND parent = nullptr;
    bool staysOnTop = false;
    bool isEnding = false; ///< A thread tells its procedure that it goes.
    std::wstring title;
    std::wstring text; ///< The control's.
};

/// A place for a window. The process may end while windows are open and threads use them, so places
/// are never destroyed.
struct Place {
    zmu::ProcessLock gate;
    u64 number = 0; ///< Of the window that is here, 0 for none.
    Dialog* dialog = nullptr;
};
static_assert(std::is_trivially_destructible_v<Place>);

constexpr std::size_t placesMax = 32;
Place places[placesMax];
constinit std::atomic<u64> lastNumber = 0;

// ---- Handles -----------------------------------------------------------------------------------

// Bit 40 is always there, so that no handle is taken for a small number or an address.
constexpr u64 mark = u64{1} << 40;
constexpr u64 handlesOfNumber = 2 * placesMax; // each place's dialog and its control

HWND toHandle(std::size_t place, u64 number, bool isControl)
{
    return reinterpret_cast<HWND>(mark + number * handlesOfNumber + 2 * place +
                                  (isControl ? 1 : 0));
}

/// The window of a handle, for one thread at a time while this object lives.
class Use {
  public:
    explicit Use(HWND handle)
    {
        const u64 value = reinterpret_cast<u64>(handle);
        if (value < mark)
            return;
        const u64 rest = value - mark;
        m_isControl = rest % 2 != 0;
        m_index = rest % handlesOfNumber / 2;
        m_lock = std::unique_lock(places[m_index].gate);
        if (const u64 number = rest / handlesOfNumber;
            number != 0 && number == places[m_index].number)
            m_place = &places[m_index];
        removeIfGone();
    }

    /// Whether the window is there. If not, the last error is ERROR_INVALID_WINDOW_HANDLE.
    bool isThere() const
    {
        if (!m_place)
            SetLastError(ERROR_INVALID_WINDOW_HANDLE);
        return m_place != nullptr;
    }
    bool isControl() const { return m_isControl; }
    HWND dialogHandle() const { return toHandle(m_index, m_place->number, false); }
    HWND controlHandle() const { return toHandle(m_index, m_place->number, true); }
    Dialog* operator->() const { return m_place->dialog; }

    /// Gives an order to a window that is there. When that fails the window is gone.
    bool ask(const Request& request, std::wstring_view text, Reply& reply)
    {
        if (m_place->dialog->helper.ask(request, text, reply))
            return true;
        const DWORD error = GetLastError();
        remove();
        SetLastError(error);
        return false;
    }
    bool ask(const Request& request, std::wstring_view text = {})
    {
        Reply reply;
        return ask(request, text, reply);
    }

    void remove()
    {
        // First, since a process may be forked off while the dialog ends.
        Dialog* const dialog = std::exchange(m_place->dialog, nullptr);
        m_place->number = 0;
        m_place = nullptr;
        delete dialog;
    }

  private:
    void removeIfGone()
    {
        if (m_place && !m_place->dialog->helper.isAlive())
            remove();
    }

    const CancellationHold m_hold;
    std::unique_lock<zmu::ProcessLock> m_lock;
    std::size_t m_index = 0;
    bool m_isControl = false;
    Place* m_place = nullptr;
};

/// Puts a dialog into a free place, which includes those of windows that have gone: a process that
/// was forked off begins with nothing else. A place that is busy is not waited for. Null, with the
/// dialog still the caller's, if there is none.
HWND place(Dialog* dialog)
{
    for (std::size_t index = 0; index < placesMax; ++index) {
        const std::unique_lock lock(places[index].gate, std::try_to_lock);
        if (!lock || (places[index].dialog && places[index].dialog->helper.isAlive()))
            continue;
        delete std::exchange(places[index].dialog, dialog);
        places[index].number = ++lastNumber;
        return toHandle(index, places[index].number, false);
    }
    SetLastError(ERROR_NO_MORE_USER_HANDLES);
    return nullptr;
}

/// When the library is unloaded its windows go. A thread that is busy with one, as the process
/// ends, keeps it until then.
struct Unload {
    ~Unload()
    {
        for (Place& place : places) {
            if (const std::unique_lock lock(place.gate, std::try_to_lock); lock && place.dialog)
                place.dialog->helper.end();
        }
    }
};
const Unload unload;

/// An order to the dialog of `window`.
bool order(HWND window, const Request& request)
{
    Use use(window);
    return use.isThere() && use.ask(request);
}

bool askState(HWND window, Reply& reply)
{
    Use use(window);
    return use.isThere() && use.ask({}, {}, reply);
}

/// Gives `body` the text that `window` has, or nothing if it is none.
template <class Body>
int withText(HWND window, Body body)
{
    const Use use(window);
    if (!use.isThere())
        return body(std::wstring_view());
    return body(std::wstring_view(use.isControl() ? use->text : use->title));
}

BOOL removeWindow(HWND window)
{
    Use use(window);
    if (!use.isThere())
        return FALSE;
    use.remove();
    return TRUE;
}

/// UTF-8 of `text`: the bytes written, or with no `buffer` the bytes that it needs.
int toNarrow(std::wstring_view text, char* buffer, int size)
{
    if (text.empty())
        return 0;
    return WideCharToMultiByte(CP_ACP, 0, text.data(), static_cast<int>(text.size()), buffer, size,
                               nullptr, nullptr);
}

} // namespace

// ---- Life --------------------------------------------------------------------------------------

HWND CreateDialogParamW(HINSTANCE, const wchar_t*, HWND parent, DLGPROC procedure, i64 parameter)
{
    const CancellationHold hold;
    auto* const dialog = new (std::nothrow) Dialog;
    if (!dialog) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    dialog->procedure = procedure;
    dialog->parent = parent;
    auto* const window = dialog->helper.start() ? place(dialog) : nullptr;
    if (!window) {
        delete dialog;
        return nullptr;
    }
    try {
        if (procedure)
            procedure(window, WM_INITDIALOG, 0, parameter);
    } catch (...) {
        removeWindow(window);
        zmu::resumeThreadExit();
        SetLastError(ERROR_GEN_FAILURE);
        return nullptr;
    }
    return window;
}

BOOL DestroyWindow(HWND window)
{
    DLGPROC procedure = nullptr;
    {
        const Use use(window);
        if (!use.isThere())
            return FALSE;
        if (std::exchange(use->isEnding, true)) {
            SetLastError(ERROR_INVALID_WINDOW_HANDLE);
            return FALSE;
        }
        procedure = use->procedure;
    }
    try {
        if (procedure)
            procedure(window, WM_DESTROY, 0, 0);
    } catch (...) {
        // Nothing that it does keeps the window.
        const BOOL isRemoved = removeWindow(window);
        zmu::resumeThreadExit();
        return isRemoved;
    }
    return removeWindow(window);
}

// ---- State -------------------------------------------------------------------------------------

BOOL IsWindow(HWND window)
{
    return Use(window).isThere() ? TRUE : FALSE;
}

BOOL IsWindowVisible(HWND window)
{
    Reply reply;
    return askState(window, reply) && reply.isVisible ? TRUE : FALSE;
}

i64 GetWindowLongPtrW(HWND window, int)
{
    Use use(window);
    Reply reply;
    if (!use.isThere() || !use.ask({}, {}, reply))
        return 0;
    i64 style = use.isControl() || use->parent ? WS_CHILD : WS_POPUP;
    if (reply.isVisible)
        style |= WS_VISIBLE;
    if (use.isControl())
        return style;
    style |= WS_CAPTION;
    if (reply.isMinimized)
        style |= WS_MINIMIZE;
    if (reply.isMaximized)
        style |= WS_MAXIMIZE;
    return style;
}

HWND GetParent(HWND window)
{
    const Use use(window);
    if (!use.isThere())
        return nullptr;
    return use.isControl() ? use.dialogHandle() : use->parent;
}

HWND GetDlgItem(HWND dialog, int)
{
    const Use use(dialog);
    return use.isThere() ? use.controlHandle() : nullptr;
}

BOOL GetWindowRect(HWND window, RECT* place)
{
    Reply reply;
    if (!askState(window, reply))
        return FALSE;
    *place = {reply.window.left, reply.window.top, reply.window.right, reply.window.bottom};
    return TRUE;
}

bool zmu::learnWorkArea(HWND window, RECT& area)
{
    Reply reply;
    if (!askState(window, reply))
        return false;
    area = {reply.workArea.left, reply.workArea.top, reply.workArea.right, reply.workArea.bottom};
    return true;
}

// ---- Looks -------------------------------------------------------------------------------------

BOOL ShowWindow(HWND window, int command)
{
    Use use(window);
    Reply before;
    if (!use.isThere() || !use.ask({}, {}, before))
        return FALSE;
    use.ask({Order::Show, command != SW_HIDE ? 1 : 0});
    return before.isVisible ? TRUE : FALSE;
}

BOOL SetWindowPos(HWND window, HWND insertAfter, int left, int top, int, int, UINT)
{
    Use use(window);
    if (!use.isThere())
        return FALSE;
    const bool staysOnTop =
        insertAfter == HWND_TOPMOST || (insertAfter != HWND_NOTOPMOST && use->staysOnTop);
    if (staysOnTop != use->staysOnTop && !use.ask({Order::StayOnTop, staysOnTop ? 1 : 0}))
        return FALSE;
    use->staysOnTop = staysOnTop;
    return use.ask({Order::Place, 0, {left, top, 0, 0}}) ? TRUE : FALSE;
}

BOOL SetForegroundWindow(HWND window)
{
    return order(window, {Order::Raise}) ? TRUE : FALSE;
}

BOOL InvalidateRect(HWND window, const RECT*, BOOL)
{
    return IsWindow(window);
}

BOOL UpdateWindow(HWND window)
{
    return order(window, {Order::Repaint}) ? TRUE : FALSE;
}

BOOL GdiFlush()
{
    return TRUE;
}

void zmu::dressDialog(HWND, bool, HFONT) {} // The program makes it so; placing it puts it on top.

void zmu::prepareTextDrawing(u64, ulong32) {} // The program draws.

HFONT zmu::createMessageFont(bool& isKnown)
{
    isKnown = true;
    return reinterpret_cast<HFONT>(mark);
}

BOOL DeleteObject(HFONT)
{
    return TRUE;
}

HBRUSH GetSysColorBrush(int)
{
    return reinterpret_cast<HBRUSH>(mark);
}

DWORD GetSysColor(int)
{
    return 0;
}

// ---- Text --------------------------------------------------------------------------------------

BOOL SetWindowTextW(HWND window, const wchar_t* text)
{
    const std::wstring_view given = text ? text : L"";
    Use use(window);
    if (!use.isThere())
        return FALSE;
    try {
        std::wstring copy(given);
        if (!use.ask({use.isControl() ? Order::SetText : Order::SetTitle}, given))
            return FALSE;
        (use.isControl() ? use->text : use->title).swap(copy);
        return TRUE;
    } catch (const std::exception&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return FALSE;
    }
}

int GetWindowTextLengthW(HWND window)
{
    return withText(window, [](std::wstring_view text) { return static_cast<int>(text.size()); });
}

int GetWindowTextLengthA(HWND window)
{
    return withText(window, [](std::wstring_view text) { return toNarrow(text, nullptr, 0); });
}

int GetWindowTextW(HWND window, wchar_t* buffer, int size)
{
    if (!buffer || size < 1)
        return 0;
    return withText(window, [&](std::wstring_view text) {
        const std::size_t count = text.copy(buffer, static_cast<std::size_t>(size) - 1);
        buffer[count] = L'\0';
        return static_cast<int>(count);
    });
}

int GetWindowTextA(HWND window, char* buffer, int size)
{
    if (!buffer || size < 1)
        return 0;
    return withText(window, [&](std::wstring_view text) {
        // A character that does not fit whole is left out.
        int count = 0;
        for (const wchar_t& element : text) {
            const int bytes = toNarrow({&element, 1}, nullptr, 0);
            if (bytes >= size - count)
                break;
            count += toNarrow({&element, 1}, buffer + count, bytes);
        }
        buffer[count] = '\0';
        return count;
    });
}
