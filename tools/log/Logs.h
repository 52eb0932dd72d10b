// Several logs read as one, by the time of their entries; and what is added to them.
#pragma once

#include "LogReader.h"
#include "Series.h"

#include <QElapsedTimer>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace zmu_tools::logs {

/// Takes an entry of the log of that name, which is a text of JSON.
using Sink = std::function<void(const Entry& entry, const std::string& logName)>;

class Logs {
  public:
    /// `places` are logs and folders of logs. A log that cannot be read is told at once, and counts
    /// as unreadable. `forms` outlives it.
    Logs(const QStringList& places, Forms& forms, bool isFollowed);
    ~Logs();

    /// Gives all entries that there are, each log's in their order, and whichever comes first of
    /// several logs. What may be half an entry is looked at again before it is given.
    void readAll(const Sink& sink);

    /// Gives what has been added since the last call, and goes over to successors. What may be half
    /// an entry is given when it has not changed for `patience` milliseconds. A log that was cut,
    /// or in whose place is another one, is told and read from its beginning.
    void readNew(const Sink& sink, int patience = 2000);

    bool isAnyUnreadable() const { return m_isAnyUnreadable; }
    /// Tells, on standard error, of texts that were no entries. False if there were none.
    bool tellRaw() const;

  private:
    struct Source;

    void add(const QString& path);
    bool start(const QString& path);
    void startAfresh(Source& source);
    void tellFailure(const std::string& what);
    void addFolder(const QString& folder);
    void merge(const std::function<bool(Source&)>& advance, const Sink& sink);
    bool advanceSettled(Source& source);
    bool advanceNew(Source& source, int patience);
    void addNewLogs();

    Forms& m_forms;
    bool m_isFollowed;
    bool m_isAnyUnreadable = false;
    QStringList m_folders;
    std::vector<std::unique_ptr<Source>> m_sources;
    std::set<QString> m_paths;    ///< Of logs that were added: as they were named, and canonical.
    std::set<std::string> m_told; ///< What failed, which is told once.
    SuccessorSearch m_successors;
    QElapsedTimer m_sinceLook; ///< For new logs.
};

} // namespace zmu_tools::logs
