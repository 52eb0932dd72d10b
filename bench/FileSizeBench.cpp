// What an entry costs in a small log and in a large one.
#include "Log.h"
#include "Measure.h"
#include "Situation.h"

#include <memory>

namespace zmu_bench {

namespace {

constexpr qint64 mebibyte = 1048576;
/// Entries of one repetition: about 450 KiB, so that the log keeps its size class.
constexpr int entriesQty = 2000;

/// A log of a given size. Repetitions share it, since a large one takes a while to fill.
class GrownLog {
  public:
    GrownLog(Medium medium, qint64 size) : m_medium(medium), m_size(size) {}

    /// The monitor, with its log between the size and 4 MiB more.
    Zarn& monitor()
    {
        if (!m_log)
            m_log = std::make_unique<Log>(m_medium);
        else if (m_log->size() > m_size + 4 * mebibyte)
            m_log->startAnew();
        while (m_log->size() < m_size)
            grow();
        return m_log->monitor();
    }

  private:
    void grow()
    {
        constexpr int entriesBetweenLooks = 100;
        for (int i = 0; i < entriesBetweenLooks; ++i)
            reportLarge(m_log->monitor());
    }

    Medium m_medium;
    qint64 m_size;
    std::unique_ptr<Log> m_log;
};

} // namespace

void registerFileSizeBench()
{
    for (const Medium medium : media) {
        if (fileSystemOf(medium).isEmpty())
            continue;
        const auto add = [medium](const char* name, qint64 size) {
            // The registration owns the log.
            const auto log = std::make_shared<GrownLog>(medium, size);
            benchmark::RegisterBenchmark(nameOn(name, medium).c_str(), [log](benchmark::State&
                                                                                 state) {
                Zarn& monitor = log->monitor();
                measure(state, [&] { report(monitor, LoggedSituation); });
            })->Iterations(entriesQty);
        };
        add("1 MiB", mebibyte);
        add("70 MiB", 70 * mebibyte);
    }
}

} // namespace zmu_bench
