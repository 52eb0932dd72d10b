#include "Life.h"

#include "Torture.h"

#include <Strings.h>

#include <zmu/owner/ZarnDataZGW.h>

#include <unistd.h>

#include <cstdio>
#include <iterator>
#include <memory>
#include <semaphore>
#include <thread>

using namespace zmu;
using namespace zmu_test;

namespace zmu_torture {

namespace {

constexpr const char* failures[] = {
    "an owner gave no monitor and no code",        "an owner threw a code that it does not tell",
    "a replacement failed without a code",         "the logs are not what was reported",
    "no owner could be made afterwards",           "a log did not work again",
    "a second thread could not report afterwards", "the end failed",
};
constexpr int firstFailure = 11;

void require(bool condition, int failure)
{
    if (!condition)
        _exit(firstFailure + failure);
}

/// A thread that was there before the faults, and works when it is told.
class Other {
  public:
    ~Other()
    {
        m_monitor = nullptr;
        m_asked.release();
    }

    bool report(Zarn* monitor, Ledger& ledger)
    {
        m_ledger = &ledger;
        m_monitor = monitor;
        m_asked.release();
        m_answered.acquire();
        return m_isDone;
    }

  private:
    void run()
    {
        for (m_asked.acquire(); m_monitor; m_asked.acquire()) {
            m_isDone = m_ledger->report(m_monitor, 1);
            m_answered.release();
        }
    }

    Ledger* m_ledger = nullptr;
    Zarn* m_monitor = nullptr; ///< None: the end.
    bool m_isDone = false;
    std::binary_semaphore m_asked{0};
    std::binary_semaphore m_answered{0};
    std::jthread m_thread{[this] { run(); }};
};

Zarn* start()
{
    try {
        ZarnDataZGW owner(0, true, nullptr, nullptr, Zarn_LOG_HTML);
        Zarn* const monitor = owner.createZarnMonitor();
        require(monitor || ZarnDataZGW::getDX_Code1() != 0, 0);
        return monitor;
    } catch (int code) {
        require(code != 0 && code == ZarnDataZGW::getDX_Code1(), 1);
        return nullptr;
    }
}

void requireWholeLogs(const Life& life)
{
    const Ledger& ledger = life.place.ledger;
    LogReader logs;
    logs.readFolder(life.place.logs);
    for (const std::string& flaw : logs.flaws)
        std::fprintf(stderr, "%s\n", flaw.c_str());
    for (int lane = 0; lane < 2; ++lane)
        for (const long number : logs.missing(ledger, lane))
            std::fprintf(stderr, "entry %ld of lane %d is missing\n", number, lane);
    require((logs.flaws.empty() || life.faultsLast) && logs.lost(ledger) == 0, 3);
}

[[noreturn]] void live(const Life& life)
{
    Ledger& ledger = life.place.ledger;
    auto other = std::make_unique<Other>();
    strings(); // are made
    life.setFaults(FaultTime::Start);
    Zarn* monitor = start();
    life.setFaults(FaultTime::Work);
    const auto report = [&] {
        for (int i = 0; monitor && i < 5; ++i) {
            ledger.report(monitor, 0);
            other->report(monitor, ledger);
        }
    };
    report();
    if (monitor && !monitor->reestablishLogFile(false)) {
        require(monitor->getSelfDX_Code() != 0, 2);
        monitor->forgetSelfDX_Code();
    }
    report();
    if (monitor && life.more)
        life.more(monitor);
    life.setFaults(FaultTime::None);
    requireWholeLogs(life);

    if (!monitor)
        monitor = start();
    require(monitor != nullptr, 4);
    monitor->forgetSelfDX_Code();
    if (!ledger.report(monitor, 0))
        require(monitor->reestablishLogFile(false) && ledger.report(monitor, 0), 5);
    require(other->report(monitor, ledger), 6);
    requireWholeLogs(life);

    life.setFaults(FaultTime::Work);
    other.reset();
    const bool isEnded = ZarnDataZGW::destroyZarnMonitor(monitor);
    life.setFaults(FaultTime::None);
    require(isEnded, 7);
    requireWholeLogs(life);
    _exit(0);
}

} // namespace

ChildEnd liveInChild(const Life& life)
{
    life.place.clear();
    return Child([&]() -> int { live(life); }, patience).wait();
}

std::string describeLife(const ChildEnd& end)
{
    if (end.status == 0)
        return {};
    if (end.isHung || end.isCrashed)
        return end.isHung ? "hung" : "crashed";
    const auto failure = static_cast<std::size_t>(end.status - firstFailure);
    return failure < std::size(failures) ? failures[failure]
                                         : "status " + std::to_string(end.status);
}

} // namespace zmu_torture
