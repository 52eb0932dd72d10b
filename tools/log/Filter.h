// Which entries are wanted.
#pragma once

#include "LogReader.h"

#include <QRegularExpression>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zmu_tools::logs {

/// A span of local time in milliseconds since 1970: from the first to before the second.
using TimeSpan = std::pair<zmu::i64, zmu::i64>;

/// What a moment on the command line means: "2026-11-22", "2026-11-22 14:03" or with seconds and
/// their fractions, "14:03" of today, "90m" ago (s, m, h or d). It lasts as long as what it names:
/// a day, a minute, a second. `now` is local time. Nothing for any other text.
std::optional<TimeSpan> parseMoment(const std::string& text, zmu::i64 now);

/// "1001" or "1001-1010". Nothing for any other text.
std::optional<std::pair<int, int>> parseSituations(const std::string& text);

struct Filter {
    std::vector<std::pair<int, int>> situations; ///< Any if empty.
    std::optional<zmu::i64> since;
    std::optional<zmu::i64> until;
    std::optional<QRegularExpression> text;

    /// A text that is no entry has no situation and no time of its own: it passes by those.
    bool passes(const Entry& entry) const;
};

} // namespace zmu_tools::logs
