// The data set's engines, one for each thread that reports, and what is forwarded to them.
#include <zmu/monitor/ZarnData.h>

#include <zmu/monitor/DxCodes.h>
#include <zmu/monitor/ZarnDataForThread.h>
#include <zmu/monitor/internal/Guards.h>
#include <zmu/monitor/internal/SpecMemory.h>
#include <zmu/platform/Attachment.h>
#include <zmu/platform/Threads.h>
#include <zmu/platform/Win32.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <utility>

using namespace zmu;

// ---- Self-diagnosis: the data set's code, then the engine's ------------------------------------------

int ZarnData::getSelfDX_Code() const
{
    if (m_selfDX_Code || !m_initialized)
        return m_selfDX_Code;
    const ZarnDataForThread* engine = obtainDataForCurrentThread(false);
    return engine ? engine->getSelfDX_Code() : 0;
}

void ZarnData::forgetSelfDX_Code() const
{
    m_selfDX_Code = 0;
    if (!m_initialized)
        return;
    if (const ZarnDataForThread* engine = obtainDataForCurrentThread(false))
        engine->forgetSelfDX_Code();
}

bool ZarnData::isSelfApproving() const
{
    if (isSelfSatisfied())
        return true;
    if (m_selfDX_FaultTolerance == Zarn_TOLERANCE_FORGIVING)
        forgetSelfDX_Code();
    return isSelfSatisfied();
}

// ---- The engines ---------------------------------------------------------------------------------------

ZarnDataForThread* ZarnData::obtainDataForCurrentThread(bool create) const
{
    if (!m_mapOfDataForThreads)
        return nullptr;
    if (m_selfDX_Code) // a failed data set has no engine for anybody
        return nullptr;
    if (ZarnDataForThread* const engine = findEngine())
        return engine;
    return create ? createDataForCurrentThread() : nullptr;
}

ZarnDataForThread* ZarnData::findEngine() const
{
    // Most threads report to one monitor, again and again.
    const u64 state = m_mapOfDataForThreads->state();
    if (void* const kept = keptByThread(state))
        return static_cast<ZarnDataForThread*>(kept);
    void* found = nullptr;
    if (!m_mapOfDataForThreads->find(GetCurrentThreadId(), &found))
        return nullptr;
    auto* const engine = static_cast<ZarnDataForThread*>(found);
    if (engine->m_threadSerial == ZarnDataForThread::anyThread ||
        engine->m_threadSerial == threadSerial()) {
        keepForThread(state, engine);
        return engine;
    }
    // This thread has the identity of one that has ended.
    m_mapOfDataForThreads->remove(GetCurrentThreadId(), nullptr);
    delete engine;
    return nullptr;
}

ZarnDataForThread* ZarnData::obtainDataToWork() const
{
    ZarnDataForThread* const engine = obtainDataForCurrentThread(true);
    if (engine || !m_mapOfDataForThreads || m_selfDX_FaultTolerance != Zarn_TOLERANCE_FORGIVING)
        return engine;
    const SectionGuard section(*this);
    m_selfDX_Code = 0; // under the lock: until it is left, an operation that failed reads its code
    return obtainDataForCurrentThread(true);
}

ZarnDataForThread* ZarnData::createDataForCurrentThread() const
{
    ZarnDataForThread* created = nullptr;
    SectionGuard section(*this);
    runGuarded(*this, dx::ObtainEngineUnexpected, [&] {
        section.requireEntered();
        watchThreadEnd();
        std::unique_ptr<ZarnDataForThread> engine(m_engineFactory());
        require(engine != nullptr, dx::NoEngine);
        engine->m_threadSerial = threadSerial();
        // The engine forwards to this data set, which it must be able to change.
        requireOrRaiseHeld(engine->initialize(const_cast<ZarnData*>(this)), *engine);
        require(m_mapOfDataForThreads->add(GetCurrentThreadId(), engine.get()),
                dx::EngineNotInserted);
        created = engine.release();
        if (!m_specMemory)
            m_specMemory = new (std::nothrow) SpecMemory;
    });
    if (created && m_selfDX_Code) { // the data set has failed meanwhile
        m_mapOfDataForThreads->remove(GetCurrentThreadId(), nullptr);
        delete std::exchange(created, nullptr);
    }
    section.leave();
    return created;
}

