// Counts heap allocations: this program's malloc serves all libraries that it is linked with.
#pragma once

#include <benchmark/benchmark.h>

namespace zmu_bench {

inline constexpr char allocationsCounter[] = "allocations";

/// Allocations of the calling thread since it began.
unsigned long allocationCount();

/// Gives `state` the counter `allocationsCounter`: allocations an iteration within this scope,
/// which is to hold the measured loop and nothing else.
class AllocationCounter {
  public:
    explicit AllocationCounter(benchmark::State& state)
        : m_state(state), m_before(allocationCount())
    {}
    ~AllocationCounter()
    {
        const auto count = static_cast<double>(allocationCount() - m_before);
        m_state.counters[allocationsCounter] = benchmark::Counter(
            count / static_cast<double>(m_state.iterations()), benchmark::Counter::kAvgThreads);
    }
    AllocationCounter(const AllocationCounter&) = delete;
    AllocationCounter& operator=(const AllocationCounter&) = delete;

  private:
    benchmark::State& m_state;
    unsigned long m_before;
};

} // namespace zmu_bench
