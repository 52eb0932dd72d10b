// Inserts of message formats: what the checker of inserts and the formatter must agree on.
#pragma once

namespace zmu_test {

/// A format, the slots that it takes and what it makes of them.
struct InsertCase {
    const wchar_t* format;
    /// A letter for each slot from 1: n number, w wide text, a narrow text, - not looked at.
    const char* takes;
    /// With the texts "wide" and "narrow", and 3 for every number.
    const wchar_t* shows;
};

inline constexpr InsertCase insertCases[] = {
    // Texts of both widths.
    {L"%1", "w", L"wide"},
    {L"%1!s!", "w", L"wide"},
    {L"%1!ls!", "w", L"wide"},
    {L"%1!ws!", "w", L"wide"},
    {L"%1!-6s!|", "w", L"wide  |"},
    {L"%1!.2s!", "w", L"wi"},
    {L"%1!hs!", "a", L"narrow"},
    {L"%1!S!", "a", L"narrow"},
    {L"%1!hS!", "a", L"narrow"},
    {L"%1!8hs!", "a", L"  narrow"},
    // Numbers.
    {L"%1!u!%1!d!%1!i!", "n", L"333"},
    {L"%1!x!%1!X!%1!o!", "n", L"333"},
    {L"%1!ld!%1!hu!%1!I64d!%1!lu!", "n", L"3333"},
    {L"%1!03d!", "n", L"003"},
    // Widths and precisions from slots of their own, in front of the insert's.
    {L"%1!*u!", "nn", L"  3"},
    {L"%1!.*s!", "nw", L"wid"},
    {L"%1!*.*s!", "nnw", L"wid"},
    {L"%2!.*hs!", "-na", L"nar"},
    // Numbers of inserts, and what only looks like one.
    {L"%2 %1!u!", "nw", L"wide 3"},
    {L"%10", "---------w", L"wide"},
    {L"%11!u!0", "----------n", L"30"},
    {L"%100", "---------w", L"wide0"},
    {L"%%1 %1!u!", "n", L"%1 3"},
    {L"%%%1!u!%!", "n", L"%3!"},
    {L"a%n%1!u!%.", "n", L"a\r\n3."},
    {L"text%0 %9!hs!", "", L"text"},
    {L"no insert", "", L"no insert"},
};

/// Formats that do not end well: both refuse them, whatever the slots hold.
inline constexpr const wchar_t* unfinishedInserts[] = {
    L"%1!u", L"%1!", L"%1!*u", L"%1!hs", L"fine %1!u! %2!d", L"text %", L"%%%",
};

} // namespace zmu_test
