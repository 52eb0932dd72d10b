#include <tools/platform/Stop.h>

#ifndef NOMINMAX
#define NOMINMAX
#endif
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <atomic>
#include <mutex>
#include <utility>

namespace zmu_tools {

namespace {

std::atomic<bool> isAsked = false;
std::mutex telling; ///< Held while `toTell` is called, so that it is not destroyed meanwhile.
const std::function<void()>* toTell = nullptr;

/// Runs on a thread of the system's. Of a console that closes the process is ended when this
/// returns, or after some seconds.
BOOL WINAPI noteRequest(DWORD kind)
{
    if (isAsked.exchange(true))
        return FALSE; // and the process is ended
    {
        const std::scoped_lock lock(telling);
        if (toTell)
            (*toTell)();
    }
    constexpr DWORD patience = 4000;
    if (kind == CTRL_CLOSE_EVENT || kind == CTRL_SHUTDOWN_EVENT)
        Sleep(patience);
    return TRUE;
}

} // namespace

struct StopRequest::System {
    explicit System(std::function<void()> tell) : tell(std::move(tell))
    {
        {
            const std::scoped_lock lock(telling);
            toTell = &this->tell;
        }
        SetConsoleCtrlHandler(noteRequest, TRUE);
    }
    ~System()
    {
        SetConsoleCtrlHandler(noteRequest, FALSE);
        const std::scoped_lock lock(telling);
        toTell = nullptr;
    }
    System(const System&) = delete;
    System& operator=(const System&) = delete;

    const std::function<void()> tell;
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
