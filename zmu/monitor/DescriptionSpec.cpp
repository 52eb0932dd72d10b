// The engine parses the description fields of a response spec into message templates and fills
// these with the situation's inserts.
#include <zmu/monitor/ZarnDataForThread.h>

#include <zmu/monitor/Tokens.h>
#include <zmu/monitor/Zarn.h>
#include <zmu/monitor/ZarnData.h>
#include <zmu/monitor/internal/Guards.h>
#include <zmu/monitor/internal/Inserts.h>
#include <zmu/monitor/internal/Numbers.h>
#include <zmu/monitor/internal/SeparatorKeeper.h>
#include <zmu/monitor/internal/TokenList.h>
#include <zmu/monitor/internal/Whitespace.h>
#include <zmu/platform/Win32.h>

#include <algorithm>
#include <cwchar>

using namespace zmu;

namespace {

/// Zeroes the text in a buffer of `capacity` elements, which it may fill to the last.
void zeroText(wchar_t* text, std::size_t capacity)
{
    std::wmemset(text, L'\0', wcsnlen(text, capacity));
}

} // namespace

template <class Body>
void ZarnDataForThread::withTarget(Zarn_MSG_FMT format, Body body)
{
    if (format == Zarn_MSG_FMT_DISPLAY)
        body(m_descriptionForDisplay, m_descriptionDisplayLineWd);
    else
        body(m_descriptionForLogFile, m_descriptionLogFileLineWd);
}

// ---- The log description -----------------------------------------------------------------------------

bool ZarnDataForThread::parseDescriptionSpecLogFile()
{
    constexpr int groupsCount = 1;

    const SeparatorKeeper separator(m_tokenSeparator);
    runGuarded(*this, dx::LogSpecUnexpected, [&] {
        requireApproval();
        m_scratchpad.clear();
        m_tokenSeparator[0] = m_dataSet->getResStrTokenSepGroup();
        m_descriptionLogFileLineWd = getDefaultLineWidth(Zarn_MSG_FMT_LOGFILE);

        m_scratchpad.m_b.assign(m_descriptionForLogFile.view());
        wchar_t* const text = m_scratchpad.m_b.inPlace();
        const TokenList<groupsCount> groups(m_scratchpad.m_b.view(), m_tokenSeparator[0]);
        groups.cut(text);
        require(groups.count() == groupsCount, dx::LogSpecGroups);
        for (int i = 0; i < groups.count(); ++i) {
            require(i == 0, dx::LogSpecGroupIndex);
            require(groups.count() == groupsCount, dx::LogSpecFormatMisplaced);
            requireOrRaiseHeld(parseMessageFormat(text, Zarn_MSG_FMT_LOGFILE), *this);
        }
    });
    if (!isSelfSatisfied()) {
        m_failurePlace.field = FailurePlace::Field::Log;
        m_failurePlace.quote(m_scratchpad.m_b.c_str());
        m_descriptionForLogFile.clear();
        m_descriptionLogFileLineWd = getDefaultLineWidth(Zarn_MSG_FMT_LOGFILE);
    }
    m_scratchpad.clear();
    return isSelfSatisfied();
}

// ---- The display description ---------------------------------------------------------------------------

bool ZarnDataForThread::isDupeForm(const wchar_t* text) const
{
    return text[0] == m_dataSet->getDescriptionDisplayDupeOp() &&
           (!text[1] || isWhitespace(text[1]));
}

void ZarnDataForThread::resetDisplaySpec()
{
    m_descriptionDisplayIsDupe = false;
    m_descriptionDisplayLineWd = getDefaultLineWidth(Zarn_MSG_FMT_DISPLAY);
    resetDialogSpec();
}

void ZarnDataForThread::resetDialogSpec()
{
    m_displayDlgBoxSpecA = 0;
    m_displayDlgBoxSpecB = 0;
    m_displayDlgBoxType = defaultDialogStyle;
}

