// Keeps the library's traces of this thread from standard error.
#pragma once

#include <zmu/monitor/Trace.h>

namespace zmu_tools {

class QuietTraces {
  public:
    QuietTraces() : m_previous(Zarn_setTraceFunction([](const wchar_t*) {})) {}
    ~QuietTraces() { Zarn_setTraceFunction(m_previous); }
    QuietTraces(const QuietTraces&) = delete;
    QuietTraces& operator=(const QuietTraces&) = delete;

  private:
    ZarnTraceFunction m_previous;
};

} // namespace zmu_tools
