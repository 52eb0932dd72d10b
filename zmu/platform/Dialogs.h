// How a dialog comes to look like those of its desktop. What the system does here in calls of its
// own is one function each.
#pragma once

#include <zmu/platform/HostWindows.h>
#include <zmu/platform/Win32.h>

namespace zmu {

/// Makes the font of the desktop's messages. Null with the last error on failure; `isKnown` tells
/// whether the desktop said which font that is.
HFONT createMessageFont(bool& isKnown);

/// Gives a dialog that is about to appear the frame of a window of its own, that nobody closes by a
/// button, the place above all other windows or not, and `font`, unless it is null, for each of its
/// controls. Failures are ignored.
void dressDialog(HWND dialog, bool staysOnTop, HFONT font);

/// What the desktop's own bars leave of the first screen. False with the last error on failure.
/// Where each window has a program of its own, it is `window`'s that is asked.
bool learnWorkArea(HWND window, RECT& area);

/// Prepares the drawing of text in a control or dialog, by the context of that message, in a colour
/// on the background that is there. Failures are ignored.
void prepareTextDrawing(zmu::u64 context, zmu::ulong32 color);

} // namespace zmu
