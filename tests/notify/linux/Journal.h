// A journal for one test: its own daemon behind the well-known socket, in a view of the file system
// that only this process and its children have.
#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

#include <sys/types.h>

#include <vector>

namespace zmu_test {

class Journal {
  public:
    using Entry = QMap<QString, QByteArray>; ///< Fields by name.

    /// Takes the process into a view of its own, in which no journal runs yet.
    Journal();
    ~Journal();
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    /// Why there is no such view here; empty when there is one.
    const QString& obstacle() const { return m_obstacle; }

    /// Starts the daemon and waits until it listens. Why it does not, or empty.
    QString start();
    void stop();
    /// Halts the daemon, which keeps its socket, and lets it go on.
    void halt() const;
    void resume() const;

    /// The entries with this SYSLOG_IDENTIFIER in their order, as soon as there are as many.
    std::vector<Entry> entries(const char* identifier, std::size_t count) const;
    /// What `journalctl` with these arguments prints about this journal.
    static QByteArray journalctl(const QStringList& arguments);
    /// Makes `catalog` the only message catalog of this view. Whether journalctl has taken it.
    static bool installCatalog(const QString& catalog);

  private:
    QString m_obstacle;
    pid_t m_daemon = -1;
};

} // namespace zmu_test
