// Monitors to report to, and a display function that notes.
#pragma once

#include <zmu/monitor/Zarn.h>
#include <zmu/monitor/ZarnData.h>

#include <string>

namespace zmu_test {

/// What the display function `show` was told last.
struct Shown {
    std::wstring text;
    std::wstring caption;
    unsigned int type = 0;
    int count = 0;
    int answer = 0; ///< What `show` returns.
};
Shown& shown();
int show(HWND parent, const wchar_t* text, const wchar_t* caption, unsigned int type);

/// Makes `settings` ready for Zarn::create: wide strings, slots for 5 arguments of each kind, a
/// display function that notes, and a log in `logName`. `formName` null: the built-in form.
void makeReady(ZarnData& settings, const std::wstring& logName, const wchar_t* formName = nullptr);

/// The log variables of the process with another directory, the one of successors.
void setLogDirectory(const std::wstring& directory);

/// A monitor with the settings of makeReady, destroyed with this object.
class Monitor {
  public:
    explicit Monitor(const std::wstring& logName, const wchar_t* formName = nullptr);
    ~Monitor();
    Monitor(const Monitor&) = delete;
    Monitor& operator=(const Monitor&) = delete;

    Zarn* operator->() const { return m_monitor; }
    Zarn* get() const { return m_monitor; }
    /// Code that Zarn::create left in the settings.
    int createCode() const { return m_createCode; }

  private:
    Zarn* m_monitor = nullptr;
    int m_createCode = 0;
};

/// The data set of a monitor.
struct DataSetOf : Zarn {
    static ZarnData* of(Zarn* monitor) { return (monitor->*&DataSetOf::getDataSet)(); }
};

} // namespace zmu_test
