#include "Table.h"

#include "AllocationCount.h"
#include "Instructions.h"
#include "Measure.h"
#include "Platform.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <thread>

namespace zmu_bench {

namespace {

constexpr double unknown = std::numeric_limits<double>::quiet_NaN();

// ---- What the table shows ----------------------------------------------------------------------

enum class Ratio {
    OfTime,  ///< Times as long as the other.
    OfSpeed, ///< Times as many a second as the other.
};

/// A promise about a ratio or a count.
struct Target {
    enum Kind { None, AtMost, AtLeast } kind = None;
    double value = 0;

    bool isMetBy(double measured) const
    {
        return kind == AtLeast ? measured >= value : measured <= value;
    }
};

/// Time of a measurement, and what it is to another one.
struct TimeRow {
    const char* label;
    const char* name;
    const char* against;
    Ratio ratio = Ratio::OfTime;
    Target target = {};
    double nanoseconds = 0; ///< What it may take, 0 for no such promise.
};

/// Allocations of a measurement without those of its parts.
struct AllocationRow {
    const char* label;
    const char* name;
    std::vector<const char*> without = {};
    Target target = {};
};

/// Time and allocations of a measurement, each against a limit of its own.
struct CostRow {
    const char* label;
    const char* name;
    double microseconds;
    double allocations;
};

constexpr char floorName[] = "stream";

/// Instructions of a road, counted if its time was measured.
struct InstructionRow {
    const char* label;
    const char* name;
    const char* road;
    double instructions;
};

const TimeRow roadRows[] = {
    {"(a) the stream calls of an entry and its tail", floorName, floorName},
    {"    the same with a buffered file", "buffered stream", floorName},
    {"    the same from wide text", "stream of wide text", floorName},
    {"(b) two bare system calls", "plain writes", floorName},
    {"(c) spdlog, flushed", "spdlog", floorName},
    {"a situation to the log", "road to log", floorName, Ratio::OfTime, {Target::AtMost, 1.0}},
    {"    the same to a log that comes back",
     "road to a log that comes back",
     "road to log",
     Ratio::OfTime,
     {Target::AtMost, 1.02}},
    {"a situation to the display", "road to display", floorName},
    {"a situation to a proxy that does nothing", "road to proxy", floorName},
    {"one bare write of a line of a spool", "plain line", floorName},
    {"a situation to a spool, against that write",
     "road to spool",
     "plain line",
     Ratio::OfTime,
     {Target::AtMost, 4},
     2000},
    {"a string loaded", "string", floorName},
    {"a spec fetched and parsed", "spec", floorName},
    {"a message formatted", "format", floorName},
};

const TimeRow threadRows[] = {
    {"one thread", "one thread", "one thread", Ratio::OfSpeed},
    {"two threads", "two threads", "one thread", Ratio::OfSpeed, {Target::AtLeast, 0.95}},
};

const TimeRow fileSizeRows[] = {
    {"an entry in a log of 1 MiB", "1 MiB", "1 MiB"},
    {"an entry in a log of 70 MiB", "70 MiB", "1 MiB", Ratio::OfTime, {Target::AtMost, 1.05}},
};

/// In situations.
const TimeRow startRows[] = {
    {"the start of a monitor with a shipped form",
     "monitor start",
     "road to log",
     Ratio::OfTime,
     {Target::AtMost, 1000}},
};

const AllocationRow allocationRows[] = {
    {"all", "road to log"},
    {"    in loading its string", "string"},
    {"    in the stream and its text", "stream of wide text"},
    {"    anywhere else", "road to log", {"string", "stream of wide text"}, {Target::AtMost, 0}},
    {"on the way to a spool", "road to spool", {"string"}, {Target::AtMost, 0}},
};

const CostRow ownerRows[] = {
    {"the start of an owner and its monitor", "owner start", 3000, 0},
    {"the replacement of a log at its limit", "replacement", 1000, 500},
    {"    of one with all reports in its head", "replacement with reports", 2000, 0},
    {"all reports, made once for a form", "reports", 100000, 0},
    {"20 MiB of a log, read back as JSON", "reading", 1000000, 0},
};

const InstructionRow instructionRows[] = {
    {"a situation to the log", "road to log", logRoad, 9000},
    {"a situation to the display", "road to display", displayRoad, 5000},
    {"a situation to the proxy", "road to proxy", proxyRoad, 5000},
};

// ---- Printing ----------------------------------------------------------------------------------

double median(std::vector<double> samples)
{
    if (samples.empty())
        return unknown;
    const auto middle = samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2);
    std::nth_element(samples.begin(), middle, samples.end());
    if (samples.size() % 2 == 1)
        return *middle;
    return (*std::max_element(samples.begin(), middle) + *middle) / 2;
}

/// One line: for each medium a value and its ratio, then the target.
class Line {
  public:
    explicit Line(const char* label) : m_label(label) {}
    ~Line() { std::printf("%-54s%s\n", m_label, m_cells.c_str()); }
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;

