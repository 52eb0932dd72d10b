// Message boxes, each shown by a program of its own that is asked for nothing else: callers need no
// lock, and several boxes may be open at a time.
#include <zmu/platform/Threads.h>
#include <zmu/platform/Win32.h>
#include <zmu/platform/linux/Diagnostics.h>
#include <zmu/platform/linux/WindowHelper.h>

namespace {

using namespace zmu::window;

constexpr UINT buttonsMask = 0xF;
constexpr UINT lastButtons = 6;

/// Shows the box and waits. 0 with a last error on failure.
int ask(HWND parent, const wchar_t* text, const wchar_t* caption, UINT type)
{
    Request box{Order::ShowBox, static_cast<int>(type)};
    if (RECT owner; parent && GetWindowRect(parent, &owner))
        box.frame = {owner.left, owner.top, owner.right, owner.bottom};
    WindowHelper helper;
    Reply reply;
    if (!helper.start() || !helper.ask({Order::SetTitle}, caption ? caption : L"Error", reply))
        return 0;
    return helper.askPerson(box, text ? text : L"");
}

} // namespace

int MessageBoxW(HWND parent, const wchar_t* text, const wchar_t* caption, UINT type)
{
    const zmu::CancellationHold hold;
    int answer = 0;
    if ((type & buttonsMask) > lastButtons)
        SetLastError(ERROR_INVALID_MSGBOX_STYLE);
    else if (hasDisplay())
        answer = ask(parent, text, caption, type);
    if (answer == 0)
        zmu::writeToStandardError(caption, text);
    return answer;
}
