// A text of a catalogue with its inserts by name: "Session {session} of {user} has started."
#pragma once

#include "Format.h"
#include "LocatedText.h"

#include <set>
#include <string>
#include <vector>

namespace zmu_tools {

/// A stretch of text, or an insert.
struct Piece {
    std::string text; ///< UTF-8; the name of the argument if this is an insert.
    bool isInsert = false;
    std::string format; ///< Behind the insert's colon.
    Place place;
    Place formatPlace;
    int argument = -1; ///< Of an insert that names one: its index.
    Format asked = {}; ///< Of such an insert.
};

struct Message {
    std::vector<Piece> pieces;
    Place place;

    bool isEmpty() const { return pieces.empty(); }
};

/// Where a text is shown, which decides what its line breaks become.
enum class Target { Display, Log };

/// Takes a text apart. Braces that are doubled are braces; a line break is one on the display, and
/// a blank in the log, which is HTML. Told are braces that match nothing, and characters that no
/// response spec can hold.
Message parseMessage(const LocatedText& text, Target target, Findings& findings);

/// Puts the pieces of affixes, which may be null, around a text.
Message surrounded(const Message* prefix, Message text, const Message* suffix);

/// The arguments that a text shows, by their indices.
std::set<int> shownIn(const Message& message);

/// Elements of wide text that UTF-8 takes where an element has 16 bits, as on Windows.
std::size_t wideLength(std::string_view text);

} // namespace zmu_tools
