#include "ServedStrings.h"

#include <zmu/localize/ResourceModule.h>

#include <utility>

namespace {

thread_local const zmu_tools::ServedStrings* served = nullptr;

} // namespace

ZMU_RESOURCE_MODULE_ENTRY int ZRLoadStringW(unsigned int id, wchar_t* buffer, int bufferMax)
{
    const std::wstring* const text = served ? served->find(id) : nullptr;
    if (!text || bufferMax < 1) {
        SetLastError(zmu::StringUnknown);
        return 0;
    }
    const std::size_t length = text->copy(buffer, static_cast<std::size_t>(bufferMax) - 1);
    buffer[length] = L'\0';
    SetLastError(zmu::StringFound);
    return static_cast<int>(length);
}

namespace zmu_tools {

ServedStrings::ServedStrings() : m_outer(std::exchange(served, this)) {}

ServedStrings::~ServedStrings()
{
    served = m_outer;
}

const std::wstring* ServedStrings::find(unsigned int id) const
{
    const auto row = m_strings.find(id);
    return row == m_strings.end() ? nullptr : &row->second;
}

HMODULE ServedStrings::module()
{
    return GetModuleHandleW(nullptr);
}

} // namespace zmu_tools
