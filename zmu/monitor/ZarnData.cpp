// The data set's settings, its texts and what it owns. ZarnDataSituations.cpp holds the engines of
// its threads, Traits.cpp its judgement of situations; the log half is in log/.
#include <zmu/monitor/ZarnData.h>

#include <zmu/localize/internal/OwnModule.h>
#include <zmu/monitor/Trace.h>
#include <zmu/monitor/ZarnDataForThread.h>
#include <zmu/monitor/internal/Guards.h>
#include <zmu/monitor/internal/SpecMemory.h>
#include <zmu/platform/EntryPoint.h>
#include <zmu/platform/ProcessLock.h>
#include <zmu/platform/Win32.h>

#include <algorithm>
#include <climits>
#include <cwchar>
#include <mutex>
#include <new>
#include <string>
#include <utility>

using namespace zmu;

std::atomic<HMODULE> ZarnData::m_resModuleBootstrap = nullptr;
unsigned int ZarnData::s_logOutputLevel = 1;
bool ZarnData::s_logBackupEnabled = true;
unsigned int ZarnData::s_logMaxFileSize = 20;
unsigned int ZarnData::s_logMaxFileAge = 7;
wchar_t* ZarnData::s_logDirectory = nullptr;
bool ZarnData::s_logInformationInitialized = false;

namespace {

constexpr wchar_t proxyModuleName[] = L"cs4s3.dll";
constexpr char proxyEntry[] = "ProxyRespondToSituation";

template <class T>
bool storeInRange(T& field, T value, T lowest, T highest)
{
    if (value < lowest || value > highest)
        return false;
    field = value;
    return true;
}

ZarnDataForThread* makeEngine()
{
    return new (std::nothrow) ZarnDataForThread;
}

bool isTag(Zarn_FORM_TAG tag)
{
    return tag >= 0 && tag < Zarn_FORM_TAGS_QTY;
}

} // namespace

ZarnData::ZarnData(const i64& nonnativeInstantiatorID)
    : m_displayDlgBoxFunction(MessageBoxW), m_nonnativeInstantiatorID(nonnativeInstantiatorID),
      m_engineFactory(makeEngine)
{
    m_fileLog.m_formMarker = L'^';
    m_fileLog.m_entryColorEven = 0xf0f0ff;
    m_fileLog.m_entryColorOdd = 0xf7f7ff;
    m_fileLog.m_varOpenBracket = L'[';
    m_fileLog.m_varCloseBracket = L']';

    SetLastError(ERROR_SUCCESS);
    if (!m_resModuleBootstrap)
        m_resModuleBootstrap = GetModuleHandleW(nullptr);
    if (!m_resModuleBootstrap) {
        Zarn_TRACE(L"ZarnData::ZarnData (0x%08x) [1]: Failed to retrieve a module handle to the "
                   L"owner-application's \"bootstrap\" resources (%d/WLE%lu).\n",
                   static_cast<unsigned int>(nonnativeInstantiatorID), dx::BootstrapModuleUnknown,
                   static_cast<unsigned long>(GetLastError()));
        SetLastError(ERROR_SUCCESS);
    }
    m_resourceModule = m_resModuleBootstrap;
}

ZarnData::~ZarnData()
{
    const CancellationHold hold;
    const bool entered = ZarnData::enterCriticalSection();
    ZarnData::free_Resources();
    freeLogSpares();
    delete m_specMemory;
    if (entered)
        ZarnData::leaveCriticalSection();
    delete m_criticalSection;
}

bool ZarnData::isValid()
{
    return isValidLogFileNomenclature(m_fileLog) && m_charSetExternal != -1 && m_resourceModule;
}

bool ZarnData::initialize()
{
    if (m_initialized)
        return isSelfSatisfied();
    runGuarded(*this, dx::InitializeUnexpected, [&] {
        requireOrRaiseHeld(isSelfApproving(), *this);
        if (!m_selfResourceModule)
            requireOrRaiseHeld(learnSelfResourceModule(), *this);
        if (!isInstantiatorRunningNatively() && !m_proxyRespondToSituation)
            loadProxy();
        if (!m_criticalSection)
            m_criticalSection = new (std::nothrow) CriticalSection;
        require(m_criticalSection, dx::NoLock);
        if (!m_mapOfDataForThreads) {
            require(m_sizeMapOfDataForThreads > 0, dx::MapSizeZero);
            m_mapOfDataForThreads = new (std::nothrow) ThreadMap(m_sizeMapOfDataForThreads);
        }
        require(m_mapOfDataForThreads, dx::NoMap);
        requireOrRaiseHeld(obtainDataForCurrentThread(true), *this);
        m_initialized = true;
    });
    return isSelfSatisfied();
}

