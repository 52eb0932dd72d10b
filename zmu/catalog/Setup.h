// What a host does once for the situations of a catalogue: `zmu compile` makes a function `load`
// and a function `setUp` of these, see docs/catalogs.md.
#pragma once

#include <zmu/foundation/Export.h>
#include <zmu/monitor/ZarnTypes.h>
#include <zmu/platform/Host.h>

#include <span>
#include <string_view>

class ZarnData;

namespace zmu::catalog {

/// The module with a catalogue's texts in one language.
struct Translation {
    std::string_view language; ///< For instance "en" or "pt-BR".
    const wchar_t* module;     ///< As LoadLibraryW takes it.
};

/// Loads the texts in the language that the user prefers among `translations`, of which there is
/// at least one. `languages` are tags with colons in between, the best first, as in "de-AT:de:en";
/// empty stands for what the process's environment says, or the user's settings on Windows. A
/// language is served by its own module, else by one of another region; where none is served, or
/// the module is missing, by the first. Null, with the last error, if that is missing, too. The
/// caller keeps the module for as long as somebody may report, and may then give it to FreeLibrary.
ZMU_API HMODULE loadTranslation(std::span<const Translation> translations,
                                std::string_view languages) noexcept;

/// Index of the translation that loadTranslation takes for `languages`, which are not empty.
ZMU_API std::size_t chooseTranslation(std::span<const Translation> translations,
                                      std::string_view languages) noexcept;

/// What the situations of a catalogue need of a data set.
struct Needs {
    int fillers = 0;      ///< Of the situation with most.
    int recordedInts = 0; ///< Slots; and so on.
    int recordedUnsigneds = 0;
    int recordedTexts = 0;
};

/// Prepares `settings`, before it becomes a monitor's, for situations whose texts are in `texts`
/// (null leaves the data set's module), with `plugIns` as the first rows of its table. False if
/// that is too late, or if there is a table already and it has fewer rows; nobody's row is replaced
/// by a null.
ZMU_API bool setUp(ZarnData& settings, HMODULE texts, const Needs& needs,
                   std::span<const ZarnPlugIn> plugIns) noexcept;

} // namespace zmu::catalog
