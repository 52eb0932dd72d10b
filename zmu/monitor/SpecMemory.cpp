// The engine goes on from a spec that was parsed before with the same text: what the parsers would
// leave is set at once.
//
// A subclass can replace each parser, and has to see the others' work. So only engines of this very
// class remember, and only under the lock.
#include <zmu/monitor/internal/SpecMemory.h>

#include <zmu/monitor/ZarnData.h>
#include <zmu/monitor/ZarnDataForThread.h>
#include <zmu/monitor/internal/Guards.h>
#include <zmu/monitor/internal/Numbers.h>
#include <zmu/monitor/internal/TokenList.h>
#include <zmu/monitor/internal/Whitespace.h>

#include <algorithm>
#include <typeinfo>

using namespace zmu;

void ZarnDataForThread::findSpec(std::wstring_view text)
{
    m_spec = nullptr;
    SpecMemory* const memory = m_dataSet->m_specMemory;
    if (!memory || !m_isUnderLock || typeid(*this) != typeid(ZarnDataForThread) ||
        m_dataSet->canRespondToSituations() != Zarn_FUZZY_YES)
        return;
    const SpecSettings settings{m_dataSet->getResStrTokenSepField(),
                                m_dataSet->getResStrTokenSepGroup(),
                                m_dataSet->getResStrTokenSepRecord(),
                                m_dataSet->getDescriptionDisplayDupeOp(),
                                getDefaultLineWidth(Zarn_MSG_FMT_DISPLAY),
                                getDefaultLineWidth(Zarn_MSG_FMT_LOGFILE),
                                m_descriptionFillersQty,
                                std::min(m_plugInsIndirectIndicesQty, m_dataSet->getPlugInsQty())};
    m_spec = memory->find(m_dataSet->getResourceModule(), m_situationID, settings, text);
    m_usesAffix = false;
}

void ZarnDataForThread::learnSpec()
{
    const std::wstring_view text(m_spec->text, m_spec->length);
    const auto findPlace = [text](std::wstring_view format, std::wstring_view& place) {
        const std::size_t position = text.find(format);
        place = text.substr(std::min(position, text.size()), format.size());
        return position != text.npos;
    };
    // The text of an affix may be another one next time.
    if (m_usesAffix || !findPlace(m_descriptionForLogFile.view(), m_spec->logFormat) ||
        !findPlace(m_descriptionForDisplay.view(), m_spec->displayFormat) || !learnFillers() ||
        m_plugInsIndirectQty > LearnedSpec::plugInsQty)
        return;
    m_spec->approvalKind = m_situationApprovalKind;
    m_spec->responseTraits = m_situationResponseTraits;
    m_spec->argSource = m_argSource;
    m_spec->plugInsCount = m_plugInsIndirectQty;
    std::copy_n(m_plugInsIndirectIndices, m_plugInsIndirectQty, m_spec->plugIns);
    m_spec->logWidth = m_descriptionLogFileLineWd;
    m_spec->hasLogPieces = m_spec->logWidth == 0 && !m_spec->logFormat.empty() &&
                           m_spec->logPieces.takeApart(m_spec->logFormat, m_descriptionFillersQty);
    m_spec->displayWidth = m_descriptionDisplayLineWd;
    m_spec->isDisplayDupe = m_descriptionDisplayIsDupe;
    m_spec->dialogType = m_displayDlgBoxType;
    m_spec->dialogSpecA = m_displayDlgBoxSpecA;
    m_spec->dialogSpecB = m_displayDlgBoxSpecB;
    m_spec->isDisplayProven = false;
    m_spec->isLearned = true;
}

