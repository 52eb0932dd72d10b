// The road of a situation through the proxy that comes along, into a spool file, and what it rests
// on: one write of a line.
#include "Log.h"
#include "Measure.h"
#include "Platform.h"
#include "Situation.h"

#include <QDir>
#include <QFile>

#include <memory>
#include <stdexcept>

namespace zmu_bench {

namespace {

/// A copy of the module: it stays in the process with the spool that it began, and there is one for
/// each medium.
class SpooledRoad {
  public:
    explicit SpooledRoad(Medium medium) : m_module(Medium::Disk), m_spool(medium)
    {
        const QString file = m_module.path("cs4s3");
        if (!QFile::copy(QString::fromWCharArray(ZMU_BENCH_SPOOL_PROXY), file))
            throw std::runtime_error("no copy of the proxy");
        m_monitor = std::make_unique<Monitor>(ProxySettings(file.toStdWString().c_str()));
        qputenv("ZMU_SPOOL", m_spool.path(".").toUtf8());
        report(); // begins the spool
    }

    void report() const { zmu_bench::report(**m_monitor, LoggedSituation); }
    bool isSound() const { return (*m_monitor)->isSelfSatisfied(); }

    /// Leaves the file that is being written, as a collector does.
    void clear() const
    {
        const QStringList files = QDir(m_spool.path(".")).entryList(QDir::Files, QDir::Name);
        m_spool.clearExcept(m_spool.path(qPrintable(files.value(files.size() - 1))));
    }

    /// Any line of it.
    QByteArray line() const
    {
        const QDir folder(m_spool.path("."));
        QFile file(folder.filePath(folder.entryList(QDir::Files, QDir::Name).value(0)));
        return file.open(QIODevice::ReadOnly) ? file.readLine() : QByteArray();
    }

  private:
    Folder m_module;
    Folder m_spool;
    std::unique_ptr<Monitor> m_monitor;
};

const SpooledRoad& roadOn(Medium medium)
{
    if (medium == Medium::Tmpfs) {
        static const SpooledRoad inMemory(medium);
        return inMemory;
    }
    static const SpooledRoad onDisk(medium);
    return onDisk;
}

void measureSpool(benchmark::State& state, Medium medium)
{
    const SpooledRoad& road = roadOn(medium);
    road.clear();
    measure(state, [&] { road.report(); });
    if (!road.isSound())
        state.SkipWithError("a situation was refused");
}

void measureLine(benchmark::State& state, Medium medium)
{
    constexpr std::int64_t fileSize = 0x1000000;
    const QByteArray line = roadOn(medium).line();
    const Folder folder(medium);
    const PlainFile file(folder.path("lines"));
    std::int64_t position = 0;
    measure(state, [&] {
        if (!file.writeAt(position % fileSize, line))
            state.SkipWithError("a line was not written");
        position += line.size();
    });
}

} // namespace

void registerSpoolBench()
{
    registerOnMedia("plain line", measureLine);
    registerOnMedia("road to spool", measureSpool);
}

} // namespace zmu_bench
