// The monitor: guarded forwards to its data set. ZarnRegistry.cpp holds the process's registry.
#include <zmu/monitor/Zarn.h>

#include <zmu/monitor/ZarnData.h>
#include <zmu/monitor/internal/Guards.h>
#include <zmu/platform/Win32.h>

#include <algorithm>
#include <cstdarg>
#include <cwchar>

using namespace zmu;

Zarn::Zarn(ZarnData* dataSet)
{
    try {
        if (!Zarn::initialize(dataSet))
            throw false;
    } catch (...) {
        m_initialized = false;
        Zarn::free_Memory();
        throw false;
    }
}

Zarn::~Zarn()
{
    Zarn::free_Memory();
}

bool Zarn::initialize(ZarnData* dataSet)
{
    if (m_initialized || !dataSet || !dataSet->isValid()) {
        m_initialized = false;
        free_Memory();
        return false;
    }
    m_dataSet = dataSet;
    m_initialized = true;
    return true;
}

void Zarn::free_Memory()
{
    delete m_dataSet;
    m_dataSet = nullptr;
}

bool Zarn::reestablishLogFile(const bool& force)
{
    struct Own { // The code of the monitor itself, without its data set's.
        Zarn& monitor;
        bool isSelfSatisfied() const { return monitor.isSelfSatisfied(); }
        void setSelfDX_Code(int code) { monitor.ownCode() = code; }
    } own{*this};
    runGuarded(own, dx::ReestablishUnexpected, [&] {
        require(m_dataSet, dx::NoDataSet);
        require(m_dataSet->isInstantiatorRunningNatively(), dx::ReestablishNotNative);
        require(m_dataSet->reestablishLogFile(force), dx::ReestablishFailed);
    });
    if (!isSelfSatisfied())
        Zarn_TRACE(L"Zarn::reestablishLogFile () caught exception #%d.\n", getSelfDX_Code());
    return isSelfSatisfied();
}

// ---- Text ------------------------------------------------------------------------------------------------

const char* Zarn::getPrintableString(const char* text, bool blankIsMarked)
{
    if (!text)
        return "(NULL)";
    return !*text && blankIsMarked ? "(BLANK)" : text;
}

const wchar_t* Zarn::getPrintableString(const wchar_t* text, bool blankIsMarked)
{
    if (!text)
        return L"(NULL)";
    return !*text && blankIsMarked ? L"(BLANK)" : text;
}

ulong32 Zarn::formatMessage(ulong32 flags, const wchar_t* format, wchar_t* output, int outputSize,
                            u64* inserts)
{
    return FormatMessageW(flags, format, 0, 0, output, static_cast<DWORD>(std::max(outputSize, 0)),
                          reinterpret_cast<va_list*>(inserts));
}

// ---- Situations ------------------------------------------------------------------------------------------

bool Zarn::respondToSituation(int situationID, char** argV, void* resourceModule)
{
    return m_dataSet && m_dataSet->respondToSituation(situationID, argV, resourceModule);
}

bool Zarn::respondWithValues(int situationID, void* resourceModule, const u64* values,
                             const SlotKind* kinds, std::size_t count)
{
    return m_dataSet &&
           m_dataSet->respondToSituation(situationID, resourceModule, values, kinds, count);
}

bool Zarn::respondToSituation()
{
    return m_dataSet && m_dataSet->respondToSituation();
}

bool Zarn::forgetSituation()
{
    return m_dataSet && m_dataSet->forgetSituation();
}

int Zarn::recordArgument(const char* value, int position)
{
    return m_dataSet ? m_dataSet->recordArgument(value, position) : -1;
}

int Zarn::recordArgument(const wchar_t* value, int position)
{
    return m_dataSet ? m_dataSet->recordArgument(value, position) : -1;
}

int Zarn::recordArgument(int value, int position)
{
    return m_dataSet ? m_dataSet->recordArgument(value, position) : -1;
}

int Zarn::recordArgument(unsigned int value, int position)
{
    return m_dataSet ? m_dataSet->recordArgument(value, position) : -1;
}

int Zarn::recordSituationID(int situationID)
{
    return m_dataSet ? m_dataSet->recordSituationID(situationID) : 0;
}

int Zarn::recordSituationID_Remote(int situationID)
{
    return m_dataSet ? m_dataSet->recordSituationID_Remote(situationID) : 0;
}

bool Zarn::removeThread()
{
    return m_dataSet && m_dataSet->removeThread();
}

// ---- What is known of the situation ----------------------------------------------------------------------

namespace {

/// Copies at most `size` - 1 characters of a text that is asked for last; the buffer is zeroed
/// before that.
template <class GetText>
bool copyDescription(wchar_t* buffer, int size, GetText getText)
{
    if (!buffer)
        return false;
    buffer[0] = L'\0';
    if (size < 1)
        return false;
    std::wmemset(buffer, L'\0', static_cast<std::size_t>(size));
    const wchar_t* text = getText();
    if (!text)
        return false;
    std::wcsncpy(buffer, text, static_cast<std::size_t>(size) - 1);
    return true;
}

} // namespace

