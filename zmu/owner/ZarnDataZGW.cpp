// The life of an owner: it gathers, hands over, cleans up. Settings.cpp, LogDirectory.cpp,
// LogName.cpp, LogFormPath.cpp, Tags.cpp and Brander.cpp hold what it gathers.
#include <zmu/owner/ZarnDataZGW.h>

#include <zmu/localize/ZarnLocalizeHelpers.h>
#include <zmu/localize/internal/OwnModule.h>
#include <zmu/monitor/Trace.h>
#include <zmu/monitor/Zarn.h>
#include <zmu/monitor/ZarnData.h>
#include <zmu/monitor/internal/Guards.h>
#include <zmu/owner/ZgwCodes.h>
#include <zmu/owner/internal/OwnerStatus.h>
#include <zmu/owner/internal/OwnerTable.h>
#include <zmu/platform/Threads.h>
#include <zmu/platform/Win32.h>

#include <cwchar>
#include <new>
#include <string>
#include <utility>

using namespace zmu;

std::atomic<HINSTANCE> ZarnDataZGW::m_resourceModuleInternal = nullptr;

namespace {

constexpr int wideCharSet = 2;
constexpr int fillersQty = 20;
constexpr int argsQty = 10;

// Bits of setMemberVarsToDefaults.
constexpr ulong32 clearStatus = 2;
constexpr ulong32 freeAll = 4;
constexpr ulong32 resetMembers = 8; // of which this class has none

thread_local int s_code1 = zgw::Success;
thread_local ulong32 s_code2 = 0;

} // namespace

int& ZarnDataZGW::code1()
{
    return s_code1;
}

ulong32& ZarnDataZGW::code2()
{
    return s_code2;
}

// ---- Construction ----------------------------------------------------------------------------------------

ZarnDataZGW::ZarnDataZGW(i64 ownerID, bool standalone, HINSTANCE resourceModuleInternal,
                         HINSTANCE resourceModuleExternal, Zarn_LOG logType)
    : m_ownerID(ownerID), m_ownerStandalone(standalone), m_logType(logType),
      m_resourceModuleExternal(resourceModuleExternal)
{
    const CancellationHold hold;
    constexpr ulong32 startMask = clearStatus | resetMembers;
    if (!setMemberVarsToDefaults(1, startMask))
        Zarn_TRACE(L"ZarnDataZGW::ZarnDataZGW () [3]: The startup call to "
                   L"ZarnDataZGW::setMemberVarsToDefaults (1, 0x%08x) was not completely "
                   L"successful.\n",
                   startMask);
    OwnerStatus status(code1());
    runGuarded(status, zgw::ConstructorUnexpected, [&] {
        locateResourceModules(resourceModuleInternal);
        requireOrRaiseHeld(initialize(), status);
    });
    if (status.isSelfSatisfied())
        return;

    Zarn_TRACE(L"ZarnDataZGW::ZarnDataZGW (0x%08x, 0x%08x, %d) [3] failed (ZGW%d/WLE%lu).\n",
               static_cast<unsigned int>(ownerID),
               static_cast<unsigned int>(reinterpret_cast<u64>(resourceModuleExternal)),
               static_cast<int>(logType), code1(), static_cast<unsigned long>(code2()));
    constexpr ulong32 endMask = freeAll | resetMembers;
    if (!setMemberVarsToDefaults(1, endMask))
        Zarn_TRACE(L"ZarnDataZGW::ZarnDataZGW () [3]: The recovery mode call to "
                   L"ZarnDataZGW::setMemberVarsToDefaults (1, 0x%08x) was not completely "
                   L"successful.\n",
                   endMask);
    throw int{code1()};
}

void ZarnDataZGW::locateResourceModules(HINSTANCE internal)
{
    if (!m_resourceModuleInternal) {
        HINSTANCE none = nullptr;
        m_resourceModuleInternal.compare_exchange_strong(
            none, internal ? internal : GetModuleHandleW(ownModuleName));
    }
    if (!m_resourceModuleInternal) {
        code1() = zgw::BootstrapModuleMissing;
        code2() = GetLastError();
        Zarn_TRACE(L"Function ZarnDataZGW::ZarnDataZGW () [3] is ignoring a failure to access the "
                   L"Zarn Monitor's bootstrap resources in file %ls (ZGW%d/WLE%lu).\n",
                   ownModuleName, code1(), static_cast<unsigned long>(code2()));
        setMemberVarsToDefaults(1, clearStatus);
    }

    if (!m_resourceModuleExternal)
        m_resourceModuleExternal = GetModuleHandleW(nullptr);
    if (m_resourceModuleExternal)
        return;
    SetLastError(ERROR_SUCCESS);
    const wchar_t* const module = ownerRow(m_ownerID).module;
    if (!module)
        return;
    m_resourceModuleExternal = LoadLibraryW(module);
    m_resourceModuleExternalIsOurs = m_resourceModuleExternal != nullptr;
    if (m_resourceModuleExternal)
        return;
    code2() = GetLastError();
    Zarn_TRACE(L"Function ZarnDataZGW::ZarnDataZGW () [3] is ignoring a failure to confirm that "
               L"resources of its owner-module, %ls, are mapped into the address space of the "
               L"calling process (ZGW%d/WLE%lu).\n",
               module, code1(), static_cast<unsigned long>(code2()));
    setMemberVarsToDefaults(1, clearStatus);
}