bool ZarnDataForThread::learnFillers()
{
    constexpr int fillersGroup = 3;

    m_spec->fillersCount = 0;
    const std::wstring_view text(m_spec->text, m_spec->length);
    const std::wstring_view header = text.substr(0, text.find(m_spec->settings.fieldSeparator));
    const TokenList<fillersGroup + 1> groups(header, m_spec->settings.groupSeparator);
    if (groups.count() <= fillersGroup)
        return true;
    const TokenList<LearnedSpec::fillersQty> records(withoutLeadingWhitespace(groups[fillersGroup]),
                                                     m_spec->settings.recordSeparator);
    if (records.count() > LearnedSpec::fillersQty)
        return false;
    m_spec->fillersCount = records.count();
    for (int i = 0; i < records.count(); ++i)
        m_spec->fillers[i] = {records[i].front(), toNumber(fromFirstDigit(records[i]))};
    return true;
}

bool ZarnDataForThread::canFillLearned() const
{
    if (m_spec->argSource == 2)
        return m_spec->fillersCount == 0 || (m_descriptionArgV && *m_descriptionArgV);
    return std::all_of(m_spec->fillers, m_spec->fillers + m_spec->fillersCount,
                       [this](const LearnedSpec::Filler& filler) {
                           return filler.slot < (filler.letter == L'd'   ? m_argsIntQty
                                                 : filler.letter == L'u' ? m_argsUIntQty
                                                                         : m_argsStrQty);
                       });
}

bool ZarnDataForThread::recallSpec()
{
    const LearnedSpec& spec = *m_spec;
    if (!canFillLearned())
        return false; // a failure, which the parser places
    m_situationApprovalKind = spec.approvalKind;
    m_situationResponseTraits = spec.responseTraits;
    m_argSource = spec.argSource;
    forgetPlugInsIndirectIndices();
    std::copy_n(spec.plugIns, spec.plugInsCount, m_plugInsIndirectIndices);
    m_plugInsIndirectQty = spec.plugInsCount;
    if (spec.fillersCount > 0)
        forgetDescriptionFillers();
    else
        forgetTextFillers();
    for (int i = 0; i < spec.fillersCount; ++i) {
        if (spec.argSource == 1)
            fillFromRecorded(i, spec.fillers[i].letter, spec.fillers[i].slot);
        else
            fillFromCursor(i, spec.fillers[i].letter);
    }

    m_descriptionLogFileLineWd = static_cast<u8>(spec.logWidth);
    if (!spec.hasLogPieces)
        m_descriptionForLogFile.assign(spec.logFormat);
    m_descriptionDisplayLineWd = static_cast<u8>(spec.displayWidth);
    m_descriptionDisplayIsDupe = spec.isDisplayDupe;
    m_displayDlgBoxType = spec.dialogType;
    m_displayDlgBoxSpecA = spec.dialogSpecA;
    m_displayDlgBoxSpecB = spec.dialogSpecB;
    m_descriptionForDisplay.assign(spec.displayFormat);
    m_displayIsRaw = false;
    return true;
}

bool ZarnDataForThread::isDisplayProven() const
{
    return m_spec && m_spec->isLearned && m_spec->isDisplayProven &&
           std::equal(m_fillerKinds, m_fillerKinds + m_spec->fillersCount, m_spec->provenKinds);
}

void ZarnDataForThread::keepDisplayProof()
{
    // Without fillers of its own a spec meets what another situation has left.
    if (!m_spec || !m_spec->isLearned || m_spec->fillersCount == 0)
        return;
    std::copy_n(m_fillerKinds, m_spec->fillersCount, m_spec->provenKinds);
    m_spec->isDisplayProven = true;
}

bool ZarnDataForThread::formatLearnedDescription()
{
    if (!m_spec || !m_spec->isLearned || !m_spec->hasLogPieces)
        return false;
    const auto kindOf = [this](int index) { return m_fillerKinds[index]; };
    std::size_t length = 0;
    if (m_spec->logPieces.suit(kindOf))
        length = m_spec->logPieces.fill(m_descriptionFillers, m_descriptionForLogFile.writable(),
                                        m_descriptionForLogFile.capacity - stepUnits);
    if (length > 0)
        m_descriptionForLogFile.setUsed(length);
    else
        m_descriptionForLogFile.assign(m_spec->logFormat); // for the formatter
    return length > 0;
}