bool ZarnData::removeThread()
{
    bool succeeded = false; // codes that come from now on are other threads'
    runGuarded(*this, dx::RemoveThreadUnexpected, [&] {
        const bool isForgiving = m_selfDX_FaultTolerance == Zarn_TOLERANCE_FORGIVING;
        requireOrRaiseHeld(isForgiving || isSelfSatisfied(), *this);
        if (!isFreeOfCode() && isForgiving) {
            const SectionGuard section(*this);
            m_selfDX_Code = 0;
        }
        require(m_mapOfDataForThreads, dx::RemoveThreadNoMap);
        if (const ZarnDataForThread* const engine = findEngine()) {
            engine->forgetSelfDX_Code();
            require(!engine->isInOperation() &&
                        m_mapOfDataForThreads->remove(GetCurrentThreadId(), nullptr),
                    dx::RemoveThreadFailed);
            delete engine;
        }
        succeeded = true;
    });
    return succeeded;
}

// ---- Forwarded to the calling thread's engine ------------------------------------------------------------

namespace {

/// What `forward` answers about `engine`, or `without` if there is none.
template <class Result, class Forward>
Result forwardTo(ZarnDataForThread* engine, Result without, Forward forward)
{
    return engine ? static_cast<Result>(forward(*engine)) : without;
}

} // namespace

template <class Operation>
bool ZarnData::work(int situationID, Operation operation)
{
    if (ZarnDataForThread* engine = obtainDataToWork())
        return operation(*engine);
    const int code = getSelfDX_Code();
    tellFailure(this, situationID, code,
                m_mapOfDataForThreads ? describe(code).meaning
                                      : L"the data set is not initialised");
    return false;
}

bool ZarnData::describeSituation()
{
    return work(0, [](ZarnDataForThread& engine) { return engine.describeSituation(); });
}

bool ZarnData::forgetSituation()
{
    return forwardTo(obtainDataForCurrentThread(true), false,
                     [](ZarnDataForThread& engine) { return engine.forgetSituation(); });
}

bool ZarnData::learnResponse()
{
    return work(0, [](ZarnDataForThread& engine) { return engine.learnResponse(); });
}

bool ZarnData::reportDescriptions()
{
    return work(0, [](ZarnDataForThread& engine) { return engine.reportDescriptions(); });
}

bool ZarnData::respondToSituation()
{
    return work(0, [](ZarnDataForThread& engine) { return engine.respondToSituation(); });
}

bool ZarnData::respondToSituation(char** argV)
{
    return work(0, [argV](ZarnDataForThread& engine) {
        engine.setDescriptionArgV(argV);
        return engine.respondToSituation();
    });
}

/// Lets `module`, unless null, stand in for the data set's resource module. The lock is held
/// meanwhile, so that no other thread's situation meets it.
class ZarnData::ModuleStandIn {
  public:
    ModuleStandIn(ZarnData& dataSet, void* module) : m_dataSet(dataSet)
    {
        if (!module || !m_section.emplace(dataSet).wasEntered())
            return;
        m_keptEntry = std::exchange(dataSet.m_resourceEntry, {});
        m_kept = std::exchange(dataSet.m_resourceModule, static_cast<HMODULE>(module));
    }
    ~ModuleStandIn()
    {
        if (!m_kept)
            return;
        m_dataSet.m_resourceModule = m_kept;
        m_dataSet.m_resourceEntry = m_keptEntry; // its module has been there all the time
    }
    ModuleStandIn(const ModuleStandIn&) = delete;
    ModuleStandIn& operator=(const ModuleStandIn&) = delete;

    /// False if entering the lock threw, which ends a report before it begins.
    bool mayGoOn() const { return !m_section || !m_section->hasThrown(); }

  private:
    ZarnData& m_dataSet;
    std::optional<SectionGuard<ZarnData>> m_section;
    HMODULE m_kept = nullptr;
    ResourceEntry m_keptEntry;
};

template <class Report>
bool ZarnData::respondWith(ZarnDataForThread& engine, void* resourceModule, Report report)
{
    const ZarnDataForThread::Operation operation(engine); // ends when the module's lock is left
    const ModuleStandIn standIn(*this, resourceModule);
    if (standIn.mayGoOn())
        return report();
    engine.setSelfDX_Code(dx::RespondUnexpected);
    return false;
}

bool ZarnData::respondToSituation(int situationID, char** argV, void* resourceModule)
{
    return work(situationID, [=, this](ZarnDataForThread& engine) {
        engine.recordSituationID(situationID);
        return respondWith(engine, resourceModule, [&] {
            engine.setDescriptionArgV(argV);
            return engine.respondToSituation();
        });
    });
}

