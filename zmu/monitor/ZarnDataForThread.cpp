// The engine's life: its arrays, its recorded arguments, the road of a situation.
#include <zmu/monitor/ZarnDataForThread.h>

#include <zmu/monitor/ZarnData.h>
#include <zmu/monitor/internal/Guards.h>

#include <algorithm>
#include <new>
#include <typeinfo>
#include <utility>

using namespace zmu;

namespace {

/// Clears an array over its full quantity.
template <class T>
void clearSlots(T* slots, int qty, T value = T{})
{
    if (slots && qty > 0)
        std::fill_n(slots, qty, value);
}

/// The slots of one kind of argument: cleared if there are as many as wanted, else made anew. Null
/// for none, and without memory.
template <class T, class Forget>
T* makeSlots(T*& slots, int& qty, int wanted, Forget forget)
{
    if (!slots || qty != wanted) {
        delete[] slots;
        slots = wanted > 0 ? new (std::nothrow) T[static_cast<std::size_t>(wanted)] : nullptr;
        qty = slots ? wanted : 0;
    }
    forget();
    return slots;
}

template <class T>
void freeSlots(T*& slots, int& qty)
{
    delete[] std::exchange(slots, nullptr);
    qty = 0;
}

/// Stores `value` at `position` of an array of `qty`, of which `count` are used; -1 if it has no
/// place there.
template <class T>
int recordAt(T* slots, int qty, int& count, int& freshCount, T value, int position)
{
    if (!slots || qty < 1)
        return -1;
    if (position == ZARN_ARG_NEXT)
        position = count;
    if (position < 0 || position >= qty)
        return -1;
    slots[position] = value;
    count = std::max(count, position + 1);
    freshCount = std::max(freshCount, position + 1);
    return position;
}

/// Gives up the slots that were used before the fresh ones.
template <class T>
void forgetStale(T* slots, int& count, int freshCount)
{
    if (freshCount < count)
        clearSlots(slots ? slots + freshCount : slots, count - freshCount);
    count = std::min(count, freshCount);
}

} // namespace

ZarnDataForThread::~ZarnDataForThread()
{
    ZarnDataForThread::free_Resources();
}

bool ZarnDataForThread::initialize(ZarnData* dataSet)
{
    runGuarded(*this, dx::EngineInitializeUnexpected, [&] {
        require(dataSet, dx::NoDataSet);
        m_dataSet = dataSet;
        m_descriptionDisplayLineWd = dataSet->getDescriptionDisplayLineWd();
        m_descriptionLogFileLineWd = dataSet->getDescriptionLogFileLineWd();
        if (!m_logHyperlink)
            m_logHyperlink = new (std::nothrow) UTL_String;
        require(m_logHyperlink, dx::NoHyperlinkHolder);
        require(dataSet->getArgsIntQty() < 1 || createArgsInt(), dx::NoArgsInt);
        require(dataSet->getArgsStrQty() < 1 || createArgsStr(), dx::NoArgsStr);
        require(dataSet->getArgsUIntQty() < 1 || createArgsUInt(), dx::NoArgsUInt);
        require(dataSet->getDescriptionFillersQty() < 1 || createDescriptionFillers(),
                dx::NoDescriptionFillers);
        require(dataSet->getPlugInsQty() < 1 || createPlugInsIndirectIndices(),
                dx::NoPlugInIndices);
    });
    return isSelfSatisfied();
}

// ---- The arrays ----------------------------------------------------------------------------------

int* ZarnDataForThread::createArgsInt()
{
    if (!m_dataSet)
        return nullptr;
    return makeSlots(m_argsInt, m_argsIntQty, m_dataSet->getArgsIntQty(), [&] { forgetArgsInt(); });
}

unsigned int* ZarnDataForThread::createArgsUInt()
{
    if (!m_dataSet)
        return nullptr;
    return makeSlots(m_argsUInt, m_argsUIntQty, m_dataSet->getArgsUIntQty(),
                     [&] { forgetArgsUInt(); });
}

