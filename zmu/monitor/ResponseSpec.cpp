// The engine learns a response: it fetches a situation's spec, cuts it into fields and parses the
// header. DescriptionSpec.cpp parses the other two fields.
#include <zmu/monitor/ZarnDataForThread.h>

#include <zmu/monitor/ZarnData.h>
#include <zmu/monitor/internal/ArgumentBlock.h>
#include <zmu/monitor/internal/Guards.h>
#include <zmu/monitor/internal/Numbers.h>
#include <zmu/monitor/internal/SeparatorKeeper.h>
#include <zmu/monitor/internal/TokenWalk.h>

#include <algorithm>
#include <cwchar>

using namespace zmu;

bool ZarnDataForThread::learnResponse()
{
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

UTL_String ZarnDataForThread::loadSpec(unsigned int capacity) const
{
    try {
        return {m_dataSet->getResourceModule(), static_cast<unsigned int>(m_situationID), capacity};
    } catch (...) {
        throw int{dx::SpecNotLoaded};
    }
}

bool ZarnDataForThread::obtainResponseSpecs()
{
    constexpr unsigned int specCapacity = ZarnScratchpad::Buffer::capacity;
    constexpr int fieldsCount = 3;

    runGuarded(*this, dx::ObtainSpecsUnexpected, [&] {
        requireApproval();
        m_scratchpad.clear();
        clearSpecFields();
        const SeparatorKeeper separator(m_tokenSeparator, m_dataSet->getResStrTokenSepField());

        ZarnScratchpad::Buffer& spec = m_scratchpad.m_a;
        require(spec.assign(loadSpec(specCapacity).wideText()), dx::SpecTooLong);

        int count = 0;
        require(m_scratchpad.m_b.assign(spec.c_str()) &&
                    countTokens(m_scratchpad.m_b.inPlace(), m_tokenSeparator, count,
                                fieldsCount) &&
                    count == fieldsCount,
                dx::SpecFields);
        m_scratchpad.m_b.clear();

        TokenWalk fields(spec.inPlace(), m_tokenSeparator);
        for (int i = 0; i < count; ++i) {
            const wchar_t* field = fields.next();
            switch (i) {
            case 0:
                require(*field && m_responseSpecHeader.assign(field), dx::HeaderFieldUnusable);
                break;
            case 1:
                require(m_descriptionForDisplay.assign(field), dx::DisplayFieldTooLong);
                break;
            case 2:
                require(*field && m_descriptionForLogFile.assign(field), dx::LogFieldUnusable);
                break;
            default:
                throw int{dx::SpecFieldIndex};
            }
        }
    });
    if (!isSelfSatisfied())
        clearSpecFields();
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
    runGuarded(*this, dx::HeaderUnexpected, [&] {
        requireApproval();
        require(m_specStrictness < strictEnoughForHeader || !m_responseSpecHeader.isEmpty(),
                dx::HeaderEmpty);
        m_tokenSeparator[0] = m_dataSet->getResStrTokenSepGroup();
        forgetPlugInsIndirectIndices();
        m_argSource = 0;

        int count = 0;
        ZarnScratchpad::Buffer& copy = m_scratchpad.m_a;
        require(copy.assign(m_responseSpecHeader.c_str()) &&
                    countTokens(copy.inPlace(), m_tokenSeparator, count, groupsMax) &&
                    count >= groupsMin,
                dx::HeaderGroups);

        TokenWalk groups(m_responseSpecHeader.inPlace(), m_tokenSeparator);
        for (int i = 0; i < count; ++i) {
            wchar_t* group = groups.next();
            switch (i) {
            case 0:
                parseApprovalKind(group);
                break;
            case 1:
                parseResponseTraits(group);
                break;
            case 2:
                parseArgSource(group);
                break;
            case 3:
                requireOrRaiseHeld(
                    parseResponseSpecHeaderFillers(fillerStrings, skipWhitespace(group)), *this);
                break;
            case 4:
                requireOrRaiseHeld(parseResponseSpecHeaderPlugInIDs(group), *this);
                break;
            default:
                throw int{dx::HeaderGroupIndex};
            }
        }
    });
    if (!isSelfSatisfied())
        m_responseSpecHeader.clear();
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
    const wchar_t* number = std::wcspbrk(group, L"-0123456789");
    require(number, dx::TraitsNotNumber);
    m_situationResponseTraits = std::wcstoull(number, nullptr, 10); // a minus wraps
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
    runGuarded(*this, dx::FillersUnexpected, [&] {
        requireApproval();
        require(m_argSource == 1 || m_argSource == 2, dx::ArgSourceUnknown);
        require(m_argSource != 2 || (m_descriptionArgV && *m_descriptionArgV),
                dx::FillersWithoutCursor);
        m_tokenSeparator[0] = m_dataSet->getResStrTokenSepRecord();
        forgetDescriptionFillers();

        int count = 0;
        const int qty = m_descriptionFillersQty;
        ZarnScratchpad::Buffer& copy = m_scratchpad.m_a;
        require(copy.assign(text) && countTokens(copy.inPlace(), m_tokenSeparator, count, qty) &&
                    count <= qty,
                dx::FillersTooMany);

        copy.assign(text);
        TokenWalk records(copy.inPlace(), m_tokenSeparator);
        const bool isCollecting = fillerStrings && m_dataSet->getCharSetExternal() != ZARN_CHARSET_WIDE;
        for (int i = 0; i < count; ++i) {
            bool isString = false;
            wchar_t* record = records.next();
            m_descriptionFillers[i] = m_argSource == 1 ? fillFromRecorded(record, isString)
                                                       : fillFromCursor(record, isString);
            if (isString && isCollecting)
                *fillerStrings++ = m_descriptionFillers[i];
        }
    });
    if (!isSelfSatisfied())
        forgetDescriptionFillers();
    m_scratchpad.m_a.clear();
    return isSelfSatisfied();
}

u64 ZarnDataForThread::fillFromRecorded(wchar_t* record, bool& isString) const
{
    wchar_t* digits = findDigit(record);
    require(digits, dx::FillerWithoutSlot);
    const int slot = toNumber(digits);
    *digits = L'\0';
    const auto requireSlot = [slot](int qty) { require(slot < qty, dx::FillerSlotOutOfRange); };

    if (std::wcscmp(record, L"d") == 0) {
        requireSlot(m_argsIntQty);
        return toArgumentSlot(m_argsInt[slot]);
    }
    if (std::wcscmp(record, L"u") == 0) {
        requireSlot(m_argsUIntQty);
        return toArgumentSlot(m_argsUInt[slot]);
    }
    require(std::wcscmp(record, L"s") == 0, dx::FillerLetterUnknown);
    isString = true;
    if (m_argsStrA) {
        requireSlot(m_argsStrQty);
        return toArgumentSlot(m_argsStrA[slot]);
    }
    requireSlot(m_argsStrQty);
    return toArgumentSlot(m_argsStrW[slot]);
}

u64 ZarnDataForThread::fillFromCursor(const wchar_t* record, bool& isString)
{
    require(record[0] && !record[1], dx::FillerLetterUnknown);
    const wchar_t letter = record[0];
    require(letter == L'd' || letter == L's' || letter == L'u', dx::FillerLetterUnknown);

    const u64 slot = ArgumentBlock::ofThisThread().take(*m_descriptionArgV);
    switch (letter) {
    case L'd':
        return toArgumentSlot(static_cast<int>(slot));
    case L'u':
        return toArgumentSlot(static_cast<unsigned int>(slot));
    default:
        isString = true;
        return slot;
    }
}

bool ZarnDataForThread::parseResponseSpecHeaderPlugInIDs(wchar_t* text)
{
    if (!text || !*text)
        return isSelfSatisfied();

    const SeparatorKeeper separator(m_tokenSeparator);
    runGuarded(*this, dx::PlugInIdsUnexpected, [&] {
        requireApproval();
        require(m_plugInsIndirectIndices, dx::PlugInIdsWithoutTable);
        m_tokenSeparator[0] = m_dataSet->getResStrTokenSepRecord();
        forgetPlugInsIndirectIndices();

        int count = 0;
        const int qty = std::min(m_plugInsIndirectIndicesQty, m_dataSet->getPlugInsQty());
        ZarnScratchpad::Buffer& copy = m_scratchpad.m_a;
        require(copy.assign(text) && countTokens(copy.inPlace(), m_tokenSeparator, count, qty) &&
                    count <= qty,
                dx::PlugInIdsTooMany);

        copy.assign(text);
        TokenWalk records(copy.inPlace(), m_tokenSeparator);
        for (int i = 0; i < count; ++i) {
            const wchar_t* digits = findDigit(records.next());
            require(digits, dx::PlugInIdNotNumber);
            const int id = toNumber(digits);
            require(id < qty, dx::PlugInIdOutOfRange);
            for (int earlier = 0; earlier < i; ++earlier)
                require(m_plugInsIndirectIndices[earlier] != id, dx::PlugInIdRepeated);
            m_plugInsIndirectIndices[i] = id;
        }
        m_plugInsIndirectQty = count;
    });
    if (!isSelfSatisfied())
        forgetPlugInsIndirectIndices();
    m_scratchpad.m_a.clear();
    return isSelfSatisfied();
}