bool ZarnData::respondToSituation(int situationID, void* resourceModule, const u64* values,
                                  const SlotKind* kinds, std::size_t count)
{
    bool mayGoOn = true;
    work(situationID, [=, this, &mayGoOn](ZarnDataForThread& engine) {
        engine.recordSituationID(situationID);
        return mayGoOn = respondWith(engine, resourceModule, [&] {
                   engine.setArguments(values, kinds, count);
                   engine.respondToSituation();
                   return true;
               });
    });
    return mayGoOn;
}

int ZarnData::recordArgument(const char* value, int position)
{
    return forwardTo(obtainDataToWork(), -1, [=](ZarnDataForThread& engine) {
        return engine.recordArgument(value, position);
    });
}

int ZarnData::recordArgument(const wchar_t* value, int position)
{
    return forwardTo(obtainDataToWork(), -1, [=](ZarnDataForThread& engine) {
        return engine.recordArgument(value, position);
    });
}

int ZarnData::recordArgument(int value, int position)
{
    return forwardTo(obtainDataToWork(), -1, [=](ZarnDataForThread& engine) {
        return engine.recordArgument(value, position);
    });
}

int ZarnData::recordArgument(unsigned int value, int position)
{
    return forwardTo(obtainDataToWork(), -1, [=](ZarnDataForThread& engine) {
        return engine.recordArgument(value, position);
    });
}

int ZarnData::recordSituationID(int situationID)
{
    return forwardTo(obtainDataToWork(), 0, [=](ZarnDataForThread& engine) {
        return engine.recordSituationID(situationID);
    });
}

int ZarnData::recordSituationID_Remote(int situationID)
{
    return forwardTo(obtainDataToWork(), 0, [=](ZarnDataForThread& engine) {
        return engine.recordSituationID_Remote(situationID);
    });
}

unsigned int ZarnData::getArg_UInt(int index) const
{
    return forwardTo(obtainDataForCurrentThread(true), 0U,
                     [=](ZarnDataForThread& engine) { return engine.getArg_UInt(index); });
}

u64* ZarnData::getDescriptionFillers() const
{
    return forwardTo(obtainDataForCurrentThread(true), static_cast<u64*>(nullptr),
                     [](ZarnDataForThread& engine) { return engine.getDescriptionFillers(); });
}

std::span<const SlotKind> ZarnData::getDescriptionFillerKinds() const
{
    return forwardTo(obtainDataForCurrentThread(true), std::span<const SlotKind>(),
                     [](ZarnDataForThread& engine) { return engine.getDescriptionFillerKinds(); });
}

wchar_t* ZarnData::getDescriptionForDisplay() const
{
    return forwardTo(obtainDataForCurrentThread(true), static_cast<wchar_t*>(nullptr),
                     [](ZarnDataForThread& engine) { return engine.getDescriptionForDisplay(); });
}

wchar_t* ZarnData::getDescriptionForLogFile() const
{
    return forwardTo(obtainDataForCurrentThread(true), static_cast<wchar_t*>(nullptr),
                     [](ZarnDataForThread& engine) { return engine.getDescriptionForLogFile(); });
}

int ZarnData::getDisplayDlgBoxResult() const
{
    return forwardTo(obtainDataForCurrentThread(true), 0,
                     [](ZarnDataForThread& engine) { return engine.getDisplayDlgBoxResult(); });
}

int ZarnData::getSituationID() const
{
    return forwardTo(obtainDataForCurrentThread(true), 0,
                     [](ZarnDataForThread& engine) { return engine.getSituationID(); });
}

bool ZarnData::isSituationNormal() const
{
    return forwardTo(obtainDataForCurrentThread(true), true,
                     [](ZarnDataForThread& engine) { return engine.isSituationNormal(); });
}

const wchar_t* ZarnData::formatLogHyperlinkWinSDK(ulong32 code) const
{
    return forwardTo(
        obtainDataToWork(), static_cast<const wchar_t*>(nullptr),
        [=](ZarnDataForThread& engine) { return engine.formatLogHyperlinkWinSDK(code); });
}

// ---- Counters --------------------------------------------------------------------------------------------

ulong32 ZarnData::incrementSituationsCount(ulong32 n)
{
    const ulong32 count = m_situationsCount; // changed under the lock only, read without it
    return m_situationsCount = count + std::min(n, std::numeric_limits<ulong32>::max() - count);
}

ulong32 ZarnData::decrementSituationsCount(ulong32 n)
{
    const ulong32 count = m_situationsCount;
    return m_situationsCount = count - std::min(n, count);
}
