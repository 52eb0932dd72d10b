// quickstart: a small host that launches commands as sessions, and reports to zmu what happens.
//
//     quickstart                            three sessions: one ends well, one fails, one does not
//     exist quickstart "sleep 1" false "ls -l"    each argument is a command
//
// It prints what it did and, as its last line, the path of the log that it wrote. It ends with 0 if
// zmu took every report; how the sessions end does not matter.
#include "CodesPage.h"
#include "Platform.h"
#include "Text.h"
#include "sessions.h"

#include <zmu/monitor/Zarn.h>
#include <zmu/monitor/ZarnData.h>
#include <zmu/notify/ZarnStatusReporter.h>
#include <zmu/notify/zgEL_Reporter.h>
#include <zmu/owner/ZarnDataZGW.h>

#include <atomic>
#include <cstdio>
#include <map>
#include <system_error>
#include <thread>

namespace {

namespace fs = std::filesystem;

// ---- What zmu calls: the display and a plug-in -----------------------------------------------------

// Both run on the reporting thread with the monitor's lock held, so one at a time.

int showOnTerminal(HWND, const wchar_t* text, const wchar_t* caption, unsigned int /*style*/)
{
    std::printf("%s %s\n", toNarrow(caption).c_str(), toNarrow(text).c_str());
    return 1; // as for the button OK
}

std::map<int, unsigned int> s_counts; // by situation

bool countSituation(const Zarn* monitor)
{
    ++s_counts[monitor->getSituationID()];
    return true;
}

/// The event log has texts of its own for milestones, and fills them with the same arguments.
bool tellEventLog(const Zarn* monitor)
{
    zgEL_Reporter::write(monitor); // which tells of its own failures
    return true;
}

// ---- Checking ----------------------------------------------------------------------------------------

std::atomic<bool> s_isAllTaken = true;

void complain(const char* what, int code)
{
    s_isAllTaken = false;
    std::fprintf(stderr, "quickstart: %s: DX code %d, see docs/dx-codes.md\n", what, code);
}

/// After each report, which answers a code.
void check(int code, const char* what)
{
    if (code != 0)
        complain(what, code);
}

// ---- Setting up --------------------------------------------------------------------------------------

/// The owner of this program's monitor. It has found the branding texts, the tags and the names of
/// log and form by the time that it is asked what else is particular to the program.
class QuickstartOwner : public ZarnDataZGW {
  public:
    QuickstartOwner() : ZarnDataZGW(ZGW_OWNER_CM, true, nullptr, nullptr, Zarn_LOG_HTML) {}

    bool customizeForOwner() override
    {
        if (!ZarnDataZGW::customizeForOwner())
            return false;
        m_dataSet->setDisplayDlgBoxFunction(showOnTerminal);
        m_dataSet->recordDialogBoxCaption("quickstart:");
        // A report whose spec is at fault leaves an entry with its number and the code.
        m_dataSet->setSubstituteEntries(true);
        // The texts stay for as long as the process lives.
        const HMODULE texts = sessions::load();
        if (!texts)
            std::fprintf(stderr, "quickstart: its texts are missing: system error %u\n",
                         static_cast<unsigned int>(GetLastError()));
        return texts && sessions::setUp(*m_dataSet, texts,
                                        {.count = countSituation, .tellEventLog = tellEventLog});
    }
};

void complainOfOwner()
{
    s_isAllTaken = false;
    std::fprintf(stderr, "quickstart: no monitor: ZGW codes %d and %u, see docs/zgw-codes.md\n",
                 ZarnDataZGW::getDX_Code1(), static_cast<unsigned int>(ZarnDataZGW::getDX_Code2()));
}

/// The monitor of this program, null on failure. It logs into `logFolder`, where its form lies,
/// too, and an administrator may change it; without one the built-in form serves.
Zarn* createMonitor(const fs::path& logFolder)
{
    constexpr unsigned int outputLevel = 1;
    constexpr unsigned int logBytesMax = 20 * 1024 * 1024;
    constexpr unsigned int logDaysMax = 7;

    ZarnData::setLogVariables(logFolder.wstring().c_str(), outputLevel, true, logBytesMax,
                              logDaysMax);
    Zarn* monitor = nullptr;
    try {
        monitor = QuickstartOwner().createZarnMonitor();
    } catch (int) { // is code 1
    }
    if (!monitor)
        complainOfOwner();
    return monitor;
}

// ---- The status window -------------------------------------------------------------------------------

/// Shows the window, if there is a display. Its dialog is in status.rc, for Windows; elsewhere it
/// is zmu's own.
void openStatusWindow()
{
    constexpr unsigned int staysAbove = 0x10000;
    constexpr int dialogID = 100;
    constexpr int textID = 1000;
    constexpr unsigned int readingMilliseconds = 500;

    ZarnStatusReporter* const window = ZarnStatusReporter::create(
        L"quickstart", staysAbove, L"sessions.dll", 0, dialogID, textID, nullptr, nullptr);
    if (window) {
        window->setWaitingPeriod(readingMilliseconds);
        window->appear();
    }
}

/// From the thread that opened the window: on Windows the others would wait for that one.
void showProgress(std::size_t over, std::size_t all)
{
    ZarnStatusReporter* const window = ZarnStatusReporter::getLoneInstance();
    if (window &&
        window->composeTextMessage(L"%u of %u sessions are over", static_cast<unsigned int>(over),
                                   static_cast<unsigned int>(all)))
        window->updateDisplay();
}

// ---- A session ---------------------------------------------------------------------------------------

struct Session {
    enum Outcome { EndedWell, HasFailed, CouldNotStart };

