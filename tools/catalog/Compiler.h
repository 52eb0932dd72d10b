// What a catalogue compiles to: for each situation a response spec in each language, and what its
// call has to hand over for it.
#pragma once

#include "Catalog.h"

#include <string>
#include <vector>

namespace zmu_tools {

/// One filler of a spec, made of an argument of the call. A text that both display and log show
/// travels twice, since the log's must be made fit for HTML.
struct Filler {
    enum class Form {
        Number, ///< A 32-bit number as it is.
        Plain,  ///< A text as it is.
        Html,   ///< A text made fit for HTML.
        Digits, ///< A number as text, in the format `asked`.
    };

    int argument = 0;
    Form form = Form::Number;
    Format asked;            ///< Of digits; without width and alignment, which the spec sees to.
    std::size_t longest = 0; ///< Elements of a text that the call hands over at most.
    int slot = 0;            ///< Of a recorded argument, among those of its kind.
    bool isFlexible = false; ///< Of a text: nobody has told how long it may be on the display.
};

struct CompiledSituation {
    std::vector<Filler> fillers; ///< Of the arguments in their order first, then of further forms.
    std::vector<std::string> specs; ///< By language; UTF-8.
};

/// Compiles the situations of `catalog` in their order, those that are sound. Told are texts that
/// the buffers of the library do not hold with the longest arguments, and if there are no mistakes
/// at all, what the library's own engine has against a spec.
std::vector<CompiledSituation> compile(const Catalog& catalog, Findings& findings);

/// The letter by which a spec calls a filler: u, d or s.
char letterOf(const Filler& filler, const Situation& situation);

} // namespace zmu_tools