bool ZarnDataForThread::parseDescriptionSpecDisplay()
{
    constexpr int groupsCount = 2;

    if (m_dataSet && m_dataSet->canRespondToSituations() != Zarn_FUZZY_YES)
        return isSelfSatisfied();

    const SeparatorKeeper separator(m_tokenSeparator);
    int number = 0; // of the group in hand
    runGuarded(*this, dx::DisplaySpecUnexpected, [&] {
        requireApproval();
        m_scratchpad.clear();
        m_tokenSeparator[0] = m_dataSet->getResStrTokenSepGroup();
        resetDisplaySpec();

        const wchar_t* spec = skipWhitespace(m_descriptionForDisplay.inPlace());
        if (!*spec) {
            m_descriptionForDisplay.clear();
            return;
        }

        m_scratchpad.m_b.assign(m_descriptionForDisplay.view());
        wchar_t* const text = m_scratchpad.m_b.inPlace();
        const TokenList<groupsCount> groups(m_scratchpad.m_b.view(), m_tokenSeparator[0]);
        groups.cut(text);
        require(groups.count() <= groupsCount, dx::DisplaySpecGroups);
        if (groups.count() == 1 && isDupeForm(spec)) {
            m_descriptionDisplayIsDupe = true;
            return;
        }
        require(groups.count() == groupsCount, dx::DisplaySpecGroups);
        for (int i = 0; i < groups.count(); ++i) {
            wchar_t* const group = text + (groups[i].data() - text);
            number = i + 1;
            if (i == 0) {
                requireOrRaiseHeld(parseDescriptionSpecDisplayDlgBox(skipWhitespace(group)), *this);
                continue;
            }
            require(i == 1, dx::DisplaySpecGroupIndex);
            require(groups.count() == groupsCount, dx::DisplaySpecFormatMisplaced);
            requireOrRaiseHeld(parseMessageFormat(group, Zarn_MSG_FMT_DISPLAY), *this);
        }
    });
    if (!isSelfSatisfied()) {
        m_failurePlace.field = FailurePlace::Field::Display;
        m_failurePlace.group = number;
        m_failurePlace.quote(m_scratchpad.m_b.c_str());
        m_descriptionForDisplay.clear();
        resetDisplaySpec();
    }
    m_scratchpad.clear();
    return isSelfSatisfied();
}

bool ZarnDataForThread::parseDescriptionSpecDisplayDlgBox(wchar_t* text)
{
    constexpr int recordsMax = 3;

    if (!text || !*text)
        return isSelfSatisfied();

    const SeparatorKeeper separator(m_tokenSeparator);
    const std::wstring_view list(text, wcsnlen(text, ZarnScratchpad::Buffer::capacity));
    int number = 0; // of the record in hand
    std::wstring_view record = list;
    runGuarded(*this, dx::DialogSpecUnexpected, [&] {
        requireApproval();
        m_tokenSeparator[0] = m_dataSet->getResStrTokenSepRecord();
        resetDialogSpec();

        require(list.size() < ZarnScratchpad::Buffer::capacity, dx::DialogSpecRecords);
        const TokenList<recordsMax> records(list, m_tokenSeparator[0]);
        require(records.count() <= recordsMax, dx::DialogSpecRecords);
        for (int i = 0; i < records.count(); ++i) {
            number = i + 1;
            record = withoutLeadingWhitespace(records[i]);
            if (record.empty())
                continue;
            switch (i) {
            case 0:
                require(isDigit(record.front()), dx::DialogSpecFirstNotNumber);
                m_displayDlgBoxType = toNumber<unsigned int>(record);
                break;
            case 1:
                require(isDigit(record.front()), dx::DialogSpecSecondNotNumber);
                m_displayDlgBoxSpecB = toNumber(record);
                break;
            case 2:
                require(isDigit(record.front()), dx::DialogSpecThirdNotNumber);
                m_displayDlgBoxSpecA = toNumber(record);
                break;
            default:
                throw int{dx::DialogSpecRecordIndex};
            }
        }
    });
    if (!isSelfSatisfied()) {
        m_failurePlace.record = number;
        m_failurePlace.quote(record);
        resetDialogSpec();
    }
    m_scratchpad.m_a.clear();
    return isSelfSatisfied();
}

// ---- Message formats and their affixes -----------------------------------------------------------------

bool ZarnDataForThread::parseMessageFormat(wchar_t* text, Zarn_MSG_FMT format)
{
    ZarnScratchpad::Buffer& scratch = m_scratchpad.m_a;
    scratch.clear();
    const bool succeeded =
        parseDescriptionSpec_MessageFormat(text, format, scratch.inPlace(), scratch.sizeBytes);
    if (!scratch.isEmpty()) { // a stage that was replaced has left its text
        scratch.writable();
        scratch.clear();
    }
    return succeeded;
}

