// Counts heap allocations, where the system lets a program see those of its libraries.
#pragma once

#include "Platform.h"

#include <benchmark/benchmark.h>

namespace zmu_bench {

inline constexpr char allocationsCounter[] = "allocations";

/// Gives `state` the counter `allocationsCounter`: allocations an iteration within this scope,
/// which is to hold the measured loop and nothing else.
class AllocationCounter {
  public:
    explicit AllocationCounter(benchmark::State& state)
        : m_state(state), m_before(allocationCount())
    {}
    ~AllocationCounter()
    {
        const std::optional<unsigned long> after = allocationCount();
        if (!after || !m_before)
            return;
        const auto count = static_cast<double>(*after - *m_before);
        m_state.counters[allocationsCounter] = benchmark::Counter(
            count / static_cast<double>(m_state.iterations()), benchmark::Counter::kAvgThreads);
    }
    AllocationCounter(const AllocationCounter&) = delete;
    AllocationCounter& operator=(const AllocationCounter&) = delete;

  private:
    benchmark::State& m_state;
    std::optional<unsigned long> m_before;
};

} // namespace zmu_bench
