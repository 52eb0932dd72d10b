// The local time of a section.
#pragma once

#include <zmu/log/internal/FormVariable.h>

namespace zmu {

/// Taken when a section's first variable asks, so that all of them agree.
class SectionTime {
  public:
    WORD part(WORD SYSTEMTIME::*field)
    {
        if (m_now.wYear == 0)
            GetLocalTime(&m_now);
        return m_now.*field;
    }

  private:
    SYSTEMTIME m_now = {};
};

} // namespace zmu
