// The engine learns a response: it fetches a situation's spec, cuts it into fields and parses the
// header. DescriptionSpec.cpp parses the other two fields.
#include <zmu/monitor/ZarnDataForThread.h>

#include <zmu/foundation/internal/LoadString.h>
#include <zmu/monitor/Tokens.h>
#include <zmu/monitor/ZarnData.h>
#include <zmu/monitor/internal/Guards.h>
#include <zmu/monitor/internal/Numbers.h>
#include <zmu/monitor/internal/SeparatorKeeper.h>
#include <zmu/monitor/internal/TokenList.h>
#include <zmu/platform/Win32.h>

#include <algorithm>
#include <cwchar>
#include <iterator>

using namespace zmu;

namespace {

/// A list in a scratch buffer can hold no more.
constexpr int recordsMax = ZarnScratchpad::Buffer::capacity;

} // namespace

bool ZarnDataForThread::learnResponse()
{
    const Operation operation(*this);
    const CancellationHold hold;
    runGuarded(*this, dx::LearnResponseUnexpected, [&] {
        requireApproval();
        requireOrRaiseHeld(learnResponseSpecs(nullptr), *this);
        requireOrRaiseHeld(formatDescriptions(), *this);
        m_scratchpad.clear();
    });
    return isSelfSatisfied();
}

bool ZarnDataForThread::learnResponseSpecs(u64* fillerStrings)
{
    runGuarded(*this, dx::LearnSpecsUnexpected, [&] {
        requireApproval();
        requireOrRaiseHeld(obtainResponseSpecs(), *this);
        requireOrRaiseHeld(parseResponseSpecs(fillerStrings), *this);
    });
    if (!isSelfSatisfied())
        clearSpecFields();
    m_scratchpad.clear();
    return isSelfSatisfied();
}

void ZarnDataForThread::clearSpecFields()
{
    m_descriptionForDisplay.clear();
    m_responseSpecHeader.clear();
    m_descriptionForLogFile.clear();
}

void ZarnDataForThread::loadSpec(ZarnScratchpad::Buffer& spec)
{
    wchar_t text[ZarnScratchpad::Buffer::capacity + 1]; // a text that is too long shows
    const HMODULE module = m_dataSet->getResourceModule();
    bool isLoaded = false;
    if (!module)
        m_failurePlace.note = L"the data set has no resource module";
    try {
        isLoaded = module && (loadString(module, static_cast<unsigned int>(m_situationID), text,
                                         static_cast<int>(std::size(text))) > 0 ||
                              GetLastError() == ERROR_SUCCESS);
    } catch (...) {
        isLoaded = false;
    }
    require(isLoaded, dx::SpecNotLoaded);
    require(spec.assign(text), dx::SpecTooLong);
}

bool ZarnDataForThread::obtainResponseSpecs()
{
    constexpr int fieldsCount = 3;

    auto field = FailurePlace::Field::Unknown;
    const wchar_t* text = m_scratchpad.m_a.c_str();
    runGuarded(*this, dx::ObtainSpecsUnexpected, [&] {
        requireApproval();
        m_scratchpad.clear();
        clearSpecFields();
        const SeparatorKeeper separator(m_tokenSeparator, m_dataSet->getResStrTokenSepField());

        ZarnScratchpad::Buffer& spec = m_scratchpad.m_a;
        loadSpec(spec);
        const TokenList<fieldsCount> fields(spec.inPlace(), m_tokenSeparator);
        require(fields.count() == fieldsCount, dx::SpecFields);
        for (int i = 0; i < fieldsCount; ++i) {
            text = fields[i];
            switch (i) {
            case 0:
                field = FailurePlace::Field::Header;
                require(*text && m_responseSpecHeader.assign(text), dx::HeaderFieldUnusable);
                break;
            case 1:
                field = FailurePlace::Field::Display;
                require(m_descriptionForDisplay.assign(text), dx::DisplayFieldTooLong);
                break;
            case 2:
                field = FailurePlace::Field::Log;
                require(*text && m_descriptionForLogFile.assign(text), dx::LogFieldUnusable);
                break;
            default:
                throw int{dx::SpecFieldIndex};
            }
        }
    });
    if (!isSelfSatisfied()) {
        m_failurePlace.field = field;
        m_failurePlace.quote(text);
        clearSpecFields();
    }
    m_scratchpad.clear();
    return isSelfSatisfied();
}

