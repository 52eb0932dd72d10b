// Codes with their descriptions, as a table of codes gives them.
#pragma once

#include <zmu/monitor/DxCodes.h>

#include <algorithm>
#include <iterator>

namespace zmu {

struct CodeRow {
    int code;
    CodeDescription description;
};

template <std::size_t N>
CodeDescription findCode(const CodeRow (&table)[N], int code) noexcept
{
    const CodeRow* row = std::find_if(std::begin(table), std::end(table),
                                      [code](const CodeRow& each) { return each.code == code; });
    return row != std::end(table) ? row->description
                                  : CodeDescription{L"Unknown", L"", L"no code of this kind"};
}

} // namespace zmu
