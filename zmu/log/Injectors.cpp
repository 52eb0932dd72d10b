// Reports that a form injects into its sections. No report is learned yet: a form's block is
// passed over, and the variables of its reports come out empty.
#include <zmu/monitor/ZarnData.h>

#include <zmu/log/internal/FormVariable.h>
#include <zmu/monitor/Trace.h>

#include <QTemporaryFile>
#include <QTextStream>

#include <algorithm>
#include <utility>

using namespace zmu;

namespace {

Zarn_FORM_VAR variableOf(int injector)
{
    return static_cast<Zarn_FORM_VAR>(Zarn_FORM_VAR_SYS_INFO_ENV_APP + injector);
}

} // namespace

bool ZarnData::mustLearnLogFileFormInjectors(long injectorStart, ulong32 mask)
{
    const auto usesInjector = [](int varCount, const Zarn_FORM_VAR* vars) {
        return vars && std::any_of(vars, vars + varCount, [](Zarn_FORM_VAR var) {
                   return var >= variableOf(0) && var < variableOf(injectorsQty);
               });
    };
    const ZarnDataFile& file = m_fileLog;
    const bool isUsed =
        ((mask & SECTION_HEAD) && usesInjector(file.m_headVarCount, file.m_headVars)) ||
        ((mask & SECTION_BODY) && usesInjector(file.m_bodyVarCount, file.m_bodyVars)) ||
        ((mask & SECTION_TAIL) && usesInjector(file.m_tailVarCount, file.m_tailVars));
    if (isUsed && injectorStart < 0)
        Zarn_TRACE(L"ZarnData::mustLearnLogFileFormInjectors (%ld, %lu) detected a request for an "
                   L"undefined log file form injector.\n",
                   injectorStart, static_cast<unsigned long>(mask));
    return isUsed && injectorStart >= 0;
}

bool ZarnData::learnLogFileFormInjectors(long /*injectorStart*/)
{
    return isSelfSatisfied();
}

bool ZarnData::eliminateLogFileFormInjector(int index)
{
    if (index < 0 || index >= injectorsQty)
        return false;
    if (m_fileLog.m_injectorStreams)
        delete std::exchange(m_fileLog.m_injectorStreams[index], nullptr);
    if (m_fileLog.m_injectorFiles)
        m_fileLog.m_injectorFiles[index].close();
    return true;
}

bool ZarnData::eliminateLogFileFormInjectors()
{
    bool succeeded = true;
    for (int i = 0; i < injectorsQty; ++i)
        succeeded = eliminateLogFileFormInjector(i) && succeeded;
    return succeeded;
}

void ZarnData::freeInjectors()
{
    eliminateLogFileFormInjectors();
    delete[] std::exchange(m_fileLog.m_injectorStreams, nullptr);
    delete[] std::exchange(m_fileLog.m_injectorFiles, nullptr);
}

void ZarnData::releaseUnusedInjectors()
{
    ZarnDataFile& file = m_fileLog;
    if (!file.m_injectorStreams)
        return;
    bool isAnyLeft = false;
    for (int i = 0; i < injectorsQty; ++i) {
        if (!file.m_injectorStreams[i])
            continue;
        if (isVarInLogFileFormSection(variableOf(i), file.m_bodyVarCount, file.m_bodyVars) ||
            isVarInLogFileFormSection(variableOf(i), file.m_tailVarCount, file.m_tailVars))
            isAnyLeft = true;
        else
            eliminateLogFileFormInjector(i);
    }
    if (!isAnyLeft)
        freeInjectors();
}
