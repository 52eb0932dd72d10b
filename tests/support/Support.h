// What the tests share: strings to serve, folders that go away, what was traced, logs to read.
#pragma once

#include <zmu/localize/ResourceModule.h>
#include <zmu/monitor/Zarn.h>
#include <zmu/monitor/ZarnData.h>
#include <zmu/platform/Win32.h>

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

#include <iosfwd>
#include <map>
#include <string>
#include <thread>
#include <vector>

/// How a failed test shows a QString.
void PrintTo(const QString& text, std::ostream* out);

namespace zmu_test {

/// The strings that the test program serves as a resource module. An ID that is not here is
/// unknown; an empty text exists and is empty. That of textSituation is always here.
std::map<unsigned int, std::wstring>& strings();

/// Situation of reportText: its entry is the text that it is given.
inline constexpr int textSituation = 100;

/// Reports and answers the code that the report left.
int reportText(Zarn* monitor, const wchar_t* text);

/// A folder for the files of one test.
class Folder {
  public:
    std::wstring path(const char* name) const;
    /// Writes a file and returns its path.
    std::wstring write(const char* name, const QByteArray& bytes) const;
    QByteArray read(const char* name) const;
    QStringList files() const;

  private:
    QTemporaryDir m_folder;
};

QByteArray readFile(const std::wstring& path);
/// Login name of the user that runs the tests.
QString userName();
/// Whether Windows is Wine, whose gaps are none of ours.
bool runsUnderWine();
/// Whether the system's message formatter makes a line break, CR LF, of a lone line feed.
bool formatterCompletesLineFeeds();
/// Text of a log without its byte-order mark, its line breaks as plain line feeds where the
/// formatter completes them; fails the test if the mark is missing.
QString logText(const std::wstring& path);
/// `text` with the line breaks that logText gives.
QString asLogText(QString text);
/// `text` in the narrow code page.
std::string toNarrow(const std::wstring& text);
/// `text` with each stamp of the built-in form ("2026-11-21 03:00:38.742") as "<time>".
QString withoutTimes(QString text);

/// The library's traces from construction to take(); on Linux, all of standard error.
class Traces {
  public:
    Traces();
    ~Traces();
    Traces(const Traces&) = delete;
    Traces& operator=(const Traces&) = delete;
    /// What has been written so far; ends the catching.
    QString take();

  private:
#if defined(_WIN32)
    void* m_handler = nullptr;
#else
    int m_original = -1;
    int m_file = -1;
#endif
};

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

/// Runs `body` with the numbers 0 to `qty` - 1, each in a thread of its own.
template <class Body>
void inThreads(int qty, Body body)
{
    std::vector<std::thread> threads;
    for (int thread = 0; thread < qty; ++thread)
        threads.emplace_back(body, thread);
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace zmu_test