char** ZarnDataForThread::createArgsStrA()
{
    if (!m_dataSet || m_argsStrW || m_dataSet->getCharSetExternal() == ZARN_CHARSET_WIDE)
        return nullptr;
    return makeSlots(m_argsStrA, m_argsStrQty, m_dataSet->getArgsStrQty(),
                     [&] { forgetArgsStrA(); });
}

wchar_t** ZarnDataForThread::createArgsStrW()
{
    if (!m_dataSet || m_argsStrA || m_dataSet->getCharSetExternal() != ZARN_CHARSET_WIDE)
        return nullptr;
    return makeSlots(m_argsStrW, m_argsStrQty, m_dataSet->getArgsStrQty(),
                     [&] { forgetArgsStrW(); });
}

bool ZarnDataForThread::createArgsStr()
{
    switch (m_dataSet ? m_dataSet->getCharSetExternal() : -1) {
    case 0:
    case 1:
        return createArgsStrA() != nullptr;
    case ZARN_CHARSET_WIDE:
        return createArgsStrW() != nullptr;
    default:
        return false;
    }
}

u64* ZarnDataForThread::createDescriptionFillers()
{
    if (!m_dataSet)
        return nullptr;
    int qty = m_dataSet->getDescriptionFillersQty();
    if (qty < 5 || qty > 99)
        qty = 0;
    return makeSlots(m_descriptionFillers, m_descriptionFillersQty, qty,
                     [&] { forgetDescriptionFillers(); });
}

int* ZarnDataForThread::createPlugInsIndirectIndices()
{
    if (!m_dataSet)
        return nullptr;
    return makeSlots(m_plugInsIndirectIndices, m_plugInsIndirectIndicesQty,
                     m_dataSet->getPlugInsQty(), [&] { forgetPlugInsIndirectIndices(); });
}

void ZarnDataForThread::forgetArgs()
{
    forgetArgsInt();
    forgetArgsStrA();
    forgetArgsStrW();
    forgetArgsUInt();
}

void ZarnDataForThread::forgetArgsInt()
{
    clearSlots(m_argsInt, m_argsIntQty);
    m_argsIntCount = 0;
    m_argsIntFreshCount = 0;
}

void ZarnDataForThread::forgetArgsStrA()
{
    clearSlots(m_argsStrA, m_argsStrQty);
    m_argsStrCount = 0;
    m_argsStrFreshCount = 0;
}

void ZarnDataForThread::forgetArgsStrW()
{
    clearSlots(m_argsStrW, m_argsStrQty);
    m_argsStrCount = 0;
    m_argsStrFreshCount = 0;
}

void ZarnDataForThread::forgetArgsUInt()
{
    clearSlots(m_argsUInt, m_argsUIntQty);
    m_argsUIntCount = 0;
    m_argsUIntFreshCount = 0;
}

void ZarnDataForThread::forgetDescriptionFillers()
{
    clearSlots(m_descriptionFillers, m_descriptionFillersQty);
    std::fill_n(m_fillerKinds, m_descriptionFillersQty, SlotKind::Unknown);
}

void ZarnDataForThread::forgetPlugInsIndirectIndices()
{
    clearSlots(m_plugInsIndirectIndices, m_plugInsIndirectIndicesQty, -1);
    m_plugInsIndirectQty = 0;
}

void ZarnDataForThread::free_Memory()
{
    freeSlots(m_argsInt, m_argsIntQty);
    freeSlots(m_argsStrA, m_argsStrQty);
    freeSlots(m_argsStrW, m_argsStrQty);
    freeSlots(m_argsUInt, m_argsUIntQty);
    m_argsIntCount = 0;
    m_argsStrCount = 0;
    m_argsUIntCount = 0;
    delete m_logHyperlink;
    m_logHyperlink = nullptr;
    freeSlots(m_descriptionFillers, m_descriptionFillersQty);
    freeSlots(m_plugInsIndirectIndices, m_plugInsIndirectIndicesQty);
}

void ZarnDataForThread::free_Resources()
{
    free_Memory();
}

