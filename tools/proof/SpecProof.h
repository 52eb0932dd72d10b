// Whether the library takes a response spec, before any host reports it.
//
//     SpecRules rules;
//     rules.plugInCount = 2;
//     for (const SpecFinding& finding : proveSpec(L"2~0~2~u||``Session %1!u! of %2.`", {}, rules))
//         std::cerr << described(finding);
//
// A spec goes through the library's own engine, up to the point where its texts would be reported:
// first with the emptiest arguments that its header allows, then with the longest. Each proof has a
// data set and engines of its own, which know no log, no display and no plug-in: nothing is
// written, shown or called, nothing is traced, and no proof knows of another.
#pragma once

#include <zmu/monitor/FailurePlace.h>
#include <zmu/platform/Host.h>

#include <cstddef>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace zmu_tools {

/// What the host of a spec has set up, as far as it decides what a spec may say. As it stands here
/// it is what an owner sets up.
struct SpecRules {
    int fillersQty = 20;  ///< Inserts that a spec can have, 5 to 99.
    int recordedQty = 10; ///< Slots for recorded arguments of each kind, 0 to 99.
    int affixFirst = 0;   ///< ID of the string that is affix 0.
    int affixCount = 0;
    int plugInCount = 0;
    /// Elements of the longest text that an argument can be, at most textLengthMax.
    std::size_t textLength = 256;
    /// The same for single arguments, in their order; the others have textLength.
    std::vector<std::size_t> textLengths;
    /// Elements that the log's text of a situation may have: what the form leaves of an entry.
    std::size_t logRoom = 1023;

    static constexpr std::size_t textLengthMax = 30000;
};

/// What the arguments were when it showed.
enum class Filling { Any, Emptiest, Longest };

/// Something that is wrong with a spec.
struct SpecFinding {
    /// The DX code that the situation would leave; 0 for what the library takes, but nobody means.
    int code = 0;
    bool isWarning = false; ///< The situation is reported all the same.
    std::wstring name;      ///< Of the code; empty without one.
    std::wstring meaning;   ///< What is wrong, and what would be right.
    zmu::FailurePlace::Field field = zmu::FailurePlace::Field::Unknown;
    std::size_t position = 0; ///< In the spec, from 0; its length for something that is missing.
    Filling filling = Filling::Any;
    /// Of an overflow: the length that each text argument may have at most, all having the same.
    std::size_t textLengthMax = noLimit;

    static constexpr std::size_t noLimit = std::numeric_limits<std::size_t>::max();
};

/// Judges `spec`, whose affixes 0, 1 … are `affixes`; rules.affixFirst and affixCount do not count.
/// Empty if all is well. Throws nothing but std::bad_alloc.
std::vector<SpecFinding> proveSpec(std::wstring_view spec, const std::vector<std::wstring>& affixes,
                                   const SpecRules& rules = {});

/// Judges string `id` of `module`, which also has the affixes. Positions are of the text that
/// stringOf gives. A string that the module does not have is a finding.
std::vector<SpecFinding> proveString(HMODULE module, unsigned int id, const SpecRules& rules);

/// Fetches a string, of which more than a spec can have is left out. False if there is none.
bool stringOf(HMODULE module, unsigned int id, std::wstring& text);

/// What is wrong in one line, without a line break: code, name and meaning, and with what arguments
/// it shows. UTF-8, fit for a terminal.
std::string described(const SpecFinding& finding);

/// "header", "display", "log" or "spec".
const char* fieldName(zmu::FailurePlace::Field field);

} // namespace zmu_tools
