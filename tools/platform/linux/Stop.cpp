#include <tools/platform/Stop.h>

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <stdexcept>
#include <thread>
#include <utility>

namespace zmu_tools {

namespace {

constexpr int stopSignals[] = {SIGTERM, SIGINT, SIGHUP};

std::atomic<bool> isAsked = false;
std::atomic<int> writeEnd = -1;

void noteSignal(int)
{
    const int error = errno;
    isAsked = true;
    const char byte = 0;
    [[maybe_unused]] const ssize_t count = write(writeEnd, &byte, 1); // if it is full, it is told
    errno = error;
}

} // namespace

struct StopRequest::System {
    explicit System(std::function<void()> tell)
    {
        if (pipe2(ends, O_CLOEXEC) != 0)
            throw std::runtime_error("no pipe can be made for requests to stop");
        try {
            teller = std::thread([readEnd = ends[0], tell = std::move(tell)] {
                char byte = 0;
                ssize_t count = 0;
                do
                    count = read(readEnd, &byte, 1);
                while (count < 0 && errno == EINTR);
                if (count == 1)
                    tell();
            });
        } catch (...) {
            closeEnds();
            throw;
        }
        writeEnd = ends[1];
        struct sigaction action = {};
        action.sa_handler = noteSignal;
        action.sa_flags = SA_RESETHAND | SA_RESTART;
        for (std::size_t i = 0; i < std::size(stopSignals); ++i)
            sigaction(stopSignals[i], &action, &before[i]);
    }
    ~System()
    {
        for (std::size_t i = 0; i < std::size(stopSignals); ++i)
            sigaction(stopSignals[i], &before[i], nullptr);
        writeEnd = -1;
        close(std::exchange(ends[1], -1)); // which ends the thread
        teller.join();
        closeEnds();
    }
    System(const System&) = delete;
    System& operator=(const System&) = delete;

    void closeEnds()
    {
        for (const int end : ends) {
            if (end >= 0)
                close(end);
        }
    }

    int ends[2] = {-1, -1};
    struct sigaction before[std::size(stopSignals)] = {};
    std::thread teller; ///< Waits for the first request.
};

StopRequest::StopRequest(std::function<void()> tell)
{
    isAsked = false;
    m_system = std::make_unique<System>(std::move(tell));
}

StopRequest::~StopRequest() = default;

bool StopRequest::isMade()
{
    return isAsked;
}

} // namespace zmu_tools
