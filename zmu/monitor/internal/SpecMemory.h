// What was learned from response specs, for situations that are reported again.
#pragma once

#include <zmu/monitor/ZarnArguments.h>
#include <zmu/monitor/internal/MessagePieces.h>
#include <zmu/platform/Win32.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cwchar>
#include <string_view>

namespace zmu {

/// What else than its text decides what a spec means.
struct SpecSettings {
    wchar_t fieldSeparator = 0;
    wchar_t groupSeparator = 0;
    wchar_t recordSeparator = 0;
    wchar_t dupeOp = 0;
    int displayWidth = 0;
    int logWidth = 0;
    int fillersQty = 0;
    int plugInsQty = 0;

    bool operator==(const SpecSettings&) const = default;
};

/// A spec that was parsed without a failure: its text, and what the parsers have made of it.
struct LearnedSpec {
    static constexpr std::size_t textQty = 256;
    static constexpr int fillersQty = 16;
    static constexpr int plugInsQty = 8;

    // What it was learned from.
    HMODULE module = nullptr;
    int situationID = 0;
    bool isLearned = false; ///< Else it is in the making.
    SpecSettings settings;
    std::size_t length = 0;
    wchar_t text[textQty];

    // The header.
    unsigned int approvalKind = 0;
    u64 responseTraits = 0;
    int argSource = 0;
    int fillersCount = 0; ///< 0 also where the header has no list of them.
    struct Filler {
        wchar_t letter;
        int slot; ///< Of a recorded argument.
    };
    Filler fillers[fillersQty];
    int plugInsCount = 0;
    int plugIns[plugInsQty];

    // The log description.
    std::wstring_view logFormat; ///< Within the text, as the next one.
    int logWidth = 0;
    bool hasLogPieces = false;
    MessagePieces<wchar_t, textQty, fillersQty> logPieces;

    // The display description.
    std::wstring_view displayFormat;
    int displayWidth = 0;
    bool isDisplayDupe = false;
    unsigned int dialogType = 0;
    int dialogSpecA = 0;
    int dialogSpecB = 0;
    bool isDisplayProven = false;     ///< Its inserts can be filled where the fillers are
    SlotKind provenKinds[fillersQty]; ///< of these kinds.
};

/// The specs that a data set has parsed last, 32 at most. A spec has one place, which it shares
/// with others by its number and its module. It is found by its text, so that one that the module
/// changes is another one at once; one that is longer than its room is not kept. Used under the
/// data set's lock.
class SpecMemory {
  public:
    /// The spec that was learned from `text` under these circumstances, or room to learn it, which
    /// is then no longer another's. Null for a text that is too long.
    LearnedSpec* find(HMODULE module, int situationID, const SpecSettings& settings,
                      std::wstring_view text)
    {
        if (text.size() > LearnedSpec::textQty)
            return nullptr;
        LearnedSpec& spec = m_specs[placeOf(module, situationID)];
        if (spec.isLearned && spec.situationID == situationID && spec.module == module &&
            spec.settings == settings && spec.length == text.size() &&
            std::wmemcmp(spec.text, text.data(), text.size()) == 0)
            return &spec;
        spec.isLearned = false;
        spec.module = module;
        spec.situationID = situationID;
        spec.settings = settings;
        spec.length = text.copy(spec.text, text.size());
        return &spec;
    }

    /// Forgets all that `module` has served.
    void forget(HMODULE module)
    {
        for (LearnedSpec& spec : m_specs)
            spec.isLearned = spec.isLearned && spec.module != module;
    }

  private:
    static constexpr std::uintptr_t specsQty = 32;

    static std::size_t placeOf(HMODULE module, int situationID)
    {
        constexpr int alignment = 12; // about that of what a handle points to
        return ((reinterpret_cast<std::uintptr_t>(module) >> alignment) +
                static_cast<std::uintptr_t>(situationID)) %
               specsQty;
    }

    LearnedSpec m_specs[specsQty];
};

} // namespace zmu
