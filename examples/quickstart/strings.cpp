// The texts of the quickstart: a resource module, written against one header.
//
// A response spec reads HEADER|DISPLAY|LOG. Taking Started apart:
//
//     2~536870912~2~u`s`u`s~0`1 kind 2; traits: level 1 where the default criteria allow 15;
//                               arguments from the cursor; unsigned, string, unsigned, string;
//                               plug-ins 0 and 1
//     64~255`4`session ...`     style word 64 for the display function; width 255: no wrapping;
//                               affix 4 in front
//     `0`Session ...`           default width, affix 0 in front
//
// An affix in front tells the severity: note, good, warning or fault, by the same word in the log,
// whose form has a look and a filter for each, and on the display.
//
// The log is HTML, so it takes the command that the host has made fit for it (%4); the terminal
// takes the command as it is (%2).
#include "Situations.h"

#include <zmu/localize/ResourceModule.h>

#include <cwchar>

namespace {

struct Row {
    unsigned int id;
    const wchar_t* text;
};

// clang-format off
constexpr Row rows[] = {
    {situation::AllStart, L"2~536870912~2~u~0|64~255`4`sessions to launch: %1!u!`|`0`Sessions to launch: %1!u!.`"},
    {situation::Started, L"2~536870912~2~u`s`u`s~0`1"
                         L"|64~255`4`session %3!u! started as process %1!u!: %2!s!`"
                         L"|`0`Session %3!u! started as process %1!u!: <code>%4!s!</code>`"},
    {situation::Stopped, L"2~536870912~2~u`s`u~1||`0`Process %1!u! of session %3!u! has stopped.`"},
    {situation::NotStarted, L"2~536870912~2~u`s`s`s`s`s~0"
                            L"|16~255`7`session %1!u! could not start: %3!s!: %5!s!`"
                            L"|`3`Session %1!u! could not start: <code>%2!s!</code><br>%4!s! (%6!s!)`"},
    {situation::Ended, L"2~536870912~1~u0`u1`s0`s1~0"
                       L"|64~255`5`session %1!u! ended: %4!s!`"
                       L"|`1`Session %1!u!, process %2!u!, ended with status 0: <code>%3!s!</code>`"},
    {situation::Failed, L"2~536870912~1~u0`u1`s0`s1`d0~0"
                        L"|48~255`6`session %1!u! ended with status %5!d!: %4!s!`"
                        L"|`2`Session %1!u!, process %2!u!, ended with status %5!d!: <code>%3!s!</code>`"},
    {situation::Killed, L"2~536870912~1~u0`u1`s0`s1`d0~0"
                        L"|16~255`7`session %1!u! was ended by signal %5!d!: %4!s!`"
                        L"|`3`Session %1!u!, process %2!u!, was ended by signal %5!d!: <code>%3!s!</code>`"},
    {situation::AllOver, L"2~536870912~2~u`u`u~0"
                         L"|64~255`4`all over: %1!u! ended well, %2!u! failed, %3!u! could not start`"
                         L"|`0`All sessions are over: %1!u! ended well, %2!u! failed, %3!u! could not start.`"},

    // Affixes 0 to 3, for the log.
    {affixID_Min + 0, L"<b class=\"note\">note</b> "},
    {affixID_Min + 1, L"<b class=\"good\">good</b> "},
    {affixID_Min + 2, L"<b class=\"warning\">warning</b> "},
    {affixID_Min + 3, L"<b class=\"fault\">fault</b> "},
    // Affixes 4 to 7, for the display.
    {affixID_Min + 4, L"note     "},
    {affixID_Min + 5, L"good     "},
    {affixID_Min + 6, L"warning  "},
    {affixID_Min + 7, L"fault    "},
};
// clang-format on
static_assert(affixIDsQty == 8);

} // namespace

ZMU_RESOURCE_MODULE_ENTRY int ZRLoadStringW(unsigned int id, wchar_t* buffer, int bufferMax)
{
    for (const Row& row : rows) {
        if (row.id != id)
            continue;
        const std::size_t length = std::wcslen(row.text);
        if (bufferMax < 1 || length >= static_cast<std::size_t>(bufferMax)) {
            SetLastError(122); // too small a buffer
            return 0;
        }
        std::wmemcpy(buffer, row.text, length + 1);
        SetLastError(zmu::StringFound);
        return static_cast<int>(length);
    }
    SetLastError(zmu::StringUnknown);
    return 0;
}