bool ZarnDataForThread::parseDescriptionSpec_MessageFormat(wchar_t* text, Zarn_MSG_FMT format,
                                                           wchar_t* scratch, ulong32 scratchBytes)
{
    constexpr int recordsMin = 3;
    constexpr int recordsMax = 4;

    const std::size_t scratchQty = scratchBytes / sizeof(wchar_t);
    const bool isTargetKnown = format == Zarn_MSG_FMT_DISPLAY || format == Zarn_MSG_FMT_LOGFILE;
    const auto resetTarget = [&] {
        withTarget(format, [&](auto& target, u8& lineWidth) {
            target.clear();
            lineWidth = getDefaultLineWidth(format);
        });
    };

    const SeparatorKeeper separator(m_tokenSeparator);
    const std::wstring_view list(text ? text : L"", text ? wcsnlen(text, scratchQty) : 0);
    int number = 0; // of the record in hand
    std::wstring_view record = list;
    runGuarded(*this, dx::MessageFormatUnexpected, [&] {
        requireApproval();
        require(isTargetKnown, dx::MessageFormatTarget);
        m_tokenSeparator[0] = m_dataSet->getResStrTokenSepRecord();
        resetTarget();

        require(text && scratch && list.size() < scratchQty, dx::MessageFormatRecords);
        const TokenList<recordsMax> records(list, m_tokenSeparator[0]);
        require(records.count() >= recordsMin && records.count() <= recordsMax,
                dx::MessageFormatRecords);
        for (int i = 0; i < records.count(); ++i) {
            number = i + 1;
            record = records[i];
            appendRecord(i, record, format, scratch);
        }
    });
    if (!isSelfSatisfied()) {
        m_failurePlace.record = number;
        m_failurePlace.quote(record);
        if (isTargetKnown)
            resetTarget();
    }
    return isSelfSatisfied();
}

void ZarnDataForThread::appendRecord(int index, std::wstring_view record, Zarn_MSG_FMT format,
                                     wchar_t* scratch)
{
    constexpr int lineWidthMax = 255;

    withTarget(format, [&](auto& target, u8& lineWidth) {
        switch (index) {
        case 0:
            record = withoutLeadingWhitespace(record);
            if (!record.empty()) {
                require(isDigit(record.front()), dx::LineWidthNotNumber);
                const int width = toNumber(record);
                require(width <= lineWidthMax, dx::LineWidthOutOfRange);
                lineWidth = static_cast<u8>(width);
            }
            break;
        case 1:
        case 3:
            if (!record.empty()) {
                scratch[record.copy(scratch, record.size())] = L'\0'; // to be cut
                const bool succeeded =
                    parseDescriptionSpec_MessageAffix(scratch, target.writable(), target.capacity);
                std::wmemset(scratch, L'\0', record.size());
                requireOrRaiseHeld(succeeded, *this);
            }
            break;
        case 2:
            require(target.append(record), dx::MessageTextTooLong);
            break;
        default:
            throw int{dx::MessageFormatRecordIndex};
        }
    });
}

bool ZarnDataForThread::parseDescriptionSpec_MessageAffix(wchar_t* text, wchar_t* target,
                                                          u64 targetCharacters)
{
    constexpr int strictEnoughForTarget = 5;

    if (!text || !*text)
        return isSelfSatisfied();

    const auto capacity = static_cast<std::size_t>(targetCharacters);
    const SeparatorKeeper separator(m_tokenSeparator);
    runGuarded(*this, dx::AffixUnexpected, [&] {
        requireApproval();
        require(m_specStrictness <= strictEnoughForTarget ||
                    (target && targetCharacters > 0 && !target[targetCharacters - 1]),
                dx::AffixArguments);
        m_tokenSeparator[0] = m_dataSet->getResStrTokenSepRecord();

        wchar_t* position = target + (target ? wcsnlen(target, capacity) : 0);
        wchar_t* const end = target + (target ? capacity : 0);
        std::size_t start = 0;
        std::size_t cut = 0;
        std::size_t length = static_cast<std::size_t>(-1);
        const auto next = [&] { return nextToken(text, m_tokenSeparator, start, cut, length); };
        for (const wchar_t* affix = next(); affix && *affix; affix = next()) {
            require(isDigit(*affix), dx::AffixNotNumber);
            const int number = toNumber(affix);
            require(number < m_dataSet->getDescriptionAffixIDsQty(), dx::AffixOutOfRange);
            position += loadAffix(number, position, static_cast<std::size_t>(end - position));
        }
    });
    if (!isSelfSatisfied() && target)
        zeroText(target, capacity);
    return isSelfSatisfied();
}

