// Where a log goes on when it was full, or taken away.
#pragma once

#include "LogReader.h"

#include <QString>

#include <map>
#include <optional>

namespace zmu_tools::logs {

/// What the first entry of a successor tells of its series.
struct SeriesNote {
    int number = 1;
    QString origin; ///< File name of the first log.
};

/// The note that an entry is, if it is one.
std::optional<SeriesNote> seriesNoteOf(const Entry& entry);

/// Finds the log after a given one.
class SuccessorSearch {
  public:
    explicit SuccessorSearch(Forms& forms) : m_forms(forms) {}

    /// The log that `log` names behind its entries; or the one of its folder that names itself the
    /// next of its series, of which `note` tells. Empty while there is none.
    QString find(const LogReader& log, const SeriesNote& note);

  private:
    std::optional<SeriesNote> noteOf(const QString& path);

    Forms& m_forms;
    std::map<QString, std::optional<SeriesNote>> m_notes; ///< Of logs that have a first entry.
};

} // namespace zmu_tools::logs
