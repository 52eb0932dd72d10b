// A window program that obeys ZMU_TEST_ORDERS orders, and at the next one ends.
#include <zmu/platform/linux/WindowProtocol.h>

#include <cstdlib>

#include <sys/socket.h>

using namespace zmu::window;

int main()
{
    Reply reply;
    reply.window = {10, 10, 110, 60};
    reply.workArea = {0, 0, 800, 600};
    Request order;
    for (int orders = std::atoi(std::getenv("ZMU_TEST_ORDERS")); orders >= 0; --orders) {
        send(socketDescriptor, &reply, sizeof reply, MSG_NOSIGNAL);
        recv(socketDescriptor, &order, sizeof order, 0);
    }
}
