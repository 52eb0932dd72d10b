// The engine learns a response: it fetches a situation's spec, cuts it into fields and parses the
// header. DescriptionSpec.cpp parses the other two fields.
#include <zmu/monitor/ZarnDataForThread.h>

#include <zmu/foundation/internal/LoadString.h>
#include <zmu/monitor/Tokens.h>
#include <zmu/monitor/ZarnData.h>
#include <zmu/monitor/internal/Guards.h>
#include <zmu/monitor/internal/Numbers.h>
#include <zmu/monitor/internal/SeparatorKeeper.h>
#include <zmu/monitor/internal/SpecMemory.h>
#include <zmu/monitor/internal/TokenList.h>
#include <zmu/platform/Win32.h>

#include <algorithm>
#include <cwchar>
#include <type_traits>

using namespace zmu;

namespace {

/// A list that a scratch buffer holds can have no more.
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
    m_spec = nullptr;
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

std::wstring_view ZarnDataForThread::loadSpec(SpecText& text)
{
    const HMODULE module = m_dataSet->getResourceModule();
    int length = 0;
    bool isLoaded = false;
    if (!module)
        m_failurePlace.note = L"the data set has no resource module";
    try {
        const auto id = static_cast<unsigned int>(m_situationID);
        constexpr int qty = std::extent_v<SpecText>;
        if (module && m_isUnderLock)
            length = loadString(module, m_dataSet->m_resourceEntry.of(module), id, text, qty);
        else if (module)
            length = loadString(module, id, text, qty);
        isLoaded = module && (length > 0 || GetLastError() == ERROR_SUCCESS);
    } catch (...) {
        isLoaded = false;
    }
    require(isLoaded, dx::SpecNotLoaded);
    const std::wstring_view spec(text, static_cast<std::size_t>(length));
    if (spec.size() >= ZarnScratchpad::Buffer::capacity) {
        m_failurePlace.quote(spec);
        throw int{dx::SpecTooLong};
    }
    return spec;
}

bool ZarnDataForThread::obtainResponseSpecs()
{
    SpecText text;
    runGuarded(*this, dx::ObtainSpecsUnexpected, [&] {
        requireApproval();
        m_scratchpad.clear();
        clearSpecFields();
        const std::wstring_view spec = loadSpec(text);
        findSpec(spec);
        if (!m_spec || !m_spec->isLearned)
            cutSpec(spec);
    });
    if (!isSelfSatisfied()) {
        m_spec = nullptr;
        clearSpecFields();
    }
    m_scratchpad.clear();
    return isSelfSatisfied();
}

void ZarnDataForThread::cutSpec(std::wstring_view spec)
{
    constexpr int fieldsCount = 3;

    const SeparatorKeeper separator(m_tokenSeparator, m_dataSet->getResStrTokenSepField());
    const TokenList<fieldsCount> fields(spec, m_tokenSeparator[0]);
    const auto requireField = [&](bool condition, int index, int code) {
        if (condition)
            return;
        constexpr FailurePlace::Field places[] = {
            FailurePlace::Field::Header, FailurePlace::Field::Display, FailurePlace::Field::Log};
        m_failurePlace.field = places[index];
        m_failurePlace.quote(fields[index]);
        throw code;
    };
    if (fields.count() != fieldsCount) {
        if (fields.count() > 0)
            m_failurePlace.quote(fields[0]);
        throw int{dx::SpecFields};
    }
    requireField(!fields[0].empty() && m_responseSpecHeader.assign(fields[0]), 0,
                 dx::HeaderFieldUnusable);
    requireField(m_descriptionForDisplay.assign(fields[1]), 1, dx::DisplayFieldTooLong);
    requireField(!fields[2].empty() && m_descriptionForLogFile.assign(fields[2]), 2,
                 dx::LogFieldUnusable);
}

bool ZarnDataForThread::parseResponseSpecs(u64* fillerStrings)
{
    if (!m_dataSet)
        return false;
    if (m_spec && m_spec->isLearned) {
        if (recallSpec())
            return isSelfSatisfied();
        cutSpec({m_spec->text, m_spec->length});
        m_spec = nullptr;
    }
    if (!parseResponseSpecHeader(fillerStrings) || !parseDescriptionSpecLogFile())
        return false;
    // Without a respond bit the raw display field stays in its buffer and is never shown.
    m_displayIsRaw = m_dataSet->canRespondToSituations() != Zarn_FUZZY_YES;
    if (!m_displayIsRaw && !parseDescriptionSpecDisplay())
        return false;
    if (m_spec)
        learnSpec();
    return true;
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

        wchar_t* const header = m_responseSpecHeader.inPlace();
        const TokenList<groupsMax> groups(m_responseSpecHeader.view(), m_tokenSeparator[0]);
        groups.cut(header);
        require(groups.count() >= groupsMin && groups.count() <= groupsMax, dx::HeaderGroups);
        for (int i = 0; i < groups.count(); ++i) {
            wchar_t* const text = header + (groups[i].data() - header);
            number = i + 1;
            group = text;
            switch (i) {
            case 0:
                parseApprovalKind(groups[i]);
                break;
            case 1:
                parseResponseTraits(text);
                break;
            case 2:
                parseArgSource(groups[i]);
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

void ZarnDataForThread::parseApprovalKind(std::wstring_view group)
{
    const std::wstring_view digits = fromFirstDigit(group);
    require(!digits.empty(), dx::KindNotNumber);
    const int kind = toNumber(digits);
    require(kind == 1 || kind == 2, dx::KindOutOfRange);
    m_situationApprovalKind = static_cast<unsigned int>(kind);
}

void ZarnDataForThread::parseResponseTraits(const wchar_t* group)
{
    while (*group && *group != L'-' && !isDigit(*group))
        ++group;
    require(*group, dx::TraitsNotNumber);
    m_situationResponseTraits =
        *group == L'-' ? std::wcstoull(group, nullptr, 10) : toNumber<u64>(group); // a minus wraps
}

void ZarnDataForThread::parseArgSource(std::wstring_view group)
{
    m_argSource = 0;
    if (const std::wstring_view digits = fromFirstDigit(group); !digits.empty()) {
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
    const std::wstring_view list(text, wcsnlen(text, ZarnScratchpad::Buffer::capacity));
    int number = 0; // of the record in hand
    std::wstring_view record = list;
    runGuarded(*this, dx::FillersUnexpected, [&] {
        requireApproval();
        require(m_argSource == 1 || m_argSource == 2, dx::ArgSourceUnknown);
        require(m_argSource != 2 || (m_descriptionArgV && *m_descriptionArgV),
                dx::FillersWithoutCursor);
        m_tokenSeparator[0] = m_dataSet->getResStrTokenSepRecord();
        forgetDescriptionFillers();

        require(list.size() < ZarnScratchpad::Buffer::capacity, dx::FillersTooMany);
        const TokenList<recordsMax> records(list, m_tokenSeparator[0]);
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
            if (isCollecting && record.starts_with(L's'))
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

void ZarnDataForThread::fillFromRecorded(int filler, std::wstring_view record)
{
    const std::wstring_view digits = fromFirstDigit(record);
    require(!digits.empty(), dx::FillerWithoutSlot);
    fillFromRecorded(filler, digits.size() + 1 == record.size() ? record.front() : L'\0',
                     toNumber(digits));
}

void ZarnDataForThread::fillFromRecorded(int filler, wchar_t letter, int slot)
{
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

void ZarnDataForThread::fillFromCursor(int filler, std::wstring_view record)
{
    fillFromCursor(filler, record.size() == 1 ? record.front() : L'\0');
}

void ZarnDataForThread::fillFromCursor(int filler, wchar_t letter)
{
    const bool isNumber = letter == L'd' || letter == L'u';
    require(isNumber || letter == L's', dx::FillerLetterUnknown);

    SlotKind kind = SlotKind::Unknown;
    u64 slot = m_argumentBlock.take(*m_descriptionArgV, kind);
    if (letter == L'd')
        slot = toArgumentSlot(static_cast<int>(slot));
    else if (letter == L'u')
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
    const std::wstring_view list(text, wcsnlen(text, ZarnScratchpad::Buffer::capacity));
    int number = 0; // of the record in hand
    std::wstring_view record = list;
    runGuarded(*this, dx::PlugInIdsUnexpected, [&] {
        requireApproval();
        require(m_plugInsIndirectIndices, dx::PlugInIdsWithoutTable);
        m_tokenSeparator[0] = m_dataSet->getResStrTokenSepRecord();
        forgetPlugInsIndirectIndices();

        const int qty = std::min(m_plugInsIndirectIndicesQty, m_dataSet->getPlugInsQty());
        require(list.size() < ZarnScratchpad::Buffer::capacity, dx::PlugInIdsTooMany);
        const TokenList<recordsMax> records(list, m_tokenSeparator[0]);
        require(records.count() <= qty, dx::PlugInIdsTooMany);
        for (int i = 0; i < records.count(); ++i) {
            number = i + 1;
            record = records[i];
            const std::wstring_view digits = fromFirstDigit(record);
            require(!digits.empty(), dx::PlugInIdNotNumber);
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
