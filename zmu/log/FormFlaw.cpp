#include <zmu/log/internal/FormFlaw.h>

#include <zmu/log/internal/FormVariable.h>
#include <zmu/monitor/Zarn.h>
#include <zmu/monitor/internal/Inserts.h>

#include <cwchar>
#include <memory>
#include <string>

using namespace zmu;

namespace {

bool isInsert(const wchar_t* percent)
{
    return percent[1] >= L'1' && percent[1] <= L'9';
}

/// The next percent sign that is not one of a pair; null at the end of what is shown.
const wchar_t* findPercent(const wchar_t* text)
{
    while ((text = std::wcschr(text, L'%')) && text[1] == L'%')
        text += 2;
    return text && text[1] != L'0' ? text : nullptr;
}

/// What is wrong with the insert at `percent`; `text` ends up behind it.
const wchar_t* flawOfInsert(const wchar_t* percent, int varCount, const Zarn_FORM_VAR* vars,
                            const wchar_t*& text)
{
    text = percent + 1;
    const Insert insert = readInsert(text);
    if (insert.slot > varCount)
        return L"an insert that has no variable";
    const bool isText = formVariables[vars[insert.slot - 1]].insert[0] == L's';
    const bool asText = insert.shows != SlotKind::Number;
    if (asText && (!isText || insert.shows != SlotKind::WideText))
        return L"an insert that takes its variable for a text of another kind";
    return nullptr;
}

/// Formats with values as a log has them; whether the formatter refuses, whatever they are.
bool isRefused(const wchar_t* format, int varCount, const Zarn_FORM_VAR* vars)
{
    constexpr int roomPerVariable = 64;
    const auto values = std::make_unique<u64[]>(static_cast<std::size_t>(varCount) + 1);
    for (int i = 0; i < varCount; ++i) {
        if (formVariables[vars[i]].insert[0] == L's')
            values[static_cast<std::size_t>(i)] = reinterpret_cast<std::uintptr_t>(L"text");
    }
    const std::size_t size =
        std::wcslen(format) + static_cast<std::size_t>(varCount + 1) * roomPerVariable;
    const auto output = std::make_unique<wchar_t[]>(size);
    SetLastError(ERROR_SUCCESS);
    const bool isEmpty =
        Zarn::formatMessage(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY, format,
                            output.get(), static_cast<int>(size), values.get()) == 0;
    const bool hasNoRoom = GetLastError() == ERROR_INSUFFICIENT_BUFFER;
    SetLastError(ERROR_SUCCESS);
    return isEmpty && !hasNoRoom;
}

} // namespace

FormFlaw zmu::findRefused(const wchar_t* format, int varCount, const Zarn_FORM_VAR* vars)
{
    for (const wchar_t* text = format; (text = findPercent(text));) {
        const auto offset = static_cast<std::size_t>(text - format);
        if (!text[1])
            return {L"a percent sign at the very end", offset};
        if (!isInsert(text)) {
            text += 2;
            continue;
        }
        if (const wchar_t* what = flawOfInsert(text, varCount, vars, text))
            return {what, offset};
    }
    if (isRefused(format, varCount, vars))
        return {L"its text cannot be formatted, or shows nothing", 0};
    return {};
}

std::size_t zmu::offsetInSource(const wchar_t* source, std::size_t offset, wchar_t open,
                                wchar_t close, int varCount, const Zarn_FORM_VAR* vars)
{
    constexpr std::size_t signs = 3; // of an insert: %n!format!
    std::size_t compiled = 0;
    int insert = 0;
    const wchar_t* position = source;
    while (*position && compiled < offset) {
        const wchar_t* const end = *position == open ? std::wcschr(position, close) : nullptr;
        if (!end || insert == varCount) {
            ++compiled;
            ++position;
            continue;
        }
        const std::size_t digits = insert < 9 ? 1 : std::to_wstring(insert + 1).size();
        compiled += signs + digits + std::wcslen(formVariables[vars[insert]].insert);
        if (compiled > offset)
            break;
        ++insert;
        position = end + 1;
    }
    return static_cast<std::size_t>(position - source);
}

FormFlaw zmu::findLonePercent(const wchar_t* format)
{
    constexpr wchar_t known[] = L"nrtb .!"; // what has a meaning behind a percent sign
    for (const wchar_t* text = format; (text = findPercent(text)); text += 2) {
        if (!isInsert(text) && !std::wcschr(known, text[1]))
            return {L"a lone percent sign is not shown; two make one",
                    static_cast<std::size_t>(text - format)};
    }
    return {};
}

FormFlaw zmu::findUnclosedBracket(const wchar_t* text, wchar_t open, wchar_t close)
{
    const wchar_t* const last = std::wcsrchr(text, open);
    if (!last || std::wcschr(last, close))
        return {};
    return {L"a bracket is not closed, and what follows is shown as it stands or not at all",
            static_cast<std::size_t>(last - text)};
}
