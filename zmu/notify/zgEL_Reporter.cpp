#include <zmu/notify/zgEL_Reporter.h>

#include <zmu/foundation/UTL_String.h>
#include <zmu/monitor/Trace.h>
#include <zmu/monitor/Zarn.h>
#include <zmu/platform/Threads.h>
#include <zmu/platform/Win32.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <iterator>
#include <string>

using namespace zmu;

namespace {

/// How a situation is told.
struct Milestone {
    int situation; ///< 0 for an event that no situation has.
    DWORD event;
    WORD stringsCount;
};

constexpr Milestone milestones[] = {
#define ZMU_EVENT(event, situation, strings, messageID, text) {situation, event, strings},
#include <zmu/platform/EventMessages.def>
#undef ZMU_EVENT
};

const Milestone* findMilestone(int situation)
{
    const auto* const row =
        std::find_if(std::begin(milestones), std::end(milestones),
                     [=](const Milestone& milestone) { return milestone.situation == situation; });
    return situation != 0 && row != std::end(milestones) ? row : nullptr;
}

/// The fillers of a monitor's situation from one on, as texts.
class InsertionStrings {
  public:
    /// Throws without memory.
    InsertionStrings(const Zarn& monitor, std::size_t first)
    {
        const u64* const slots = monitor.getDescriptionFillers();
        const auto kinds = monitor.getDescriptionFillerKinds();
        for (std::size_t i = 0; i < stringsMax; ++i) {
            const std::size_t filler = first + i;
            m_texts[i] =
                filler < kinds.size() ? asText(slots[filler], kinds[filler], m_made[i]) : L"";
        }
    }

    const wchar_t** data() { return m_texts; }

  private:
    static constexpr std::size_t stringsMax = 4;
    static_assert(std::all_of(std::begin(milestones), std::end(milestones),
                              [](const Milestone& row) { return row.stringsCount <= stringsMax; }));

    /// What is no wide text becomes one in `made`.
    static const wchar_t* asText(u64 slot, SlotKind kind, std::wstring& made)
    {
        const auto address = static_cast<std::uintptr_t>(slot);
        if (kind == SlotKind::Number)
            made = std::to_wstring(static_cast<i64>(slot));
        else if (!address)
            return L"";
        else if (kind == SlotKind::NarrowText)
            made = UTL_String(reinterpret_cast<const char*>(address)).wideText();
        else
            return reinterpret_cast<const wchar_t*>(address);
        return made.c_str();
    }

    const wchar_t* m_texts[stringsMax];
    std::wstring m_made[stringsMax];
};

} // namespace

zgEL_Reporter* zgEL_Reporter::m_LoneInstance = nullptr;

// ---- Life --------------------------------------------------------------------------------------------

zgEL_Reporter::zgEL_Reporter(const char* source, const char* server, ulong32 firstFillerIndex)
{
    zgEL_Reporter_(firstFillerIndex);
    registerSource(source, server);
    requireSource();
}

zgEL_Reporter::zgEL_Reporter(const wchar_t* source, const wchar_t* server, ulong32 firstFillerIndex)
{
    zgEL_Reporter_(firstFillerIndex);
    registerSource(source, server);
    requireSource();
}

zgEL_Reporter::~zgEL_Reporter()
{
    setMemberVarsToDefaults(INT_MAX);
}

void zgEL_Reporter::zgEL_Reporter_(ulong32 firstFillerIndex)
{
    m_eventSource = nullptr;
    setMemberVarsToDefaults(INT_MAX);
    m_firstFillerIndex = firstFillerIndex;
}

void zgEL_Reporter::requireSource()
{
    if (isStatusOK())
        return;
    const ulong32 error = m_error;
    setMemberVarsToDefaults(INT_MAX);
    throw error;
}

bool zgEL_Reporter::setMemberVarsToDefaults(int passes)
{
    if (passes < 1)
        return false;
    const bool isGivenUp = !m_eventSource || deregisterSource();
    m_error = ERROR_SUCCESS;
    m_firstFillerIndex = 0;
    return isGivenUp;
}

