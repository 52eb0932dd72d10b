// The engine delivers a described situation: log or proxy, display, plug-ins.
#include <zmu/monitor/ZarnDataForThread.h>

#include <zmu/monitor/Trace.h>
#include <zmu/monitor/ZarnData.h>
#include <zmu/monitor/internal/Guards.h>

using namespace zmu;

bool ZarnDataForThread::reportDescriptions()
{
    const Operation operation(*this);
    SectionGuard section(*this, holdsLock());
    runGuarded(*this, dx::ReportUnexpected, [&] {
        requireApproval();
        section.requireEntered();

        // A situation that cannot reach the log still reaches the display.
        const auto codeOf = [this](bool succeeded) {
            const int code = succeeded ? dx::Satisfied : getSelfDX_Code();
            if (!succeeded)
                forgetSelfDX_Code();
            return code;
        };
        const int logCode = codeOf(m_dataSet->isInstantiatorRunningNatively()
                                       ? reportDescriptionToLogFileDirectly()
                                       : reportDescriptionToLogFileIndirectly());
        const int displayCode = codeOf(reportDescriptionToDisplay());

        require(!logCode, logCode);
        if (m_dataSet->isInstantiatorRunningNatively())
            replaceLogFileAtLimit();
        require(!displayCode, displayCode);
    });
    if (!isSelfSatisfied())
        Zarn_TRACE(L"ZarnDataForThread::reportDescriptions () caught exception #%d.\n",
                   getSelfDX_Code());
    if (!section.leave())
        Zarn_TRACE(L"ZarnDataForThread::reportDescriptions () failed to leave critical section.\n");
    return isSelfSatisfied();
}

void ZarnDataForThread::replaceLogFileAtLimit()
{
    const ZarnDataFile* file = m_dataSet->getFileLog();
    const u64 limit = m_dataSet->getLogFileByteCountLimit();
    // The first entry of a successor never replaces it again, however long the head is.
    if (!file || limit == 0 || file->m_logByteCount < limit || m_dataSet->isNotingSeries())
        return;
    if (!m_dataSet->mayReplaceLog())
        return; // the entry is written, and a later one tries again
    require(m_dataSet->replaceFullLog(), dx::RolloverFailed);
    require(m_dataSet->getFileLog(), dx::NoFileLog);
}

bool ZarnDataForThread::reportDescriptionToLogFileDirectly()
{
    if (m_descriptionForLogFile.isEmpty())
        return isSelfSatisfied();

    SectionGuard section(*this, holdsLock());
    runGuarded(*this, dx::ReportLogUnexpected, [&] {
        requireApproval();
        require(m_dataSet->isInstantiatorRunningNatively(), dx::ReportLogNotNative);
        section.requireEntered();
        const LogMark before = beginEntry();
        if (!logFormSections() || !finishEntry()) {
            takeEntryBack(before);
            throw getSelfDX_Code();
        }
    });
    if (!isSelfSatisfied())
        Zarn_TRACE(L"ZarnDataForThread::reportDescriptionToLogFileDirectly () caught exception "
                   L"#%d.\n",
                   getSelfDX_Code());
    if (!section.leave())
        Zarn_TRACE(L"ZarnDataForThread::reportDescriptionToLogFileDirectly () failed to leave "
                   L"critical section.\n");
    return isSelfSatisfied();
}

bool ZarnDataForThread::reportDescriptionToLogFileIndirectly()
{
    if (!isSelfSatisfied() || m_descriptionForLogFile.isEmpty())
        return isSelfSatisfied();
    if (!m_dataSet) {
        setSelfDX_Code(dx::NoDataSet);
    } else if (!m_dataSet->logSituationDescriptionViaProxy(m_situationID, m_situationApprovalKind,
                                                           m_situationResponseTraits,
                                                           m_descriptionForLogFile.c_str())) {
        m_dataSet->forgetSelfDX_Code();
        setSelfDX_Code(dx::ReportProxyFailed);
    }
    return isSelfSatisfied();
}

bool ZarnDataForThread::reportDescriptionToDisplay()
{
    m_displayDlgBoxResult = 0;
    runGuarded(*this, dx::ReportDisplayUnexpected, [&] {
        requireApproval();
        const wchar_t* text = m_descriptionDisplayIsDupe ? m_descriptionForLogFile.c_str()
                                                         : m_descriptionForDisplay.c_str();
        if (!*text || m_displayIsRaw || m_dataSet->canRespondToSituations() != Zarn_FUZZY_YES)
            return;
        const ZarnDisplayFunction show = m_dataSet->getDisplayDlgBoxFunction();
        require(show, dx::DisplayFunctionMissing);
        try {
            m_displayDlgBoxResult = show(m_dataSet->getDisplayDlgBoxParent(), text,
                                         m_dataSet->getDisplayDlgBoxCaption(), m_displayDlgBoxType);
        } catch (...) {
            throw int{dx::DisplayFunctionThrew};
        }
    });
    return isSelfSatisfied();
}

bool ZarnDataForThread::activatePlugIns()
{
    if (m_plugInsIndirectQty < 1)
        return isSelfSatisfied();
    runGuarded(*this, dx::PlugInsUnexpected, [&] {
        requireApproval();
        const int qty = m_dataSet->getPlugInsQty();
        ZarnPlugIn* const plugIns = m_dataSet->getPlugIns();
        require(qty >= 1 && qty >= m_plugInsIndirectQty, dx::PlugInsTooFew);
        require(plugIns, dx::PlugInTableMissing);
        require(m_plugInsIndirectIndices, dx::PlugInIndicesMissing);

        for (int i = 0; i < m_plugInsIndirectQty; ++i) {
            const int index = m_plugInsIndirectIndices[i];
            if (index < 0 || index >= qty)
                setSelfDX_Code(dx::PlugInOutOfRange);
            else if (!plugIns[index])
                setSelfDX_Code(dx::PlugInMissing);
            else
                runPlugIn(plugIns[index]);
            // One plug-in's failure is nobody else's, nor what it left in the data set.
            m_dataSet->forgetSelfDX_Code();
            forgetSelfDX_Code();
        }
    });
    return isSelfSatisfied();
}

void ZarnDataForThread::runPlugIn(ZarnPlugIn plugIn)
{
    bool succeeded = false;
    try {
        succeeded = plugIn(m_dataSet->getOwner());
    } catch (...) {
        succeeded = false;
    }
    if (!succeeded)
        setSelfDX_Code(dx::PlugInFailed);
}
