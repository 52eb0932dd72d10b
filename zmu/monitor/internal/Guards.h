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

/// Holds the critical section of `Self` from construction to leave() or destruction. The two
/// operations can be a subclass's: what they throw is caught here. Where the caller's caller has
/// the section for longer, and nobody could tell, it is not entered again: `isHeld`.
template <class Self>
class SectionGuard {
  public:
    explicit SectionGuard(Self& self, bool isHeld = false)
        : m_self(self), m_isHeld(isHeld), m_entered(isHeld)
    {
        if (isHeld)
            return;
        try {
            m_entered = self.enterCriticalSection();
        } catch (...) {
            m_threw = true;
        }
    }
    ~SectionGuard()
    {
        if (m_entered)
            leaveQuietly();
    }
    SectionGuard(const SectionGuard&) = delete;
    SectionGuard& operator=(const SectionGuard&) = delete;

    bool wasEntered() const { return m_entered; }
    /// Whether entering threw rather than refused.
    bool hasThrown() const { return m_threw; }
    /// Raises `refused` unless it was entered; where entering threw, what makes the operation's own
    /// code of it.
    void requireEntered(int refused = dx::LockRefused) const
    {
        if (m_threw)
            throw EnteringThrew{};
        require(m_entered, refused);
    }

    /// Leaves, if it was entered. Failing that gives `self` the code `notLeft` unless it holds one
    /// already, and the answer is false.
    bool leave(int notLeft = dx::LockNotLeft)
    {
        if (!m_entered)
            return true;
        m_entered = false;
        if (leaveQuietly())
            return true;
        if (m_self.isSelfSatisfied())
            m_self.setSelfDX_Code(notLeft);
        return false;
    }

    /// Leaves as leave() does, and answers for the operation: whether `self` was free of codes
    /// under the lock, behind which another thread may forgive it.
    bool leaveAnswering(int notLeft = dx::LockNotLeft)
    {
        const bool succeeded = m_self.isSelfSatisfied();
        return leave(notLeft) && succeeded;
    }

  private:
    struct EnteringThrew {};

    bool leaveQuietly()
    {
        try {
            return m_isHeld || m_self.leaveCriticalSection();
        } catch (...) {
            return false;
        }
    }

    const CancellationHold m_hold;
    Self& m_self;
    const bool m_isHeld;
    bool m_entered;
    bool m_threw = false;
};

} // namespace zmu
