// A process of a test that may crash or hang.
#pragma once

#include <functional>

#include <sys/types.h>

namespace zmu_test {

/// Why a fork beside threads that allocate is no test here; null if it is one. The allocator of
/// AddressSanitizer has locks that a fork does not know: a child can find one held for ever.
const char* whyForksCannotAllocate();

struct ChildEnd {
    int status = -1; ///< What the process has returned; -1 if it has not.
    bool isHung = false;
    bool isCrashed = false; ///< Ended by a signal, but not by Child::kill(), or never begun.
};

/// A fork of this process that ends with what `body` returns. It is ended after some seconds, of
/// which it is given plenty: this is for what would hang for ever. Its standard error, and with it
/// the library's traces, goes nowhere unless ZMU_TEST_TRACES is set.
class Child {
  public:
    explicit Child(const std::function<int()>& body, unsigned seconds = 60);
    ~Child() { wait(); }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    void kill() const;
    /// Waits for its end; more than once, too.
    ChildEnd wait();

  private:
    pid_t m_process;
    ChildEnd m_end;
};

} // namespace zmu_test