bool ZarnData::learnSelfResourceModule()
{
    m_selfResourceModule = GetModuleHandleW(ownModuleName);
    if (!m_selfResourceModule && isSelfSatisfied())
        setSelfDX_Code(dx::OwnModuleUnknown);
    return m_selfResourceModule != nullptr;
}

void ZarnData::loadProxy()
{
    if (!m_proxyModule)
        m_proxyModule = LoadLibraryW(proxyModuleName);
    require(m_proxyModule, dx::ProxyModuleNotLoaded);
    m_proxyRespondToSituation = entryPoint<ZarnProxyFunction>(m_proxyModule, proxyEntry);
    require(m_proxyRespondToSituation, dx::ProxyEntryNotFound);
}

// ---- The lock --------------------------------------------------------------------------------------------

bool ZarnData::enterCriticalSection() const
{
    try {
        if (!m_criticalSection)
            m_criticalSection = new CriticalSection;
        m_criticalSection->lock();
        return true;
    } catch (...) {
        return false;
    }
}

bool ZarnData::leaveCriticalSection() const
{
    try {
        if (m_criticalSection)
            m_criticalSection->unlock();
        return true;
    } catch (...) {
        return false;
    }
}

bool ZarnData::isAtRest() const
{
    const auto isFree = [](auto* lock) {
        if (!lock)
            return true;
        const bool taken = lock->tryLock();
        if (taken)
            lock->unlock();
        return taken;
    };
    return isFree(m_criticalSection) && isFree(m_mapOfDataForThreads);
}

// ---- Configuration ---------------------------------------------------------------------------------------

bool ZarnData::setArgsIntQty(int qty)
{
    return !m_initialized && storeInRange(m_argsIntQty, qty, 0, 99);
}

bool ZarnData::setArgsStrQty(int qty)
{
    return !m_initialized && storeInRange(m_argsStrQty, qty, 0, 99);
}

bool ZarnData::setArgsUIntQty(int qty)
{
    return !m_initialized && storeInRange(m_argsUIntQty, qty, 0, 99);
}

bool ZarnData::setDescriptionFillersQty(int qty)
{
    return !m_initialized && storeInRange(m_descriptionFillersQty, qty, 5, 99);
}

bool ZarnData::setCharSetExternal(int charSet)
{
    return !m_initialized && storeInRange(m_charSetExternal, charSet, 0, ZARN_CHARSET_WIDE);
}

Zarn_DX_MODE ZarnData::setSituationMode(Zarn_DX_MODE mode)
{
    const Zarn_DX_MODE previous = m_situationMode;
    if (!m_initialized)
        m_situationMode = mode;
    return previous;
}

bool ZarnData::setDescriptionAffixID_Min(int id)
{
    return storeInRange(m_descriptionAffixID_Min, id, 1, 32767);
}

bool ZarnData::setDescriptionAffixIDsQty(int qty)
{
    return storeInRange(m_descriptionAffixIDsQty, qty, INT_MIN, 32767);
}

Zarn_TOLERANCE ZarnData::setSelfDX_FaultTolerance(Zarn_TOLERANCE tolerance)
{
    const Zarn_TOLERANCE previous = m_selfDX_FaultTolerance;
    if (tolerance == Zarn_TOLERANCE_NONE || tolerance == Zarn_TOLERANCE_FORGIVING)
        m_selfDX_FaultTolerance = tolerance;
    return previous;
}

ZarnTraitsAssessor ZarnData::setSituationResponseTraitsAssessor(ZarnTraitsAssessor assessor)
{
    return std::exchange(m_situationResponseTraitsAssessor,
                         assessor ? assessor : m_situationResponseTraitsAssessor);
}

ulong32 ZarnData::sizeMapOfDataForThreads(ulong32 size)
{
    return std::exchange(m_sizeMapOfDataForThreads, size > 0 ? size : m_sizeMapOfDataForThreads);
}

ZarnDisplayFunction ZarnData::setDisplayDlgBoxFunction(ZarnDisplayFunction function)
{
    return std::exchange(m_displayDlgBoxFunction, function);
}

HWND ZarnData::setDisplayDlgBoxParent(HWND parent)
{
    return std::exchange(m_displayDlgBoxParent, parent);
}

ZarnFailureFunction ZarnData::setFailureFunction(ZarnFailureFunction function)
{
    return m_failureFunction.exchange(function);
}

