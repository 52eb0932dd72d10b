#include <zmu/foundation/OneTimeMethod.h>
#include <zmu/platform/Threads.h>
#include <zmu/platform/Win32.h>

OneTimeMethod::OneTimeMethod() = default;

OneTimeMethod::~OneTimeMethod()
{
    // Whoever has waited for the end may be here before the runner has let go of the lock.
    const Synchronized guard(m_lock);
    m_state = OneTimeMethod_DESTROYED;
    m_result = -1;
    m_owner = 0;
}

OneTimeMethodState OneTimeMethod::run(bool waitForFinish, int argument)
{
    if (!becomeRunner()) {
        if (waitForFinish && !isCalledByWork())
            m_done.wait();
        return m_state;
    }
    const zmu::CancellationHold hold; // others wait for the end, so this thread must come to it
    try {
        work(argument);
    } catch (...) {
        const OneTimeMethodState answer = finish(OneTimeMethod_THREW);
        zmu::resumeThreadExit();
        return answer;
    }
    return finish(OneTimeMethod_SUCCESS);
}

bool OneTimeMethod::becomeRunner()
{
    const Synchronized guard(m_lock);
    if (m_state != OneTimeMethod_NOT_STARTED)
        return false;
    m_state = OneTimeMethod_RUNNING;
    m_owner = GetCurrentThreadId();
    return true;
}

OneTimeMethodState OneTimeMethod::finish(OneTimeMethodState answer)
{
    const Synchronized guard(m_lock);
    m_state = OneTimeMethod_FINISHED;
    m_owner = 0;
    m_done.set();
    return answer;
}

bool OneTimeMethod::isCalledByWork() const
{
    return m_state == OneTimeMethod_RUNNING && m_owner == GetCurrentThreadId();
}

OneTimeMethodState OneTimeMethod::state()
{
    const Synchronized guard(m_lock);
    return m_state;
}

OneTimeMethodState OneTimeMethod::result(int* out)
{
    const Synchronized guard(m_lock);
    if (!out)
        return OneTimeMethod_FAILED;
    if (m_state != OneTimeMethod_FINISHED)
        return OneTimeMethod_NO_RESULT;
    *out = m_result;
    return OneTimeMethod_SUCCESS;
}

void OneTimeMethod::setResult(int value)
{
    const Synchronized guard(m_lock);
    m_result = value;
}

OneTimeMethodState OneTimeMethod::waitForFinish(unsigned milliseconds)
{
    if (isCalledByWork())
        return OneTimeMethod_RUNNING;
    switch (m_done.wait(milliseconds, 0)) {
    case WAIT_OBJECT_0:
        return OneTimeMethod_SUCCESS;
    case WAIT_TIMEOUT:
        return OneTimeMethod_TIMED_OUT;
    default:
        return OneTimeMethod_FAILED;
    }
}