    void add(const char* heading)
    {
        m_cells += "  ";
        m_cells += heading;
    }

    void add(double value, int width, int decimals)
    {
        char cell[64];
        if (std::isnan(value))
            std::snprintf(cell, sizeof cell, "  %*s", width, "-");
        else
            std::snprintf(cell, sizeof cell, "  %*.*f", width, decimals, value);
        m_cells += cell;
    }

    /// What `measured` on each medium has to be, and whether it was.
    void add(const Target& target, const std::vector<double>& measured)
    {
        if (target.kind == Target::None)
            return;
        const auto isKnown = [](double value) { return !std::isnan(value); };
        const bool isAny = std::any_of(measured.begin(), measured.end(), isKnown);
        const bool isMet = std::all_of(measured.begin(), measured.end(), [&](double value) {
            return !isKnown(value) || target.isMetBy(value);
        });
        char cell[64];
        std::snprintf(cell, sizeof cell, "  %s %g: %s",
                      target.kind == Target::AtMost ? "at most" : "at least", target.value,
                      !isAny  ? "not measured"
                      : isMet ? "met"
                              : "MISSED");
        m_cells += cell;
    }

  private:
    const char* m_label;
    std::string m_cells;
};

constexpr int valueWidth = 10;
constexpr int ratioWidth = 6;

void printHeading(const char* label, const char* value, const char* ratio)
{
    std::printf("\n");
    Line line(label);
    for (const Medium medium : media) {
        char heading[64];
        std::snprintf(heading, sizeof heading, "%*s  %*s", valueWidth,
                      (std::string(nameOf(medium)) + " " + value).c_str(), ratioWidth, ratio);
        line.add(heading);
    }
    line.add("target");
}

/// Where the figures come from, the load of other programs above all.
void printCircumstances(std::size_t repetitions)
{
    std::printf("\nMedians of %zu repetitions; %u processors", repetitions,
                std::thread::hardware_concurrency());
    if (const std::optional<double> load = systemLoad())
        std::printf(", load %.1f", *load);
    for (const Medium medium : media) {
        const QString kind = fileSystemOf(medium);
        std::printf("; %s: %s", nameOf(medium), kind.isEmpty() ? "none" : qPrintable(kind));
    }
    std::printf("\n");
}

} // namespace

// ---- Collecting --------------------------------------------------------------------------------

Table::Table() : m_usual(benchmark::CreateDefaultDisplayReporter()) {}

bool Table::ReportContext(const Context& context)
{
    return m_usual->ReportContext(context);
}

void Table::ReportRuns(const std::vector<Run>& runs)
{
    std::vector<Run> shown;
    for (const Run& run : runs) {
        const bool isRepetition = run.run_type == Run::RT_Iteration;
        if (run.error_occurred || run.aggregate_name == "median" ||
            (isRepetition && run.repetitions == 1))
            shown.push_back(run);
        if (run.error_occurred || !isRepetition)
            continue;
        // Other programs take their share of the processors: time that passes tells little, except
        // where threads wait for each other.
        const bool isRealTime = run.run_name.time_type == "real_time";
        const double seconds = isRealTime ? run.real_accumulated_time : run.cpu_accumulated_time;
        Samples& samples = m_samples[run.run_name.function_name];
        samples.nanoseconds.push_back(seconds / static_cast<double>(run.iterations) * 1e9);
        const auto allocations = run.counters.find(allocationsCounter);
        if (allocations != run.counters.end())
            samples.allocations.push_back(allocations->second);
    }
    if (!shown.empty())
        m_usual->ReportRuns(shown);
}

