#include <zmu/monitor/internal/MessagePieces.h>

#include <zmu/monitor/Zarn.h>
#include <zmu/monitor/internal/Numbers.h>
#include <zmu/platform/Win32.h>

using namespace zmu;

namespace {

struct InsertRow {
    std::wstring_view format;
    PlainInsert::Shows shows;
    unsigned char least;
};

constexpr InsertRow insertRows[] = {
    {L"!s!", PlainInsert::Shows::Text, 0},     {L"!d!", PlainInsert::Shows::Signed, 1},
    {L"!u!", PlainInsert::Shows::Unsigned, 1}, {L"!02d!", PlainInsert::Shows::Signed, 2},
    {L"!03d!", PlainInsert::Shows::Signed, 3}, {L"!lu!", PlainInsert::Shows::Unsigned, 1},
    {L"!X!", PlainInsert::Shows::Hex, 1},
};

} // namespace

bool zmu::takeFront(std::wstring_view& format, int valuesQty, std::wstring_view& text,
                    PlainInsert& insert)
{
    insert = {};
    std::size_t escape = format.find(L'%');
    wchar_t letter = L'\0';
    for (; escape != format.npos; escape = format.find(L'%', escape + 2)) {
        letter = escape + 1 < format.size() ? format[escape + 1] : L'\0';
        if (!letter || letter == L'0')
            return false; // wrong, or the end of the output
        if (isDigit(letter))
            break;
    }
    text = format.substr(0, escape);
    if (escape == format.npos) {
        format = {};
        return true;
    }

    format.remove_prefix(escape + 1);
    const int number = toNumber(format.substr(0, 2)); // the formatter reads no more figures
    format.remove_prefix(format.size() > 1 && isDigit(format[1]) ? 2 : 1);
    const auto index = static_cast<unsigned char>(number - 1);
    if (number <= valuesQty && !format.starts_with(L'!')) {
        insert = {PlainInsert::Shows::Text, index, 0};
        return true;
    }
    const auto row =
        std::find_if(std::begin(insertRows), std::end(insertRows),
                     [format](const InsertRow& each) { return format.starts_with(each.format); });
    if (number > valuesQty || row == std::end(insertRows))
        return false;
    format.remove_prefix(row->format.size());
    insert = {row->shows, index, row->least};
    return true;
}

std::size_t zmu::expandPlainText(std::wstring_view text, wchar_t* output, std::size_t capacity)
{
    constexpr ulong32 flags = FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY;
    constexpr std::size_t sourceMax = 2047;

    wchar_t source[sourceMax + 1];
    if (text.size() > sourceMax)
        return 0;
    source[text.copy(source, sourceMax)] = L'\0';
    u64 noInserts[1] = {};
    return Zarn::formatMessage(flags, source, output, static_cast<int>(capacity), noInserts);
}
