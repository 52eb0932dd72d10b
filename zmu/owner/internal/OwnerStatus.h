// Where an operation of an owner keeps its failure, for runGuarded (monitor/internal/Guards.h).
#pragma once

#include <zmu/foundation/Types.h>
#include <zmu/platform/Threads.h>
#include <zmu/platform/Win32.h>

namespace zmu {

/// What operations begin with: no code, no companion, no last error.
inline void clearCodes(int& code1, ulong32& code2)
{
    code1 = 0;
    code2 = 0;
    SetLastError(ERROR_SUCCESS);
}

/// A code that stays once it is set. The operation goes on to its end.
class OwnerStatus {
  public:
    explicit OwnerStatus(int& code) : m_code(code) {}
    bool isSelfSatisfied() const { return m_code == 0; }
    int getSelfDX_Code() const { return m_code; }
    void setSelfDX_Code(int code) { m_code = code; }

  private:
    const CancellationHold m_hold;
    int& m_code;
};

} // namespace zmu