void Table::Finalize()
{
    m_usual->Finalize();
}

// ---- The table ---------------------------------------------------------------------------------

void Table::print(const char* program) const
{
    if (m_samples.empty())
        return;
    // A measurement without a file has one result, whatever the medium.
    const auto samplesOf = [this](const std::string& name, Medium medium) {
        auto found = m_samples.find(nameOn(name, medium));
        if (found == m_samples.end())
            found = m_samples.find(name);
        return found == m_samples.end() ? Samples{} : found->second;
    };
    const auto nanoseconds = [&](const char* name, Medium medium) {
        return median(samplesOf(name, medium).nanoseconds);
    };
    const auto allocations = [&](const char* name, Medium medium) {
        return median(samplesOf(name, medium).allocations);
    };

    const auto printTime = [&](const TimeRow& row) {
        Line line(row.label);
        std::vector<double> ratios;
        std::vector<double> times;
        for (const Medium medium : media) {
            const double time = nanoseconds(row.name, medium);
            times.push_back(time);
            const double other = nanoseconds(row.against, medium);
            ratios.push_back(row.ratio == Ratio::OfTime ? time / other : other / time);
            line.add(time, valueWidth, 0);
            line.add(ratios.back(), ratioWidth, 2);
        }
        line.add(row.target, ratios);
        if (row.nanoseconds > 0)
            line.add({Target::AtMost, row.nanoseconds}, times);
    };
    const auto printAllocations = [&](const AllocationRow& row) {
        Line line(row.label);
        std::vector<double> counts;
        for (const Medium medium : media) {
            double count = allocations(row.name, medium);
            for (const char* part : row.without)
                count -= allocations(part, medium);
            // What a part needs on its own, the whole may do without.
            counts.push_back(std::isnan(count) ? count : std::max(count, 0.0));
            line.add(counts.back(), valueWidth, 1);
            line.add(std::string(ratioWidth, ' ').c_str());
        }
        line.add(row.target, counts);
    };

    const auto printCost = [&](const CostRow& row) {
        Line line(row.label);
        std::vector<double> times;
        std::vector<double> counts;
        for (const Medium medium : media) {
            times.push_back(nanoseconds(row.name, medium) / 1000);
            counts.push_back(allocations(row.name, medium));
            line.add(times.back(), valueWidth, 0);
            line.add(counts.back(), ratioWidth, 0);
        }
        line.add({Target::AtMost, row.microseconds}, times);
        if (row.allocations > 0)
            line.add({Target::AtMost, row.allocations}, counts);
    };

    const auto printInstructions = [&](const InstructionRow& row) {
        const bool isMeasured = !std::isnan(nanoseconds(row.name, Medium::Disk));
        const double count =
            isMeasured ? countInstructions(program, row.road).value_or(unknown) : unknown;
        Line line(row.label);
        line.add(count, valueWidth, 0);
        line.add({Target::AtMost, row.instructions}, {count});
    };

    std::size_t repetitions = 0;
    for (const auto& [name, samples] : m_samples)
        repetitions = std::max(repetitions, samples.nanoseconds.size());
    printCircumstances(repetitions);

    printHeading("A situation, in processor time", "ns", "x (a)");
    std::for_each(std::begin(roadRows), std::end(roadRows), printTime);
    printHeading("Situations of all threads on one monitor, in real time", "ns", "speed");
    std::for_each(std::begin(threadRows), std::end(threadRows), printTime);
    printHeading("Size of the log, in processor time", "ns", "x 1MiB");
    std::for_each(std::begin(fileSizeRows), std::end(fileSizeRows), printTime);
    printHeading("A form without injectors, in real time", "ns", "sit.");
    std::for_each(std::begin(startRows), std::end(startRows), printTime);
    printHeading("Beside the road, in real time", "us", "count");
    std::for_each(std::begin(ownerRows), std::end(ownerRows), printCost);
    printHeading("Heap allocations of a situation", "count", "");
    std::for_each(std::begin(allocationRows), std::end(allocationRows), printAllocations);
    std::printf("\nUser instructions of a situation\n");
    std::for_each(std::begin(instructionRows), std::end(instructionRows), printInstructions);
}

} // namespace zmu_bench