// ---- Recorded arguments ----------------------------------------------------------------------------

void ZarnDataForThread::prepareArgument(int position)
{
    if (!m_argsAreStale || position != ZARN_ARG_NEXT)
        return;
    m_argsAreStale = false;
    forgetStale(m_argsInt, m_argsIntCount, m_argsIntFreshCount);
    forgetStale(m_argsUInt, m_argsUIntCount, m_argsUIntFreshCount);
    int narrowCount = m_argsStrCount;
    forgetStale(m_argsStrA, narrowCount, m_argsStrFreshCount);
    forgetStale(m_argsStrW, m_argsStrCount, m_argsStrFreshCount);
}

int ZarnDataForThread::recordArgument(int value, int position)
{
    prepareArgument(position);
    return recordAt(m_argsInt, m_argsIntQty, m_argsIntCount, m_argsIntFreshCount, value, position);
}

int ZarnDataForThread::recordArgument(unsigned int value, int position)
{
    prepareArgument(position);
    return recordAt(m_argsUInt, m_argsUIntQty, m_argsUIntCount, m_argsUIntFreshCount, value,
                    position);
}

int ZarnDataForThread::recordArgument(const char* value, int position)
{
    if (!m_dataSet || m_dataSet->getCharSetExternal() == ZARN_CHARSET_WIDE)
        return -1;
    prepareArgument(position);
    return recordAt(m_argsStrA, m_argsStrQty, m_argsStrCount, m_argsStrFreshCount,
                    const_cast<char*>(value), position);
}

int ZarnDataForThread::recordArgument(const wchar_t* value, int position)
{
    if (!m_dataSet || m_dataSet->getCharSetExternal() != ZARN_CHARSET_WIDE)
        return -1;
    prepareArgument(position);
    return recordAt(m_argsStrW, m_argsStrQty, m_argsStrCount, m_argsStrFreshCount,
                    const_cast<wchar_t*>(value), position);
}

unsigned int ZarnDataForThread::getArg_UInt(int index) const
{
    // A completely filled array cannot be read; callers leave a slot free.
    if (!m_argsUInt || index < 0 || index >= m_argsUIntCount || m_argsUIntQty <= m_argsUIntCount)
        return 0;
    return m_argsUInt[index];
}

int ZarnDataForThread::recordSituationID(int situationID)
{
    return std::exchange(m_situationID, situationID);
}

int ZarnDataForThread::recordSituationID_Remote(int situationID)
{
    return std::exchange(m_situationID_Remote, situationID);
}

void ZarnDataForThread::setArguments(const u64* values, const SlotKind* kinds, std::size_t count)
{
    m_descriptionArgV = m_argumentBlock.load(values, kinds, count);
}

// ---- The road of a situation -----------------------------------------------------------------------

bool ZarnDataForThread::enterCriticalSection() const
{
    return m_dataSet && m_dataSet->enterCriticalSection();
}

bool ZarnDataForThread::leaveCriticalSection() const
{
    return m_dataSet && m_dataSet->leaveCriticalSection();
}

void ZarnDataForThread::requireApproval() const
{
    require(m_dataSet, dx::NoDataSet);
    // No look-up of this engine in the thread map while nobody holds a code.
    if (isSelfSatisfied() && m_dataSet->isFreeOfCode())
        return;
    if (!m_dataSet->isSelfApproving())
        throw m_dataSet->getSelfDX_Code();
    if (!isSelfSatisfied() && m_dataSet->getSelfDX_FaultTolerance() == Zarn_TOLERANCE_FORGIVING)
        forgetSelfDX_Code();
    requireOrRaiseHeld(isSelfSatisfied(), *this);
}

bool ZarnDataForThread::isOfOwnClasses() const
{
    return typeid(*this) == typeid(ZarnDataForThread) && m_dataSet &&
           typeid(*m_dataSet) == typeid(ZarnData);
}

