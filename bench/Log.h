// Monitors for the measurements, and what they write.
#pragma once

#include "Medium.h"

#include <zmu/monitor/Zarn.h>
#include <zmu/monitor/ZarnData.h>

#include <QString>

namespace zmu_bench {

/// What every monitor here has: wide strings and a display function that does nothing.
void configure(ZarnData& settings);

/// A monitor that is destroyed at the end of the scope.
class Monitor {
  public:
    /// Throws if there is no monitor to be made of `settings`.
    explicit Monitor(ZarnData&& settings);
    ~Monitor();
    Monitor(const Monitor&) = delete;
    Monitor& operator=(const Monitor&) = delete;

    Zarn& operator*() const { return *m_monitor; }
    Zarn* operator->() const { return m_monitor; }

  private:
    Zarn* m_monitor = nullptr;
};

/// Settings of a process whose situations travel through a proxy, the module of that path.
struct ProxySettings : ZarnData {
    explicit ProxySettings(const wchar_t* module);
};

/// A log in a folder of its own, with the built-in form and the highest byte limit.
class Log {
  public:
    explicit Log(Medium medium) : Log(medium, nullptr) {}
    /// With the form in a file, null for the built-in one. `comesBack`: the log is looked after, as
    /// the one of an owner is.
    Log(Medium medium, const wchar_t* form, bool comesBack = false);

    Zarn& monitor() const { return *m_monitor; }
    /// Present file of the log; another one than before once the log has rolled over.
    QString file() const;
    qint64 size() const;
    /// Replaces the file by a fresh one and deletes it.
    void startAnew() const;

  private:
    Folder m_folder;
    Monitor m_monitor;
};

/// What a situation makes the library write: the entry, and the tail behind it.
struct Sections {
    QString body;
    QString tail;
};
/// Those of LoggedSituation, read from a log.
const Sections& sectionsOfLoggedSituation();

} // namespace zmu_bench