bool ZarnDataZGW::initialize()
{
    setMemberVarsToDefaults(1, clearStatus);
    OwnerStatus status(code1());
    runGuarded(status, zgw::InitializeUnexpected, [&] {
        require(!m_dataSet && !m_logDirectorySpecifier && !m_logFileFQPath &&
                    !m_productBranderModuleName,
                zgw::InitializedTwice);
        m_dataSet = new (std::nothrow) ZarnData(m_ownerStandalone ? 0 : m_ownerID);
        require(m_dataSet, zgw::NoDataSet);
        tellResourceModuleInternal();
        requireOrRaiseHeld(obtainProductBrander(), status);
        require(obtainLogTagValues(), zgw::TagValuesUnknown);
        m_logDirectorySpecifier = new (std::nothrow) UTL_String;
        require(m_logDirectorySpecifier, zgw::NoDirectoryString);
        m_logFileFQPath = new (std::nothrow) UTL_String;
        require(m_logFileFQPath, zgw::NoFileString);
        if (m_ownerStandalone)
            require(learnLogFileFQPath(*m_logFileFQPath), zgw::LogFilePathUnknown);
        UTL_String formPath;
        if (!learnLogFormFQPath(formPath)) {
            // Only the text says so: the code stays, and all of this fails in the end.
            Zarn_TRACE(L"Function ZarnDataZGW::initialize () is ignoring the failure of "
                       L"learnLogFormFQPath ().\n");
            formPath.clear();
        }
        configureDataSet(formPath);
    });
    if (status.isSelfSatisfied())
        return true;
    Zarn_TRACE(L"Function ZarnDataZGW::initialize () failed (status codes %d/%lu).\n", code1(),
               static_cast<unsigned long>(code2()));
    freeResources();
    return false;
}

void ZarnDataZGW::tellResourceModuleInternal()
{
    if (!m_dataSet->getSelfResourceModule()) {
        if (m_resourceModuleInternal)
            m_dataSet->setSelfResourceModule(m_resourceModuleInternal);
        else
            requireOfDataSet(m_dataSet->learnSelfResourceModule());
    }
    if (ZarnLocalizeHelpers::getSelfResourceModule())
        return;
    if (m_resourceModuleInternal)
        ZarnLocalizeHelpers::setSelfResourceModule(m_resourceModuleInternal);
    else
        ZarnLocalizeHelpers::learnSelfResourceModule();
}

void ZarnDataZGW::requireOfDataSet(bool condition)
{
    if (condition)
        return;
    code2() = static_cast<ulong32>(m_dataSet->getSelfDX_Code());
    throw int{zgw::DataSetRefused};
}

void ZarnDataZGW::configureDataSet(const UTL_String& formPath)
{
    m_dataSet->setSelfDX_FaultTolerance(Zarn_TOLERANCE_FORGIVING);
    m_dataSet->setCharSetExternal(wideCharSet);
    m_dataSet->setLogRecovery(true);
    m_dataSet->offerFormExtras(true);
    if (m_ownerStandalone) {
        u64 previous = 0;
        if (!m_dataSet->setLogFileByteCountLimit(obtainLogFileByteCountLimit(), previous))
            m_dataSet->forgetSelfDX_Code();
    }
    m_dataSet->setSystemTextsEscaped(true);
    recordTags();
    std::wstring logPath(m_logFileFQPath->wideText());
    requireOfDataSet(
        m_dataSet->recordLogFileNomenclature(logPath.data(), formPath.wideText(), m_logType));
    if (m_ownerStandalone) {
        Zarn_DX_MODE mode = 0;
        if (!obtainAssertivenessLevel(mode))
            mode = 0;
        m_dataSet->setSituationMode(mode);
    }
    if (m_resourceModuleExternal)
        m_dataSet->setResourceModule(m_resourceModuleExternal);
    requireOfDataSet(m_dataSet->setDescriptionFillersQty(fillersQty));
    requireOfDataSet(m_dataSet->setArgsIntQty(argsQty));
    requireOfDataSet(m_dataSet->setArgsStrQty(argsQty));
    requireOfDataSet(m_dataSet->setArgsUIntQty(argsQty));
    recordCaption();
}

void ZarnDataZGW::recordTags()
{
    // Both are the brander's text of the owner, unless that is empty.
    const bool isProductNamed =
        std::wcscmp(m_logTagValues[Zarn_FORM_TAG_PRODUCT_NAME].wideText(),
                    m_logTagValues[Zarn_FORM_TAG_MODULE_NAME].wideText()) == 0;
    for (int tag = 0; tag < Zarn_FORM_TAGS_QTY; ++tag) {
        const wchar_t* const value = m_logTagValues[tag].wideText();
        const bool isFromModule = tag == Zarn_FORM_TAG_PRODUCT_NAME && !isProductNamed;
        if (!(isFromModule ? m_dataSet->recordSystemTag(value, Zarn_FORM_TAG(tag))
                           : m_dataSet->recordTag(value, Zarn_FORM_TAG(tag))) &&
            !m_dataSet->isSelfSatisfied())
            m_dataSet->forgetSelfDX_Code();
    }
}

