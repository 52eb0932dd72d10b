// What of windows belongs to the interface: their handles, and outside Windows, where no system has
// them for the asking, the windows that the library can show.
//
//     HWND dialog = CreateDialogParamW(nullptr, nullptr, nullptr, procedure, 0);
//     SetWindowTextW(GetDlgItem(dialog, 1000), L"Starting");
//     ShowWindow(dialog, 5);
//
// On Windows these are the system's own declarations once more; a host may include <windows.h>
// before or after.
#pragma once

#include <zmu/platform/Host.h>

struct HBRUSH__;
struct HFONT__;
using HBRUSH = HBRUSH__*;
using HFONT = HFONT__*;

#if defined(_WIN32)

using DLGPROC = zmu::i64(__stdcall*)(HWND window, unsigned int message, zmu::u64 first,
                                     zmu::i64 second);

#else

/// Is told of a dialog's beginning (message 0x110) and end (2), by the thread that makes or
/// destroys it. What it returns is not looked at, what it throws ends there.
using DLGPROC = zmu::i64 (*)(HWND window, unsigned int message, zmu::u64 first, zmu::i64 second);

/// Edges in pixels of the desktop before scaling; right and bottom are the first ones outside.
struct RECT {
    int left;
    int top;
    int right;
    int bottom;
};

// A window is shown by a program of its own, zmu-window, which comes with the library. Each call
// asks that program and waits for its answer, at most five seconds, or as many as the environment
// variable ZMU_WINDOW_SECONDS says: a program that does not answer is ended. Its window is gone
// then, as it is when the person has closed it or the program was killed. Any thread may call. For
// what is no window a call fails with the last error 1400. At most 32 windows are open at a time.

/// Makes a hidden dialog: one line of text, which is the dialog's control of any ID, in the
/// desktop's colours and font. Modules have no dialogs here, so `module` and `dialog` are not
/// looked at. `parent`, a dialog as well or null, owns it. Calls `procedure` with the message 0x110
/// before it returns. Null with the last error 1459 without a display (DISPLAY and WAYLAND_DISPLAY
/// are not set), 2 when the program is missing, 1460 when it does not start in time, 31 when it
/// ended (no connection to the display) or the procedure has thrown, 8 without memory or
/// descriptors, 1158 with too many windows. Standard error tells why.
ZMU_API HWND CreateDialogParamW(HINSTANCE module, const wchar_t* dialog, HWND parent,
                                DLGPROC procedure, zmu::i64 parameter);
/// Calls the dialog's procedure with the message 2 and removes the dialog. 0 on failure.
ZMU_API int DestroyWindow(HWND window);
/// Whether this is a dialog or the control of one. Does not wait.
ZMU_API int IsWindow(HWND window);
/// Whether it is shown, or minimized.
ZMU_API int IsWindowVisible(HWND window);
/// Hides a dialog for 0, shows it otherwise, without taking the focus. Whether it was visible.
ZMU_API int ShowWindow(HWND window, int command);
/// The control of a dialog, whatever its ID is.
ZMU_API HWND GetDlgItem(HWND dialog, int control);
/// Title of a dialog, or the text of its control, which shows the first 4096 elements on one line.
ZMU_API int SetWindowTextW(HWND window, const wchar_t* text);
/// What SetWindowTextW has set, cut at `size` elements with the terminator. Returns the elements
/// without it. Does not wait.
ZMU_API int GetWindowTextW(HWND window, wchar_t* buffer, int size);
/// The place of a dialog, with its frame. A control has that of its dialog.
ZMU_API int GetWindowRect(HWND window, RECT* place);

#endif