bool Zarn::getDescriptionForDisplay(wchar_t* buffer, int size) const
{
    return copyDescription(buffer, size, [this] {
        return m_dataSet ? m_dataSet->getDescriptionForDisplay() : nullptr;
    });
}

bool Zarn::getDescriptionForLogFile(wchar_t* buffer, int size) const
{
    return copyDescription(buffer, size, [this] {
        return m_dataSet ? m_dataSet->getDescriptionForLogFile() : nullptr;
    });
}

unsigned int Zarn::getArg_UInt(int index) const
{
    return m_dataSet ? m_dataSet->getArg_UInt(index) : 0;
}

u64* Zarn::getDescriptionFillers() const
{
    return m_dataSet ? m_dataSet->getDescriptionFillers() : nullptr;
}

std::span<const SlotKind> Zarn::getDescriptionFillerKinds() const
{
    return m_dataSet ? m_dataSet->getDescriptionFillerKinds() : std::span<const SlotKind>();
}

int Zarn::getDisplayDlgBoxResult() const
{
    return m_dataSet ? m_dataSet->getDisplayDlgBoxResult() : 0;
}

int Zarn::getSituationID() const
{
    return m_dataSet ? m_dataSet->getSituationID() : 0;
}

bool Zarn::isSituationNormal() const
{
    return !m_dataSet || m_dataSet->isSituationNormal();
}

// ---- Settings and state of the data set ------------------------------------------------------------------

Zarn_FUZZY_CHOICE Zarn::canRespondToSituations() const
{
    return m_dataSet ? m_dataSet->canRespondToSituations() : Zarn_FUZZY_UNKNOWN;
}

u64 Zarn::getBehaviorCriteria() const
{
    return m_dataSet ? m_dataSet->getBehaviorCriteria() : ZARN_DEFAULT_BEHAVIOR_CRITERIA;
}

HWND Zarn::getDisplayDlgBoxParent() const
{
    return m_dataSet ? m_dataSet->getDisplayDlgBoxParent() : nullptr;
}

bool Zarn::getFileLogName(wchar_t* buffer, std::size_t size) const
{
    return m_dataSet && m_dataSet->getFileLogName(buffer, size);
}

Zarn_DX_MODE Zarn::getSituationMode() const
{
    return m_dataSet ? m_dataSet->getSituationMode() : 0;
}

ulong32 Zarn::getSituationsCount() const
{
    return m_dataSet ? m_dataSet->getSituationsCount() : 0;
}

ulong32 Zarn::getSituationsQty() const
{
    return m_dataSet ? m_dataSet->getSituationsQty() : 0;
}

wchar_t* Zarn::getTag(Zarn_FORM_TAG tag) const
{
    return m_dataSet ? m_dataSet->getTag(tag) : nullptr;
}

ZarnDisplayFunction Zarn::setDisplayDlgBoxFunction(ZarnDisplayFunction function)
{
    return m_dataSet ? m_dataSet->setDisplayDlgBoxFunction(function) : nullptr;
}

ZarnFailureFunction Zarn::setFailureFunction(ZarnFailureFunction function)
{
    return m_dataSet ? m_dataSet->setFailureFunction(function) : nullptr;
}

HWND Zarn::setDisplayDlgBoxParent(HWND parent)
{
    return m_dataSet ? m_dataSet->setDisplayDlgBoxParent(parent) : nullptr;
}

bool Zarn::setLogFileByteCountLimit(u64 limit, u64& previous)
{
    return m_dataSet && m_dataSet->setLogFileByteCountLimit(limit, previous);
}

void* Zarn::setResourceModule(void* module)
{
    return m_dataSet ? m_dataSet->setResourceModule(module) : nullptr;
}

const wchar_t* Zarn::formatLogHyperlink(ulong32 code, unsigned int stringID, UTL_String& out) const
{
    return m_dataSet ? m_dataSet->formatLogHyperlink(code, stringID, out) : nullptr;
}

const wchar_t* Zarn::formatLogHyperlinkWinSDK(ulong32 code) const
{
    return m_dataSet ? m_dataSet->formatLogHyperlinkWinSDK(code) : nullptr;
}

// ---- Self-diagnosis --------------------------------------------------------------------------------------

int Zarn::getSelfDX_Code() const
{
    if (const int code = ownCode())
        return code;
    return m_dataSet ? m_dataSet->getSelfDX_Code() : dx::NoDataSet;
}

void Zarn::forgetSelfDX_Code()
{
    ownCode() = 0;
    if (m_dataSet)
        m_dataSet->forgetSelfDX_Code();
}
