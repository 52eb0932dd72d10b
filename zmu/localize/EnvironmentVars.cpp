// Environment references, and references in what they stand for.
#include <zmu/localize/ZarnLocalizeHelpers.h>

#include <zmu/platform/Win32.h>

#include <algorithm>
#include <cstddef>

namespace {

/// More passes than any chain of variables has links: names that lead back to each other would
/// otherwise keep a thread for ever.
constexpr int maxPasses = 256;

DWORD expandOnce(const char* source, char* output, DWORD size)
{
    return ExpandEnvironmentStringsA(source, output, size);
}

DWORD expandOnce(const wchar_t* source, wchar_t* output, DWORD size)
{
    return ExpandEnvironmentStringsW(source, output, size);
}

/// Elements before the terminator, `limit` if there is none among so many.
template <class Char>
std::size_t lengthOf(const Char* text, std::size_t limit)
{
    return static_cast<std::size_t>(std::find(text, text + limit, Char()) - text);
}

template <class Char>
Char* expand(Char* source, Char* destination, Char* scratch, u64& length, ulong32 limit)
{
    length = 0;
    if (!source || !destination || !scratch || destination == scratch || limit < 2)
        return nullptr;
    const std::size_t sourceLength = lengthOf(source, limit);
    if (sourceLength == limit)
        return nullptr;
    if (destination != source) {
        std::fill_n(destination, limit, Char());
        std::copy_n(source, sourceLength, destination);
    }
    std::fill_n(scratch, limit, Char());
    if (sourceLength == 0)
        return destination;

    std::size_t current = sourceLength;
    for (int pass = 0; pass < maxPasses; ++pass) {
        const DWORD count = expandOnce(destination, scratch, limit);
        if (count == 0 || count > limit)
            return nullptr;
        std::copy_n(scratch, limit, destination);
        std::fill_n(scratch, limit, Char());
        if (current == count - 1) {
            length = current;
            return destination;
        }
        current = count - 1;
    }
    return nullptr;
}

} // namespace

char* ZarnLocalizeHelpers::expandEnvironmentVarStrsA(char* source, char* destination, char* scratch,
                                                     u64& length, ulong32 limit)
{
    return expand(source, destination, scratch, length, limit);
}

wchar_t* ZarnLocalizeHelpers::expandEnvironmentVarStrsW(wchar_t* source, wchar_t* destination,
                                                        wchar_t* scratch, u64& length,
                                                        ulong32 limit)
{
    return expand(source, destination, scratch, length, limit);
}
