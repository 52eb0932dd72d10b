// Writes the product's milestones to the system's event log: a session or a process that started or
// stopped, a user who logged on, the product that began or shut down.
//
//     zgEL_Reporter::create(L"Example Server", nullptr, 0);
//     ...
//     bool tellEventLog(const Zarn* monitor)          // a plug-in of the milestones' specs
//     {
//         zgEL_Reporter::write(monitor);
//         return true;
//     }
//     ...
//     zgEL_Reporter::destroy();
//
// On Windows the event log is the system's, and the message file that an installer registers for
// the source is this library. Elsewhere it is the systemd journal. Look there with
//
//     journalctl -t "Example Server" -x
//
// where every entry has, beside its text, ZMU_EVENT_ID, ZMU_SITUATION, and ZMU_STRING_1 and so on.
// `-x` explains it from the message catalog that is installed with the library, once
// `journalctl --update-catalog` has been run.
//
// Threads: any thread may write. create, getLoneInstance and destroy take no lock: serialise them,
// with each other and with the writers.
#pragma once

#include <zmu/foundation/Export.h>
#include <zmu/foundation/Types.h>

#include <atomic>

class Zarn;

/// The one reporter of the process. No operation throws. Errors are the system's.
class ZMU_API zgEL_Reporter {
  public:
    /// False, and nothing happens, when `passes` is below 1. Otherwise gives up the event source,
    /// which is the result, and sets the members to their defaults.
    virtual bool setMemberVarsToDefaults(int passes);

  protected:
    virtual ~zgEL_Reporter();

  public:
    zgEL_Reporter(const zgEL_Reporter&) = delete;
    zgEL_Reporter& operator=(const zgEL_Reporter&) = delete;

    /// Makes the reporter. `source` names it in the event log. `server` is the machine to write to,
    /// null for this one; no journal is written to from another machine. `firstFillerIndex` is the
    /// situation's filler, from 0, that is the first string of an event. Null on failure, with the
    /// thread's last error: 5010 there is a reporter, which stays as it is; 87 a null or empty
    /// source; 1062 no journal; 126 no libsystemd; 1722 another machine; or what else the system
    /// says.
    static zgEL_Reporter* create(const char* source, const char* server,
                                 zmu::ulong32 firstFillerIndex);
    static zgEL_Reporter* create(const wchar_t* source, const wchar_t* server,
                                 zmu::ulong32 firstFillerIndex);
    /// The reporter, or null.
    static zgEL_Reporter* getLoneInstance() { return m_LoneInstance; }
    /// The reporter, whatever the arguments are, or else what create makes of them.
    static zgEL_Reporter* getLoneInstance(const char* source, const char* server,
                                          zmu::ulong32 firstFillerIndex);
    static zgEL_Reporter* getLoneInstance(const wchar_t* source, const wchar_t* server,
                                          zmu::ulong32 firstFillerIndex);
    static void destroy();

    /// Writes the event of the situation that the calling thread is reporting to `monitor`, so from
    /// within it: in a plug-in, or the display function. The situation's fillers are the strings of
    /// the event; a number is written in decimal, a missing one as "". False without a reporter
    /// and, with the error 87, without a monitor, for a situation that has no event, and when
    /// `firstFillerIndex` is beyond the fillers. The event log's own failures are traced, too.
    /// An event log that does not answer is waited for for five seconds (1460).
    static bool write(const Zarn* monitor);

    /// The error of the last operation, of whichever thread; 0 when all is well.
    zmu::ulong32 getError() const { return m_error; }
    /// Sets it, and the last error of the thread. Returns what it was.
    zmu::ulong32 setError(zmu::ulong32 error) const;
    bool isStatusOK() const { return m_error == 0; }

  protected:
    /// Throw when the source cannot be registered.
    zgEL_Reporter(const char* source, const char* server, zmu::ulong32 firstFillerIndex);
    zgEL_Reporter(const wchar_t* source, const wchar_t* server, zmu::ulong32 firstFillerIndex);

    bool write_(const Zarn* monitor) const;
    /// Error 1609 when a source is registered already, 87 for a null one, else the system's.
    bool registerSource(const char* source, const char* server);
    bool registerSource(const wchar_t* source, const wchar_t* server);
    /// After a failure the source is still registered.
    bool deregisterSource();
    /// What both constructors begin with.
    void zgEL_Reporter_(zmu::ulong32 firstFillerIndex);

    mutable std::atomic<zmu::ulong32> m_error = 0;
    zmu::ulong32 m_firstFillerIndex = 0;
    void* m_eventSource = nullptr;

    static zgEL_Reporter* m_LoneInstance;

  private:
    template <class Char>
    static zgEL_Reporter* createFor(const Char* source, const Char* server,
                                    zmu::ulong32 firstFillerIndex);
    template <class Register>
    bool registerWith(bool hasName, Register call);
    void requireSource();
};
