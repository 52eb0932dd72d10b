#include <zmu/platform/linux/helper/Connection.h>

#include <zmu/platform/linux/ProcessDescriptor.h>

#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <system_error>
#include <thread>
#include <vector>

namespace zmu::window {

bool Connection::isThere()
{
    int type = 0;
    socklen_t size = sizeof type;
    return getsockopt(socketDescriptor, SOL_SOCKET, SO_TYPE, &type, &size) == 0 &&
           type == SOCK_SEQPACKET;
}

void Connection::watchHost()
{
    ucred host{};
    socklen_t size = sizeof host;
    if (getsockopt(socketDescriptor, SOL_SOCKET, SO_PEERCRED, &host, &size) != 0)
        return;
    const int process = pidfd_open(host.pid, 0);
    if (process < 0 && errno == ESRCH)
        _exit(0);
    // Of a host in another name space, which has no descriptor, the socket still tells.
    try {
        std::thread([process] {
            pollfd sources[] = {{process, POLLIN, 0}, {socketDescriptor, 0, 0}};
            while (poll(sources, std::size(sources), -1) <= 0) {
            }
            _exit(0);
        }).detach();
    } catch (const std::system_error& error) {
        fail(QString::fromLocal8Bit(error.what()));
    }
}

Request Connection::receive(QString& text)
{
    static std::vector<char> bytes(textBytesMax);
    Request request;
    iovec parts[] = {{&request, sizeof request}, {bytes.data(), bytes.size()}};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    ssize_t length = 0;
    do {
        length = recvmsg(socketDescriptor, &message, 0);
    } while (length < 0 && errno == EINTR);
    if (length < static_cast<ssize_t>(sizeof request))
        _exit(0); // The host has gone, or let go. There is nothing to save.
    text = QString::fromUtf8(bytes.data(), length - static_cast<ssize_t>(sizeof request));
    return request;
}

void Connection::send(const Reply& reply)
{
    if (::send(socketDescriptor, &reply, sizeof reply, MSG_NOSIGNAL) < 0)
        _exit(0);
}

void Connection::fail(const QString& why)
{
    Reply reply;
    reply.answer = Answer::Failed;
    QByteArray text = why.toUtf8();
    iovec parts[] = {
        {&reply, sizeof reply},
        {text.data(), static_cast<std::size_t>(std::min<qsizetype>(text.size(), 1024))}};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    sendmsg(socketDescriptor, &message, MSG_NOSIGNAL);
    _exit(1);
}

} // namespace zmu::window