bool ZarnDataForThread::parseResponseSpecs(u64* fillerStrings)
{
    if (!m_dataSet || !parseResponseSpecHeader(fillerStrings) || !parseDescriptionSpecLogFile())
        return false;
    // Without a respond bit the raw display field stays in its buffer and is never shown.
    m_displayIsRaw = m_dataSet->canRespondToSituations() != Zarn_FUZZY_YES;
    return m_displayIsRaw || parseDescriptionSpecDisplay();
}

bool ZarnDataForThread::parseResponseSpecHeader(u64* fillerStrings)
{
    constexpr int strictEnoughForHeader = 6;
    constexpr int groupsMin = 2;
    constexpr int groupsMax = 5;

    const SeparatorKeeper separator(m_tokenSeparator);
    int number = 0; // of the group in hand
    const wchar_t* group = m_responseSpecHeader.c_str();
    runGuarded(*this, dx::HeaderUnexpected, [&] {
        requireApproval();
        require(m_specStrictness < strictEnoughForHeader || !m_responseSpecHeader.isEmpty(),
                dx::HeaderEmpty);
        m_tokenSeparator[0] = m_dataSet->getResStrTokenSepGroup();
        forgetPlugInsIndirectIndices();
        forgetTextFillers(); // a failed situation left them, and its texts may be gone
        m_argSource = 0;

        const TokenList<groupsMax> groups(m_responseSpecHeader.inPlace(), m_tokenSeparator);
        require(groups.count() >= groupsMin && groups.count() <= groupsMax, dx::HeaderGroups);
        for (int i = 0; i < groups.count(); ++i) {
            wchar_t* const text = groups[i];
            number = i + 1;
            group = text;
            switch (i) {
            case 0:
                parseApprovalKind(text);
                break;
            case 1:
                parseResponseTraits(text);
                break;
            case 2:
                parseArgSource(text);
                break;
            case 3:
                requireOrRaiseHeld(
                    parseResponseSpecHeaderFillers(fillerStrings, skipWhitespace(text)), *this);
                break;
            case 4:
                requireOrRaiseHeld(parseResponseSpecHeaderPlugInIDs(text), *this);
                break;
            default:
                throw int{dx::HeaderGroupIndex};
            }
        }
    });
    if (!isSelfSatisfied()) {
        m_failurePlace.field = FailurePlace::Field::Header;
        m_failurePlace.group = number;
        m_failurePlace.quote(group);
        m_responseSpecHeader.clear();
    }
    m_scratchpad.m_a.clear();
    return isSelfSatisfied();
}

void ZarnDataForThread::parseApprovalKind(wchar_t* group)
{
    const wchar_t* digits = findDigit(group);
    require(digits, dx::KindNotNumber);
    const int kind = toNumber(digits);
    require(kind == 1 || kind == 2, dx::KindOutOfRange);
    m_situationApprovalKind = static_cast<unsigned int>(kind);
}

void ZarnDataForThread::parseResponseTraits(const wchar_t* group)
{
    while (*group && *group != L'-' && !isDigit(*group))
        ++group;
    require(*group, dx::TraitsNotNumber);
    m_situationResponseTraits = std::wcstoull(group, nullptr, 10); // a minus wraps
}

void ZarnDataForThread::parseArgSource(wchar_t* group)
{
    m_argSource = 0;
    if (const wchar_t* digits = findDigit(group)) {
        const int source = toNumber(digits);
        require(source <= 2, dx::ArgSourceUnknown);
        m_argSource = source;
    }
}

bool ZarnDataForThread::parseResponseSpecHeaderFillers(u64* fillerStrings, wchar_t* text)
{
    if (!text || !*text)
        return isSelfSatisfied();

    const SeparatorKeeper separator(m_tokenSeparator);
    int number = 0; // of the record in hand
    const wchar_t* record = text;
    runGuarded(*this, dx::FillersUnexpected, [&] {
        requireApproval();
        require(m_argSource == 1 || m_argSource == 2, dx::ArgSourceUnknown);
        require(m_argSource != 2 || (m_descriptionArgV && *m_descriptionArgV),
                dx::FillersWithoutCursor);
        m_tokenSeparator[0] = m_dataSet->getResStrTokenSepRecord();
        forgetDescriptionFillers();

        ZarnScratchpad::Buffer& copy = m_scratchpad.m_a;
        require(copy.assign(text), dx::FillersTooMany);
        const TokenList<recordsMax> records(copy.inPlace(), m_tokenSeparator);
        require(records.count() <= m_descriptionFillersQty, dx::FillersTooMany);
        const bool isCollecting =
            fillerStrings && m_dataSet->getCharSetExternal() != ZARN_CHARSET_WIDE;
        for (int i = 0; i < records.count(); ++i) {
            number = i + 1;
            record = records[i];
            if (m_argSource == 1)
                fillFromRecorded(i, record);
            else
                fillFromCursor(i, record);
            if (isCollecting && *record == L's')
                *fillerStrings++ = m_descriptionFillers[i];
        }
    });
    if (!isSelfSatisfied()) {
        m_failurePlace.record = number;
        m_failurePlace.quote(record);
        forgetDescriptionFillers();
    }
    m_scratchpad.m_a.clear();
    return isSelfSatisfied();
}

