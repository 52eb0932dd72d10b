#include <tools/platform/Stop.h>

#include <QSocketNotifier>

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <stdexcept>
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
        if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
            throw std::runtime_error("no pipe can be made for requests to stop");
        writeEnd = ends[1];
        notifier = std::make_unique<QSocketNotifier>(ends[0], QSocketNotifier::Read);
        QObject::connect(notifier.get(), &QSocketNotifier::activated,
                         [this, tell = std::move(tell)] {
                             notifier->setEnabled(false);
                             tell();
                         });
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
        notifier.reset();
        close(ends[0]);
        close(ends[1]);
    }
    System(const System&) = delete;
    System& operator=(const System&) = delete;

    int ends[2] = {-1, -1};
    struct sigaction before[std::size(stopSignals)] = {};
    std::unique_ptr<QSocketNotifier> notifier;
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
