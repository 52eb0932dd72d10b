// The message box.
#pragma once

#include <zmu/platform/linux/WindowProtocol.h>

#include <QString>

namespace zmu::window {

/// Shows a box as `request` asks for and waits for the person. Returns the number of the button.
int askPerson(const Request& request, const QString& caption, const QString& text);

} // namespace zmu::window