bool ZarnData::setSubstituteEntries(bool wanted)
{
    return std::exchange(m_substituteEntries, wanted);
}

i64 ZarnData::setNonnativeInstantiatorID(const i64& id)
{
    return std::exchange(m_nonnativeInstantiatorID, id);
}

ZarnEngineFactory ZarnData::setEngineFactory(ZarnEngineFactory factory)
{
    return std::exchange(m_engineFactory, factory ? factory : m_engineFactory);
}

Zarn* ZarnData::setOwner(Zarn* owner)
{
    return std::exchange(m_owner, owner);
}

int ZarnData::setSelfDX_Code(int code) const
{
    return m_selfDX_Code.exchange(code);
}

HMODULE ZarnData::setSelfResourceModule(HMODULE module)
{
    return std::exchange(m_selfResourceModule, module);
}

void* ZarnData::setResourceModule(void* module)
{
    if (!module)
        return nullptr;
    const SectionGuard section(*this);
    if (!section.wasEntered())
        return nullptr;
    m_resourceEntry.forget();
    if (m_specMemory && module != m_resourceModule)
        m_specMemory->forget(m_resourceModule);
    return std::exchange(m_resourceModule, static_cast<HMODULE>(module));
}

u64 ZarnData::setBehaviorCriteria(u64 criteria)
{
    const SectionGuard section(*this);
    const u64 previous = m_behaviorCriteria;
    if (section.wasEntered())
        m_behaviorCriteria = criteria;
    return previous;
}

// ---- Plug-ins --------------------------------------------------------------------------------------------

ZarnPlugIn* ZarnData::createPlugIns(int qty)
{
    if (m_plugIns && m_plugInsQty > 0)
        return m_plugIns;
    try {
        m_plugInsQty = 0;
        delete[] m_plugIns;
        m_plugIns = nullptr;
        if (qty >= 1) {
            m_plugIns = new ZarnPlugIn[static_cast<std::size_t>(qty)];
            m_plugInsQty = qty;
            forgetPlugIns();
        }
    } catch (...) {
        setSelfDX_Code(dx::CreatePlugInsUnexpected);
    }
    return m_plugIns;
}

void ZarnData::forgetPlugIns()
{
    std::fill_n(m_plugIns, m_plugInsQty, nullptr);
}

// ---- Texts -----------------------------------------------------------------------------------------------

bool ZarnData::duplicate_String(wchar_t** target, const wchar_t* source, bool freeOld)
{
    wchar_t* copy = nullptr;
    if (source) {
        const std::size_t size = std::wcslen(source) + 1;
        copy = new (std::nothrow) wchar_t[size];
        if (!copy)
            return false;
        std::wmemcpy(copy, source, size);
    }
    if (freeOld)
        delete[] * target;
    *target = copy;
    return true;
}

bool ZarnData::duplicate_String(wchar_t** target, const char* source, bool freeOld)
{
    try {
        UTL_String text(source);
        return duplicate_String(target, source ? text.wideText() : nullptr, freeOld);
    } catch (...) {
        return false;
    }
}

bool ZarnData::recordDialogBoxCaption(const char* caption)
{
    return duplicate_String(&m_displayDlgBoxCaption, caption, true);
}

bool ZarnData::recordDialogBoxCaption(const wchar_t* caption)
{
    return duplicate_String(&m_displayDlgBoxCaption, caption, true);
}

bool ZarnData::recordTag(const wchar_t* value, Zarn_FORM_TAG tag)
{
    return isTag(tag) && duplicate_String(&m_tags[tag], value, true) && escapeTag(tag, false);
}

bool ZarnData::recordSystemTag(const wchar_t* value, Zarn_FORM_TAG tag)
{
    return isTag(tag) && duplicate_String(&m_tags[tag], value, true) && escapeTag(tag, true);
}

bool ZarnData::recordTag(const char* value, Zarn_FORM_TAG tag)
{
    return isTag(tag) && duplicate_String(&m_tags[tag], value, true) && escapeTag(tag, false);
}

wchar_t* ZarnData::getTag(Zarn_FORM_TAG tag) const
{
    return isTag(tag) ? m_tags[tag] : nullptr;
}

namespace {

/// Fills `size` elements, or the first one for a size of 0: `text`, cut if need be, then zeros.
template <class Char>
void copyTag(Char* buffer, std::size_t size, const Char* text)
{
    const std::size_t capacity = std::max<std::size_t>(size, 1);
    const std::size_t length = std::char_traits<Char>::length(text);
    Char* const end = std::copy_n(text, std::min(length, capacity - 1), buffer);
    std::fill(end, buffer + capacity, Char{});
}

} // namespace

