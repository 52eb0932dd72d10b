// Collects what was measured and prints it as one table.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace zmu_bench {

/// Passes on to the usual report one line a measurement, and keeps every repetition.
class Table : public benchmark::BenchmarkReporter {
  public:
    Table();

    bool ReportContext(const Context& context) override;
    void ReportRuns(const std::vector<Run>& runs) override;
    void Finalize() override;

    /// Prints medians of the repetitions, and what they are to each other. Counts the instructions
    /// of the roads that were measured, with the help of `program`, the one that runs.
    void print(const char* program) const;

  private:
    struct Samples {
        std::vector<double> nanoseconds;
        std::vector<double> allocations;
    };

    std::unique_ptr<benchmark::BenchmarkReporter> m_usual;
    std::map<std::string, Samples> m_samples;
};

} // namespace zmu_bench
