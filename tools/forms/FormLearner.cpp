#include "FormLearner.h"

#include <tools/Text.h>

#include <zmu/log/internal/FormExtras.h>

#include <QBuffer>
#include <QTextStream>

#include <memory>

namespace zmu_tools {

FormLearner::FormLearner()
{
    setCharSetExternal(ZARN_CHARSET_WIDE);
    offerFormExtras(true);
    setFormWarnings(&m_warnings);
}

bool FormLearner::learn(const QByteArray& form)
{
    wchar_t name[] = L"form";
    m_form = &form;
    freeLogFileFormData();
    const bool isLearned = initialize() && learnLogFileFormVarNames() && openLogFileForm(name) &&
                           learnLogFileForm(SECTIONS_ALL);
    m_form = nullptr;
    return isLearned;
}

bool FormLearner::learnBuiltIn()
{
    freeLogFileFormData();
    return initialize() && learnLogFileFormVarNames() &&
           supplantLogFileFormFromResDLL(SECTIONS_ALL);
}

bool FormLearner::open(std::wstring path)
{
    return initialize() && openLogFileForm(path.data());
}

FormLearner::Section FormLearner::head() const
{
    return {m_fileLog.m_headFormat, {m_fileLog.m_headVars, std::size_t(m_fileLog.m_headVarCount)}};
}

FormLearner::Section FormLearner::body() const
{
    return {m_fileLog.m_bodyFormat, {m_fileLog.m_bodyVars, std::size_t(m_fileLog.m_bodyVarCount)}};
}

FormLearner::Section FormLearner::tail() const
{
    return {m_fileLog.m_tailFormat, {m_fileLog.m_tailVars, std::size_t(m_fileLog.m_tailVarCount)}};
}

const std::vector<std::string>& FormLearner::variableNames()
{
    static const std::vector<std::string> names = [] {
        FormLearner learner;
        learner.learnBuiltIn();
        std::vector<std::string> all;
        for (int i = 0; i < learner.m_fileLog.m_varNamesQty && learner.m_fileLog.m_varNames; ++i)
            all.push_back(narrowed(learner.m_fileLog.m_varNames[i]));
        return all;
    }();
    return names;
}

const std::vector<std::string>& FormLearner::commentNames()
{
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all;
        for (const std::wstring_view name : zmu::formExtraNames)
            all.push_back(narrowed(name));
        return all;
    }();
    return names;
}

bool FormLearner::openFile(wchar_t** nameSlot, QTextStream** streamSlot, wchar_t* name,
                           int openMode)
{
    if (!m_form)
        return ZarnData::openFile(nameSlot, streamSlot, name, openMode);
    duplicate_String(nameSlot, name, true);
    auto buffer = std::make_unique<QBuffer>();
    buffer->setData(*m_form);
    buffer->open(QIODevice::ReadOnly);
    *streamSlot = new QTextStream(buffer.release()); // which goes with it when it is closed
    return true;
}

bool FormLearner::mustLearnLogFileFormInjectors(long start, zmu::ulong32 mask)
{
    return m_hasReports && ZarnData::mustLearnLogFileFormInjectors(start, mask);
}

} // namespace zmu_tools
