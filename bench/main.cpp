// Measures the road of a situation against what it is made of, and prints one table at the end.
//
//     ./dev bench                              everything, in about a minute
//     ./dev bench --benchmark_filter=road      what has "road" in its name
//     ./dev bench --benchmark_out=FILE         every repetition, as JSON
#include "Instructions.h"
#include "Measure.h"
#include "Table.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace {

// Many short repetitions in random order: what else the machine does meets all measurements alike,
// and the median leaves it out.
char repetitions[] = "--benchmark_repetitions=21";
char interleaving[] = "--benchmark_enable_random_interleaving=true";
char shortest[] = "--benchmark_min_time=0.03";

} // namespace

int main(int argc, char** argv)
{
    int status = 0;
    if (zmu_bench::isCountedRun(argc, argv, status))
        return status;

    // The last of several flags of a name counts, so those of the command line do.
    std::vector<char*> arguments = {argv[0], repetitions, interleaving, shortest};
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data()))
        return 1;

    zmu_bench::registerStreamBench();
    zmu_bench::registerPeersBench();
    zmu_bench::registerRoadBench();
    zmu_bench::registerSpoolBench();
    zmu_bench::registerStagesBench();
    zmu_bench::registerThreadsBench();
    zmu_bench::registerFileSizeBench();
    zmu_bench::registerOwnerBench();
    zmu_bench::registerReadingBench();

    zmu_bench::Table table;
    benchmark::RunSpecifiedBenchmarks(&table);
    benchmark::ClearRegisteredBenchmarks(); // and with them their logs
    table.print(argv[0]);
    benchmark::Shutdown();
}