wchar_t* ZarnData::getTag(wchar_t* buffer, std::size_t size, Zarn_FORM_TAG tag)
{
    if (!buffer)
        return nullptr;
    const wchar_t* value = getTag(tag);
    copyTag(buffer, size, value ? value : L"");
    return buffer;
}

char* ZarnData::getTag(char* buffer, std::size_t size, Zarn_FORM_TAG tag)
{
    if (!buffer)
        return nullptr;
    try {
        UTL_String text(getTag(tag));
        copyTag(buffer, size, text.narrowText());
    } catch (...) {
        copyTag(buffer, size, "");
    }
    return buffer;
}

// ---- Settings of the process -----------------------------------------------------------------------------

namespace {

ProcessLock s_logDirectoryLock;

} // namespace

void ZarnData::setLogVariables(const wchar_t* directory, unsigned int outputLevel,
                               bool backupEnabled, unsigned int maxFileSize,
                               unsigned int maxFileAge)
{
    s_logOutputLevel = outputLevel;
    s_logBackupEnabled = backupEnabled;
    s_logMaxFileSize = maxFileSize;
    s_logMaxFileAge = maxFileAge;
    const std::lock_guard guard(s_logDirectoryLock);
    duplicate_String(&s_logDirectory, directory, true);
    s_logInformationInitialized = true;
}

wchar_t* ZarnData::getLogDirectory()
{
    constexpr DWORD directoryQty = 261;
    const std::lock_guard guard(s_logDirectoryLock);
    if (!s_logDirectory) {
        wchar_t directory[directoryQty] = {};
        const DWORD length = GetTempPathW(directoryQty, directory);
        duplicate_String(&s_logDirectory, length < directoryQty ? directory : L"", true);
    }
    return s_logDirectory;
}

// ---- Ownership -------------------------------------------------------------------------------------------

bool ZarnData::assimilateDataSetContents(ZarnData* other)
{
    runGuarded(*this, dx::AssimilateUnexpected, [&] {
        require(other && other != this && !m_criticalSection && !m_fileLog.m_logStream,
                dx::AssimilateRefused);
        require(other->getFileLog(), dx::NoFileLog);
        free_Resources();

        m_scratchpad.m_a = other->m_scratchpad.m_a;
        m_scratchpad.m_b = other->m_scratchpad.m_b;
        other->m_scratchpad.clear();

        const auto take = [](auto& field) { return std::exchange(field, nullptr); };
        ZarnDataFile& source = *other->getFileLog();
        m_fileLog = source;
        for (wchar_t** text : {&source.m_logName, &source.m_formName, &source.m_bodyFormat,
                               &source.m_headFormat, &source.m_tailFormat})
            *text = nullptr;
        for (Zarn_FORM_VAR** vars : {&source.m_bodyVars, &source.m_headVars, &source.m_tailVars})
            *vars = nullptr;
        for (u64** values : {&source.m_bodyValues, &source.m_headValues, &source.m_tailValues})
            *values = nullptr;
        source.m_logStream = nullptr;
        source.m_formStream = nullptr;
        source.m_injectorFiles = nullptr;
        source.m_injectorStreams = nullptr;
        source.m_varNames = nullptr;

        m_criticalSection = take(other->m_criticalSection);
        m_displayDlgBoxCaption = take(other->m_displayDlgBoxCaption);
        m_displayDlgBoxFunction = take(other->m_displayDlgBoxFunction);
        m_displayDlgBoxParent = take(other->m_displayDlgBoxParent);
        m_proxyModule = take(other->m_proxyModule);
        m_proxyRespondToSituation = take(other->m_proxyRespondToSituation);
        m_mapOfDataForThreads = take(other->m_mapOfDataForThreads);
        m_owner = take(other->m_owner);
        m_plugIns = take(other->m_plugIns);
        m_plugInsQty = std::exchange(other->m_plugInsQty, 0);
        m_resourceModule = take(other->m_resourceModule);
        m_resourceEntry.forget();
        std::swap(m_specMemory, other->m_specMemory);
        m_selfResourceModule = take(other->m_selfResourceModule);
        std::transform(other->m_tags, other->m_tags + Zarn_FORM_TAGS_QTY, m_tags, take);
        std::transform(other->m_escapedTags, other->m_escapedTags + Zarn_FORM_TAGS_QTY,
                       m_escapedTags, take);
        m_escapedLogName = take(other->m_escapedLogName);
        m_escapesSystemTexts = other->m_escapesSystemTexts;

        m_situationResponseTraitsAssessor = other->m_situationResponseTraitsAssessor;
        m_argsIntQty = other->m_argsIntQty;
        m_argsStrQty = other->m_argsStrQty;
        m_argsUIntQty = other->m_argsUIntQty;
        m_behaviorCriteria = other->m_behaviorCriteria.load();
        m_charSetExternal = other->m_charSetExternal;
        m_descriptionAffixID_Min = other->m_descriptionAffixID_Min;
        m_descriptionAffixIDsQty = other->m_descriptionAffixIDsQty;
        m_descriptionDisplayDupeOp = other->m_descriptionDisplayDupeOp;
        m_descriptionDisplayLineWd = other->m_descriptionDisplayLineWd;
        m_descriptionFillersQty = other->m_descriptionFillersQty;
        m_descriptionLogFileLineWd = other->m_descriptionLogFileLineWd;
        m_initialized = other->m_initialized;
        m_reserved = other->m_reserved;
        m_safeToAllocateMemory = other->m_safeToAllocateMemory;
        m_logFileByteCountLimit = other->m_logFileByteCountLimit;
        m_logWatch.isOn = other->m_logWatch.isOn;
        m_sizeMapOfDataForThreads = other->m_sizeMapOfDataForThreads;
        m_nonnativeInstantiatorID = other->m_nonnativeInstantiatorID;
        m_engineFactory = other->m_engineFactory;
        m_offersFormExtras = other->m_offersFormExtras;
        m_failureFunction = other->m_failureFunction.load();
        m_substituteEntries = other->m_substituteEntries;
        m_resStrTokenSepField = other->m_resStrTokenSepField;
        m_resStrTokenSepGroup = other->m_resStrTokenSepGroup;
        m_resStrTokenSepRecord = other->m_resStrTokenSepRecord;
        m_resStrTokenSepUnit = other->m_resStrTokenSepUnit;
        m_selfDX_Code = other->m_selfDX_Code.load();
        m_selfDX_FaultTolerance = other->m_selfDX_FaultTolerance;
        m_reserved2 = other->m_reserved2;
        m_situationMode = other->m_situationMode;
        m_situationsCount = other->m_situationsCount.load();
        m_situationsQty = other->m_situationsQty;
        adoptEngines();
    });
    return isSelfSatisfied();
}