void ZarnDataZGW::recordCaption()
{
    if (m_logTagValuesQty <= Zarn_FORM_TAG_PRODUCT_NAME ||
        m_logTagValues[Zarn_FORM_TAG_PRODUCT_NAME].length() == 0)
        return;
    const UTL_String& name = m_logTagValues[Zarn_FORM_TAG_PRODUCT_NAME];
    if (m_dataSet->recordDialogBoxCaption(name.wideText()))
        return;
    if (!m_dataSet->isSelfSatisfied())
        m_dataSet->forgetSelfDX_Code();
    m_dataSet->recordDialogBoxCaption(static_cast<const wchar_t*>(nullptr));
}

// ---- Hand-over -------------------------------------------------------------------------------------------

bool ZarnDataZGW::customizeForOwner()
{
    setMemberVarsToDefaults(1, clearStatus);
    if (!m_dataSet)
        code1() = zgw::CustomizeNoDataSet;
    if (code1())
        Zarn_TRACE(L"ZarnDataZGW::customizeForOwner () failed (ZGW%d/%lu).\n", code1(),
                   static_cast<unsigned long>(code2()));
    return code1() == zgw::Success;
}

bool ZarnDataZGW::isCustomized()
{
    try {
        return customizeForOwner();
    } catch (...) {
        resumeThreadExit();
        Zarn_TRACE(L"ZarnDataZGW::createZarnMonitor (): customizeForOwner () has thrown an "
                   L"exception, which counts as a refusal.\n");
        return false;
    }
}

Zarn* ZarnDataZGW::createZarnMonitor()
{
    setMemberVarsToDefaults(1, clearStatus);
    Zarn* monitor = nullptr;
    if (!m_dataSet) {
        code1() = zgw::NothingToHandOver;
    } else if (!isCustomized()) {
        if (!code1())
            code1() = zgw::CustomizeRefused;
    } else {
        try {
            monitor = Zarn::create(m_dataSet);
        } catch (...) {
            monitor = nullptr;
        }
        if (!monitor) {
            code1() = zgw::MonitorNotCreated;
            code2() = static_cast<ulong32>(m_dataSet->getSelfDX_Code());
        }
    }
    if (monitor && code1() == zgw::Success) {
        leaveLogFileTo(*monitor);
        delete std::exchange(m_dataSet, nullptr);
        return monitor;
    }
    Zarn_TRACE(L"ZarnDataZGW::createZarnMonitor () failed (ZGW status codes %d/%lu).\n", code1(),
               static_cast<unsigned long>(code2()));
    if (!destroyZarnMonitor(monitor))
        Zarn_TRACE(L"Function ZarnDataZGW::createZarnMonitor (): The recovery mode effort to "
                   L"destroy an unusable Zarn Monitor failed.\n");
    return nullptr;
}

bool ZarnDataZGW::destroyZarnMonitor(Zarn*& monitor)
{
    if (!monitor)
        return true;
    if (!Zarn::destroy(&monitor, 0, true))
        return false;
    monitor = nullptr;
    return true;
}

// ---- Clean-up --------------------------------------------------------------------------------------------

ZarnDataZGW::~ZarnDataZGW()
{
    const CancellationHold hold;
    constexpr ulong32 mask = freeAll | resetMembers;
    if (!setMemberVarsToDefaults(1, mask))
        Zarn_TRACE(L"ZarnDataZGW::~ZarnDataZGW (): The call to "
                   L"ZarnDataZGW::setMemberVarsToDefaults (1, 0x%08x) was not completely "
                   L"successful.\n",
                   mask);
}

bool ZarnDataZGW::setMemberVarsToDefaults(int passes, ulong32 mask)
{
    if (passes < 1)
        return false;
    const bool succeeded = !(mask & freeAll) || freeResources();
    if (mask & clearStatus)
        clearCodes(code1(), code2());
    return succeeded;
}

bool ZarnDataZGW::freeResources()
{
    removeUnusedLogFile();
    delete std::exchange(m_logDirectorySpecifier, nullptr);
    delete std::exchange(m_logFileFQPath, nullptr);
    freeLogTagValues();
    destroyProductBrander();
    delete std::exchange(m_dataSet, nullptr);
    return freeResourceModuleExternal();
}

bool ZarnDataZGW::freeResourceModuleExternal()
{
    SetLastError(ERROR_SUCCESS);
    HINSTANCE module = std::exchange(m_resourceModuleExternal, nullptr);
    const bool isOurs = std::exchange(m_resourceModuleExternalIsOurs, false);
    if (!isOurs || !module || FreeLibrary(module))
        return true;
    SetLastError(ERROR_SUCCESS);
    return false;
}