    Session(unsigned int sessionNumber, const std::string& sessionCommand)
        : number(sessionNumber), command(sessionCommand), text(toWide(command))
    {}

    unsigned int number;
    std::string command;
    std::wstring text; // of the command
    Outcome outcome = CouldNotStart;
};

void reportNotStarted(Zarn* monitor, const Session& session, unsigned int error)
{
    // The link stays good until this thread's next one, or until the situation is forgotten.
    const wchar_t* const link = monitor->formatLogHyperlinkWinSDK(error);
    check(sessions::notStarted(monitor, session.number, session.text,
                               toWide(std::system_category().message(static_cast<int>(error))),
                               zmu::catalog::Html(link)),
          "session could not start");
}

void reportEnd(Zarn* monitor, const Session& session, unsigned int processID, platform::End end)
{
    int code = 0;
    if (end.bySignal)
        code = sessions::killed(monitor, session.number, processID, session.text, end.value);
    else if (end.value != 0)
        code = sessions::failed(monitor, session.number, processID, session.text, end.value);
    else
        code = sessions::ended(monitor, session.number, processID, session.text);
    check(code, "session ended");
}

/// One thread for each session. What zmu keeps for a thread goes away at the thread's end.
void runSession(Zarn* monitor, Session& session)
{
    const platform::Launch launch = platform::launch(session.command);
    if (launch.error) {
        session.outcome = Session::CouldNotStart;
        reportNotStarted(monitor, session, launch.error);
    } else {
        check(sessions::started(monitor, launch.processID, session.text, session.number),
              "session started");
        const platform::End end = platform::waitFor(launch);
        check(sessions::stopped(monitor, launch.processID, session.text, session.number),
              "process stopped");
        session.outcome = end.bySignal || end.value ? Session::HasFailed : Session::EndedWell;
        reportEnd(monitor, session, launch.processID, end);
    }
}

void runSessions(Zarn* monitor, std::vector<Session>& launches)
{
    check(sessions::allStart(monitor, static_cast<unsigned int>(launches.size())), "all start");
    std::vector<std::jthread> threads;
    for (Session& session : launches)
        threads.emplace_back(runSession, monitor, std::ref(session));
    for (std::size_t over = 0; over < threads.size(); ++over) {
        showProgress(over, threads.size());
        threads[over].join();
    }
    showProgress(threads.size(), threads.size());
    unsigned int outcomes[3] = {};
    for (const Session& session : launches)
        ++outcomes[session.outcome];
    check(sessions::allOver(monitor, outcomes[Session::EndedWell], outcomes[Session::HasFailed],
                            outcomes[Session::CouldNotStart]),
          "all over");
}

} // namespace

int main(int argc, char** argv)
{
    const std::vector<std::string> commands =
        argc > 1 ? std::vector<std::string>(argv + 1, argv + argc) : platform::defaultCommands();
    std::vector<Session> launches;
    for (const std::string& command : commands)
        launches.emplace_back(static_cast<unsigned int>(launches.size() + 1), command);

    const fs::path logFolder =
        platform::programPath().parent_path().parent_path() / "quickstart-logs";
    std::error_code error;
    fs::create_directories(logFolder, error);
    if (error || !writeCodesPage(logFolder)) {
        std::fprintf(stderr, "quickstart: cannot write to %s\n", logFolder.string().c_str());
        return 1;
    }

    Zarn* monitor = createMonitor(logFolder);
    wchar_t logName[1024] = {};
    if (monitor) {
        // Without an event log, which is the systemd journal on Linux, nobody is told.
        zgEL_Reporter::create("zmu quickstart", nullptr, 0);
        openStatusWindow();
        runSessions(monitor, launches);
        ZarnStatusReporter::destroy();
        zgEL_Reporter::destroy();
        if (!monitor->getFileLogName(logName, std::size(logName)))
            complain("name of the log", monitor->getSelfDX_Code());
        ZarnDataZGW::destroyZarnMonitor(monitor);
    }

    for (const auto& [situation, count] : s_counts)
        std::printf("plug-in: saw situation %d %u times\n", situation, count);
    std::printf("%s\n", toNarrow(logName).c_str());
    return s_isAllTaken ? 0 : 1;
}
