// How an operation of the monitor and the log fails: written once, here.
//
// Inside an operation a failure is an int, thrown and caught in that same operation. runGuarded
// is that frame; SectionGuard is the data set's lock around it.
#pragma once

#include <zmu/monitor/DxCodes.h>
#include <zmu/platform/Threads.h>

namespace zmu {

/// Raises `code` unless `condition` holds.
inline void require(bool condition, int code)
{
    if (!condition)
        throw code;
}

/// Raises the code that `self` holds unless `condition` holds. For a callee that failed: its code
/// goes up unchanged.
template <class Self>
void requireOrRaiseHeld(bool condition, const Self& self)
{
    if (!condition)
        throw self.getSelfDX_Code();
}

/// Runs `body`. An int that it throws becomes the code of `self` unless one is held already (0 is
/// a quiet early exit); any other exception makes the code `unexpected`. No exception leaves.
template <class Self, class Body>
void runGuarded(Self& self, int unexpected, Body&& body) noexcept
{
    try {
        body();
    } catch (int code) {
        if (self.isSelfSatisfied())
            self.setSelfDX_Code(code);
    } catch (...) {
        self.setSelfDX_Code(unexpected);
    }
}

/// Holds the critical section of `Self` from construction to leave() or destruction.
template <class Self>
class SectionGuard {
  public:
    explicit SectionGuard(Self& self) : m_self(self), m_entered(self.enterCriticalSection()) {}
    ~SectionGuard()
    {
        if (m_entered)
            m_self.leaveCriticalSection();
    }
    SectionGuard(const SectionGuard&) = delete;
    SectionGuard& operator=(const SectionGuard&) = delete;

    bool wasEntered() const { return m_entered; }

    /// Leaves, if it was entered. Failing that gives `self` the code `notLeft` unless it holds one
    /// already, and the answer is false.
    bool leave(int notLeft = dx::LockNotLeft)
    {
        if (!m_entered)
            return true;
        m_entered = false;
        if (m_self.leaveCriticalSection())
            return true;
        if (m_self.isSelfSatisfied())
            m_self.setSelfDX_Code(notLeft);
        return false;
    }

  private:
    const CancellationHold m_hold;
    Self& m_self;
    bool m_entered;
};

} // namespace zmu
