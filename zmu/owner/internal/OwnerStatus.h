// Where an operation of an owner keeps its failure, for runGuarded (monitor/internal/Guards.h).
#pragma once

namespace zmu {

/// A code that stays once it is set.
class OwnerStatus {
  public:
    explicit OwnerStatus(int& code) : m_code(code) {}
    bool isSelfSatisfied() const { return m_code == 0; }
    int getSelfDX_Code() const { return m_code; }
    void setSelfDX_Code(int code) { m_code = code; }

  private:
    int& m_code;
};

} // namespace zmu
