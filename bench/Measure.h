// How everything here is measured: registered by name and medium, warmed up, allocations counted.
#pragma once

#include "AllocationCount.h"
#include "Medium.h"

#include <benchmark/benchmark.h>

#include <string>

namespace zmu_bench {

// One function a subject, each in the source file of that name.
void registerStreamBench();
void registerPeersBench();
void registerRoadBench();
void registerSpoolBench();
void registerStagesBench();
void registerThreadsBench();
void registerFileSizeBench();
void registerOwnerBench();
void registerReadingBench();

/// Reports `count` situations on one of the roads of Instructions.h. False for another name, and
/// when a situation fails.
bool reportOn(const std::string& road, int count);

/// Name of a measurement on a medium, which the table looks for.
inline std::string nameOn(const std::string& name, Medium medium)
{
    return name + "/" + nameOf(medium);
}

/// Registers `measure(state, medium)` as "NAME/MEDIUM" for each medium of this machine.
template <class Measure>
void registerOnMedia(const std::string& name, Measure measure)
{
    for (const Medium medium : media) {
        if (!fileSystemOf(medium).isEmpty())
            benchmark::RegisterBenchmark(nameOn(name, medium).c_str(),
                                         [=](benchmark::State& state) { measure(state, medium); });
    }
}

/// Measures `step`. It runs once before, so that nothing measured is a first time.
template <class Step>
void measure(benchmark::State& state, Step step)
{
    step();
    const AllocationCounter counter(state);
    for ([[maybe_unused]] auto _ : state)
        step();
}

} // namespace zmu_bench