std::size_t ZarnDataForThread::loadAffix(int number, wchar_t* output, std::size_t room)
{
    std::size_t length = 0;
    m_usesAffix = true;
    require(room > 0, dx::AffixNotLoaded);
    try {
        const int id = m_dataSet->getDescriptionAffixID_Min() + number;
        const UTL_String affix(m_dataSet->getResourceModule(), static_cast<unsigned int>(id),
                               static_cast<unsigned int>(room));
        const std::wstring_view text(affix.wideText());
        length = text.copy(output, room - 1);
        output[length] = L'\0';
    } catch (...) {
        length = 0;
    }
    require(length > 0, dx::AffixNotLoaded);
    return length;
}

// ---- Filling the templates -----------------------------------------------------------------------------

bool ZarnDataForThread::formatDescriptions()
{
    runGuarded(*this, dx::FormatDescriptionsUnexpected, [&] {
        requireApproval();
        // Both are tried; the first failure is the one that counts.
        int kept = 0;
        FailurePlace place;
        if (!formatDescriptionForLogFile()) {
            kept = getSelfDX_Code();
            place = m_failurePlace;
            forgetSelfDX_Code();
        }
        if (!formatDescriptionForDisplay()) {
            if (!kept) {
                kept = getSelfDX_Code();
                place = m_failurePlace;
            }
            forgetSelfDX_Code();
        }
        if (kept) {
            m_failurePlace = place;
            throw kept;
        }
    });
    return isSelfSatisfied();
}

void ZarnDataForThread::requireInserts(const wchar_t* format, int failed)
{
    const InsertFault fault = findInsertFault(format, m_descriptionFillersQty,
                                              [this](int slot) { return m_fillerKinds[slot - 1]; });
    if (!fault.what)
        return;
    m_failurePlace.insert = fault.insert;
    m_failurePlace.note = fault.what;
    throw failed;
}

template <class Buffer>
void ZarnDataForThread::formatDescription(Buffer& description, u8 lineWidth, int failed)
{
    constexpr ulong32 fromStringAndArray =
        FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY;

    ZarnScratchpad::Buffer& output = m_scratchpad.m_a;
    output.clear();
    const ulong32 length =
        Zarn::formatMessage(lineWidth | fromStringAndArray, description.c_str(), output.writable(),
                            static_cast<int>(output.capacity), m_descriptionFillers);
    if (length == 0) {
        m_failurePlace.note = L"the formatter takes no such text, or has no room for the result";
        throw failed;
    }
    const bool wraps = lineWidth > 0 && lineWidth < FORMAT_MESSAGE_MAX_WIDTH_MASK;
    if (!wraps) // else blanks that a line's end has swallowed stand behind the text
        output.setUsed(length);
    description.assign(output.view()); // cut at its end
}

bool ZarnDataForThread::formatDescriptionForDisplay()
{
    if (m_descriptionForDisplay.isEmpty() || m_displayIsRaw)
        return isSelfSatisfied();
    if (m_descriptionDisplayIsDupe) {
        m_descriptionForDisplay.clear();
        return isSelfSatisfied();
    }
    runGuarded(*this, dx::FormatDisplayUnexpected, [&] {
        requireApproval();
        if (!isDisplayProven()) {
            requireInserts(m_descriptionForDisplay.c_str(), dx::FormatDisplayFailed);
            keepDisplayProof();
        }
        formatDescription(m_descriptionForDisplay, m_descriptionDisplayLineWd,
                          dx::FormatDisplayFailed);
    });
    if (!isSelfSatisfied()) {
        m_failurePlace.field = FailurePlace::Field::Display;
        m_descriptionForDisplay.clear();
    }
    m_scratchpad.m_a.clear();
    return isSelfSatisfied();
}

bool ZarnDataForThread::formatDescriptionForLogFile()
{
    SetLastError(ERROR_SUCCESS);
    if (isSelfSatisfied() && formatLearnedDescription())
        return true;
    if (m_descriptionForLogFile.isEmpty())
        return isSelfSatisfied();
    runGuarded(*this, dx::FormatLogUnexpected, [&] {
        requireApproval();
        requireInserts(m_descriptionForLogFile.c_str(), dx::FormatLogFailed);
        formatDescription(m_descriptionForLogFile, m_descriptionLogFileLineWd, dx::FormatLogFailed);
    });
    if (!isSelfSatisfied()) {
        m_failurePlace.field = FailurePlace::Field::Log;
        m_descriptionForLogFile.clear();
    }
    m_scratchpad.m_a.clear();
    return isSelfSatisfied();
}