void ZarnDataForThread::fillFromRecorded(int filler, const wchar_t* record)
{
    const wchar_t* digits = findDigit(record);
    require(digits, dx::FillerWithoutSlot);
    const int slot = toNumber(digits);
    const wchar_t letter = digits == record + 1 ? *record : L'\0';
    const auto fill = [&](const auto* slots, int qty, SlotKind kind) {
        require(slot < qty, dx::FillerSlotOutOfRange);
        setFiller(filler, toArgumentSlot(slots[slot]), kind);
    };

    if (letter == L'd')
        fill(m_argsInt, m_argsIntQty, SlotKind::Number);
    else if (letter == L'u')
        fill(m_argsUInt, m_argsUIntQty, SlotKind::Number);
    else if (letter != L's')
        throw int{dx::FillerLetterUnknown};
    else if (m_argsStrA)
        fill(m_argsStrA, m_argsStrQty, SlotKind::NarrowText);
    else
        fill(m_argsStrW, m_argsStrQty, SlotKind::WideText);
}

void ZarnDataForThread::fillFromCursor(int filler, const wchar_t* record)
{
    const bool isNumber = record[0] == L'd' || record[0] == L'u';
    require((isNumber || record[0] == L's') && !record[1], dx::FillerLetterUnknown);

    SlotKind kind = SlotKind::Unknown;
    u64 slot = m_argumentBlock.take(*m_descriptionArgV, kind);
    if (record[0] == L'd')
        slot = toArgumentSlot(static_cast<int>(slot));
    else if (record[0] == L'u')
        slot = toArgumentSlot(static_cast<unsigned int>(slot));
    if (isNumber)
        kind = SlotKind::Number;
    else if (kind == SlotKind::Unknown || !slot)
        kind = SlotKind::AnyText;
    setFiller(filler, slot, kind);
}

void ZarnDataForThread::setFiller(int filler, u64 slot, SlotKind kind)
{
    m_descriptionFillers[filler] = slot;
    m_fillerKinds[filler] = kind;
}

void ZarnDataForThread::forgetTextFillers()
{
    for (int i = 0; i < m_descriptionFillersQty; ++i) {
        if (m_fillerKinds[i] != SlotKind::Unknown && m_fillerKinds[i] != SlotKind::Number)
            setFiller(i, 0, SlotKind::Unknown);
    }
}

bool ZarnDataForThread::parseResponseSpecHeaderPlugInIDs(wchar_t* text)
{
    if (!text || !*text)
        return isSelfSatisfied();

    const SeparatorKeeper separator(m_tokenSeparator);
    int number = 0; // of the record in hand
    const wchar_t* record = text;
    runGuarded(*this, dx::PlugInIdsUnexpected, [&] {
        requireApproval();
        require(m_plugInsIndirectIndices, dx::PlugInIdsWithoutTable);
        m_tokenSeparator[0] = m_dataSet->getResStrTokenSepRecord();
        forgetPlugInsIndirectIndices();

        const int qty = std::min(m_plugInsIndirectIndicesQty, m_dataSet->getPlugInsQty());
        ZarnScratchpad::Buffer& copy = m_scratchpad.m_a;
        require(copy.assign(text), dx::PlugInIdsTooMany);
        const TokenList<recordsMax> records(copy.inPlace(), m_tokenSeparator);
        require(records.count() <= qty, dx::PlugInIdsTooMany);
        for (int i = 0; i < records.count(); ++i) {
            number = i + 1;
            record = records[i];
            const wchar_t* digits = findDigit(record);
            require(digits, dx::PlugInIdNotNumber);
            const int id = toNumber(digits);
            require(id < qty, dx::PlugInIdOutOfRange);
            for (int earlier = 0; earlier < i; ++earlier)
                require(m_plugInsIndirectIndices[earlier] != id, dx::PlugInIdRepeated);
            m_plugInsIndirectIndices[i] = id;
        }
        m_plugInsIndirectQty = records.count();
    });
    if (!isSelfSatisfied()) {
        m_failurePlace.record = number;
        m_failurePlace.quote(record);
        forgetPlugInsIndirectIndices();
    }
    m_scratchpad.m_a.clear();
    return isSelfSatisfied();
}
