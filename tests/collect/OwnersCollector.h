// A collector on a thread of its own, as a product has it.
#pragma once

#include "CollectedLogs.h"
#include "MadeSpools.h"

#include <zmu/collect/LogCollector.h>

#include <mutex>
#include <thread>

namespace zmu_test {

class OwnersCollector : public MadeSpools {
  protected:
    OwnersCollector()
    {
        folder.makeFolder("logs");
        setLogDirectory(folder.path("logs"));
    }

    zmu_collect::CollectOptions options() const
    {
        zmu_collect::CollectOptions options;
        options.spools = {place()};
        options.positions = path("positions");
        return options;
    }
    QDir logs() const { return QDir(QString::fromStdString(path("logs"))); }

    class Run {
      public:
        Run(Zarn* monitor, zmu_collect::CollectOptions options)
        {
            options.tell = [this](const char* what) {
                const std::scoped_lock lock(m_lock);
                m_told.emplace_back(what);
            };
            m_thread = std::jthread([this, monitor, options = std::move(options)] {
                m_end = collector.run(monitor, options);
            });
        }
        ~Run() { collector.stop(); }

        zmu_collect::CollectEnd stop()
        {
            collector.stop();
            return end();
        }
        zmu_collect::CollectEnd end()
        {
            m_thread.join();
            return m_end;
        }
        Items told()
        {
            const std::scoped_lock lock(m_lock);
            return m_told;
        }

        zmu_collect::LogCollector collector;

      private:
        std::mutex m_lock;
        Items m_told;
        zmu_collect::CollectEnd m_end = zmu_collect::CollectEnd::Failed;
        std::jthread m_thread;
    };
};

} // namespace zmu_test