template <class Char>
zgEL_Reporter* zgEL_Reporter::createFor(const Char* source, const Char* server,
                                        ulong32 firstFillerIndex)
{
    const DWORD refusal = m_LoneInstance        ? ERROR_OBJECT_ALREADY_EXISTS
                          : !source || !*source ? ERROR_INVALID_PARAMETER
                                                : ERROR_SUCCESS;
    if (refusal) {
        SetLastError(refusal);
        return nullptr;
    }
    const CancellationHold hold;
    try {
        m_LoneInstance = new zgEL_Reporter(source, server, firstFillerIndex);
    } catch (ulong32 error) {
        SetLastError(error);
    } catch (...) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    }
    return m_LoneInstance;
}

zgEL_Reporter* zgEL_Reporter::create(const char* source, const char* server,
                                     ulong32 firstFillerIndex)
{
    return createFor(source, server, firstFillerIndex);
}

zgEL_Reporter* zgEL_Reporter::create(const wchar_t* source, const wchar_t* server,
                                     ulong32 firstFillerIndex)
{
    return createFor(source, server, firstFillerIndex);
}

zgEL_Reporter* zgEL_Reporter::getLoneInstance(const char* source, const char* server,
                                              ulong32 firstFillerIndex)
{
    return m_LoneInstance ? m_LoneInstance : create(source, server, firstFillerIndex);
}

zgEL_Reporter* zgEL_Reporter::getLoneInstance(const wchar_t* source, const wchar_t* server,
                                              ulong32 firstFillerIndex)
{
    return m_LoneInstance ? m_LoneInstance : create(source, server, firstFillerIndex);
}

void zgEL_Reporter::destroy()
{
    delete m_LoneInstance;
    m_LoneInstance = nullptr;
}

// ---- The event source --------------------------------------------------------------------------------

ulong32 zgEL_Reporter::setError(ulong32 error) const
{
    SetLastError(error);
    return m_error.exchange(error);
}

template <class Register>
bool zgEL_Reporter::registerWith(bool hasName, Register call)
{
    setError(ERROR_SUCCESS);
    if (m_eventSource) {
        setError(ERROR_INVALID_HANDLE_STATE);
    } else if (!hasName) {
        setError(ERROR_INVALID_PARAMETER);
    } else {
        m_eventSource = call();
        if (!m_eventSource)
            m_error = GetLastError();
    }
    return isStatusOK();
}

bool zgEL_Reporter::registerSource(const char* source, const char* server)
{
    return registerWith(source, [=] { return RegisterEventSourceA(server, source); });
}

bool zgEL_Reporter::registerSource(const wchar_t* source, const wchar_t* server)
{
    return registerWith(source, [=] { return RegisterEventSourceW(server, source); });
}

bool zgEL_Reporter::deregisterSource()
{
    setError(ERROR_SUCCESS);
    if (m_eventSource) {
        if (DeregisterEventSource(m_eventSource))
            m_eventSource = nullptr;
        else
            m_error = GetLastError();
    }
    return isStatusOK();
}

// ---- Events ------------------------------------------------------------------------------------------

bool zgEL_Reporter::write(const Zarn* monitor)
{
    return m_LoneInstance && m_LoneInstance->write_(monitor);
}

bool zgEL_Reporter::write_(const Zarn* monitor) const
{
    setError(ERROR_SUCCESS);
    const bool canWrite = monitor && m_eventSource && monitor->getDescriptionFillers();
    const Milestone* const milestone =
        canWrite ? findMilestone(monitor->getSituationID()) : nullptr;
    if (!milestone || m_firstFillerIndex >= monitor->getDescriptionFillerKinds().size()) {
        setError(ERROR_INVALID_PARAMETER);
        return false;
    }
    const CancellationHold hold;
    // The answer is this write's own: others may be changing the error.
    try {
        InsertionStrings strings(*monitor, m_firstFillerIndex);
        if (ReportEventW(m_eventSource, EVENTLOG_INFORMATION_TYPE, 0, milestone->event, nullptr,
                         milestone->stringsCount, 0, strings.data(), nullptr))
            return true;
        m_error = GetLastError();
    } catch (...) {
        setError(ERROR_NOT_ENOUGH_MEMORY);
    }
    Zarn_TRACE(L"zgEL_Reporter::write_ () could not tell the event log of situation %d: WLE%u.\n",
               milestone->situation, static_cast<unsigned>(getError()));
    return false;
}
