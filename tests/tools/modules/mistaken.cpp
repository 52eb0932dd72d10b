// A resource module with mistakes, and with an entry that does not return for some IDs.
#include <zmu/localize/ResourceModule.h>

#include <cstdlib>
#include <cwchar>

namespace {

struct Row {
    unsigned int id;
    const wchar_t* text;
};
constexpr Row rows[] = {
    {1, L"2~0~2~s||`0`User %1.`"},
    {2, L"3~0||``Hello.`"},
    {3, L"2~0~2~s|64~255``The user's name is %1.`|``User %1`"},
    {4, L"2~0~~~1||``Hello.`"},
    {5, L"A text for people: not 50 %, ~ or so."},
    {6, L"note: "},
    {7, L"7~"},
};

} // namespace

ZMU_RESOURCE_MODULE_ENTRY int ZRLoadStringW(unsigned int id, wchar_t* buffer, int bufferMax)
{
    if (id == 100)
        std::abort();
    if (id == 101)
        std::exit(0);
    if (id == 102)
        throw id;
    for (const Row& row : rows) {
        if (row.id != id)
            continue;
        SetLastError(zmu::StringFound);
        return std::swprintf(buffer, static_cast<std::size_t>(bufferMax), L"%ls", row.text);
    }
    SetLastError(zmu::StringUnknown);
    return 0;
}