void ZarnData::adoptEngines()
{
    if (!m_mapOfDataForThreads)
        return;
    for (ThreadMap::Iterator it(*m_mapOfDataForThreads, true); !it.atEnd(); it.next())
        static_cast<ZarnDataForThread*>(it.value())->m_dataSet = this;
}

bool ZarnData::free_Resources()
{
    bool succeeded = true;
    if (m_proxyModule && !FreeLibrary(m_proxyModule))
        succeeded = false;
    m_proxyModule = nullptr;
    m_proxyRespondToSituation = nullptr;

    if (isInstantiatorRunningNatively() && m_fileLog.m_logStream && !closeLogFile()) {
        m_fileLog.m_logStream = nullptr;
        succeeded = false;
    }
    if (m_fileLog.m_formStream && !closeFile(m_fileLog.m_formStream, m_fileLog.m_formName)) {
        m_fileLog.m_formStream = nullptr;
        succeeded = false;
    }
    forgetStrayEntries();
    succeeded = eliminateLogFileFormInjectors() && succeeded;
    try {
        free_Memory();
    } catch (...) {
        succeeded = false;
    }
    return succeeded;
}

void ZarnData::free_Memory()
{
    delete[] std::exchange(m_displayDlgBoxCaption, nullptr);
    delete[] std::exchange(m_plugIns, nullptr);
    m_plugInsQty = 0;
    freeEscapedTexts();
    for (wchar_t*& tag : m_tags)
        delete[] std::exchange(tag, nullptr);
    freeLogFileFormData();
    delete[] std::exchange(m_fileLog.m_formName, nullptr);
    delete[] std::exchange(m_fileLog.m_logName, nullptr);
    freeEngines();
}

void ZarnData::freeEngines()
{
    if (!m_mapOfDataForThreads)
        return;
    for (ThreadMap::Iterator it(*m_mapOfDataForThreads, false); !it.atEnd(); it.next())
        delete static_cast<ZarnDataForThread*>(it.value());
    delete std::exchange(m_mapOfDataForThreads, nullptr);
}