bool ZarnDataForThread::respondToSituation()
{
    const Operation operation(*this);
    SectionGuard section(*this);
    const bool wasUnderLock = std::exchange(m_isUnderLock, section.wasEntered());
    const bool wasUnseen = std::exchange(m_isUnseen, section.wasEntered() && isOfOwnClasses());
    const bool isCodeHeld = !isSelfSatisfied();
    bool hasBegun = false;
    m_isDescribed = false;
    runGuarded(*this, dx::RespondUnexpected, [&] {
        requireApproval();
        hasBegun = true;
        section.requireEntered();
        requireOrRaiseHeld(describeSituation(), *this);
        if (m_plugInsIndirectQty > 0)
            requireOrRaiseHeld(activatePlugIns(), *this);
        requireOrRaiseHeld(forgetSituation(), *this);
    });
    m_scratchpad.clear();
    if (isCodeHeld && !hasBegun)
        m_failurePlace.note = L"refused since an earlier failure left this code";
    if (!isSelfSatisfied() && !m_isDescribed && section.wasEntered() && m_dataSet &&
        m_dataSet->getSubstituteEntries() && m_dataSet->isFreeOfCode())
        reportSubstitute();
    m_isUnderLock = wasUnderLock;
    m_isUnseen = wasUnseen;
    section.leave();
    return isSelfSatisfied();
}

void ZarnDataForThread::markArgumentsStale()
{
    m_argsAreStale = m_dataSet && m_dataSet->getSelfDX_FaultTolerance() == Zarn_TOLERANCE_FORGIVING;
    m_argsIntFreshCount = 0;
    m_argsStrFreshCount = 0;
    m_argsUIntFreshCount = 0;
}

bool ZarnDataForThread::describeSituation()
{
    const Operation operation(*this);
    const CancellationHold hold;
    runGuarded(*this, dx::DescribeSituationUnexpected, [&] {
        requireApproval();
        requireOrRaiseHeld(learnResponse(), *this);
        m_isDescribed = true;
        requireOrRaiseHeld(reportDescriptions(), *this);
    });
    return isSelfSatisfied();
}

bool ZarnDataForThread::forgetSituation()
{
    try {
        forgetArgs();
        m_argsAreStale = false;
        forgetDescriptionFillers();
        forgetPlugInsIndirectIndices();

        m_descriptionArgV = nullptr;
        m_descriptionDisplayIsDupe = false;
        m_displayIsRaw = false;
        m_argSource = 0;
        m_displayDlgBoxSpecA = 0;
        m_displayDlgBoxSpecB = 0;
        m_situationID = 0;
        m_situationID_Remote = 0;
        m_displayDlgBoxType = defaultDialogStyle;
        m_situationApprovalKind = 2;
        m_situationResponseTraits = ZARN_DEFAULT_RESPONSE_TRAITS;
        m_descriptionDisplayLineWd = getDefaultLineWidth(Zarn_MSG_FMT_DISPLAY);
        m_descriptionLogFileLineWd = getDefaultLineWidth(Zarn_MSG_FMT_LOGFILE);
        if (m_logHyperlink)
            m_logHyperlink->clear();
        m_descriptionForDisplay.clear();
        m_responseSpecHeader.clear();
        m_descriptionForLogFile.clear();
        m_scratchpad.clear();
    } catch (...) {
        if (isSelfSatisfied())
            setSelfDX_Code(dx::ForgetSituationUnexpected);
    }
    return isSelfSatisfied();
}

u8 ZarnDataForThread::getDefaultLineWidth(Zarn_MSG_FMT format) const
{
    if (format == Zarn_MSG_FMT_DISPLAY)
        return m_dataSet ? m_dataSet->getDescriptionDisplayLineWd() : 67;
    return m_dataSet ? m_dataSet->getDescriptionLogFileLineWd() : 0;
}

const wchar_t* ZarnDataForThread::formatLogHyperlinkWinSDK(ulong32 code) const
{
    constexpr unsigned int systemErrorLink = 10003;
    if (!m_dataSet || !m_logHyperlink)
        return nullptr;
    return m_dataSet->formatLogHyperlink(code, systemErrorLink, *m_logHyperlink);
}
