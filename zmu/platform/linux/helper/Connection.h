// The program's end of the socket. When the host lets go of its end, or ends, the program ends.
#pragma once

#include <zmu/platform/linux/WindowProtocol.h>

#include <QByteArray>
#include <QString>

#include <sys/types.h>

namespace zmu::window {

class Connection {
  public:
    /// Takes over the socket at its descriptor. False if there is none.
    static bool isThere();

    /// Ends the program when the host is gone, even if a child of the host still holds the socket,
    /// or has let go of it; from now on and whatever the calling thread is busy with.
    static void watchHost();

    /// Waits for the next order. The program ends here when there will be none.
    static Request receive(QString& text);
    static void send(const Reply& reply);
    /// Tells why the program cannot start, and ends it.
    [[noreturn]] static void fail(const QString& why);
};

} // namespace zmu::window
