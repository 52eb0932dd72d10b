// Reads the entries of one log, in order, also while it is written.
#pragma once

#include "Form.h"
#include "Splitter.h"

#include <zmu/foundation/Types.h>

#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QString>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zmu_tools::logs {

/// An entry, or a text that is none. Its views are good until the reader's next call.
struct Entry {
    TextView text;                 ///< As it stands in the log.
    const Pattern* body = nullptr; ///< Null for a text that is no entry.
    std::vector<TextView> values;  ///< By hole of the body.
    std::optional<zmu::i64> time; ///< Local time in milliseconds since 1970, if the entry tells it.
    zmu::i64 order = 0;           ///< The same, or that of an entry before it.
    std::optional<int> situation;

    /// What stands for a variable; nothing if the body does not have it.
    std::optional<TextView> value(Zarn_FORM_VAR variable) const;
    /// What the log tells of the situation.
    TextView description() const;
};

/// Whether a file that was opened begins as a log does.
bool beginsAsLog(QIODevice& file);

/// A log is read piece by piece, so that many can be open.
class LogReader {
  public:
    /// `forms` outlives it. A log that is followed goes on with what is written later. It stays
    /// open while it is written, so that its end is read although it was renamed; one at which
    /// nobody writes is opened when it has changed.
    LogReader(const QString& path, Forms& forms, bool isFollowed);

    /// The next entry. False if there is none for now: at the tail, or where an entry seems to be
    /// written at this moment, which `isUnsure` tells. With `isFinal` there is no such moment: what
    /// is there is an entry, the tail, or shown as it is, though not taken for read if the log is
    /// followed. Throws std::runtime_error if the log cannot be read.
    bool next(Entry& entry, bool isFinal);
    bool isUnsure() const { return m_isUnsure; }

    /// Looks at the file again. True if it has changed.
    bool refresh();
    /// Whether a look at a log that is followed has shown that what was read of it is there no
    /// more, or that another file has its name, and nothing was added to this one.
    bool isGone() const { return m_isGone; }
    /// For how many milliseconds the end of the log has been as it is, as far as it was looked at.
    zmu::i64 quietTime() const { return m_sinceNew.elapsed(); }
    /// Whether the file was written within the last `milliseconds`, by the system's clock.
    bool isWrittenWithin(zmu::i64 milliseconds) const;

    /// Gives up what is in memory until the next call; `entry`, which is the last one, stays good.
    void rest(Entry& entry);

    const QString& path() const { return m_path; }
    /// What stands behind the last entry.
    TextView tail() const { return m_tail; }
    /// Number of texts that were no entries.
    int rawCount() const { return m_rawCount; }
    /// The form that the log is read with, for messages.
    std::string formName() const { return m_form ? m_form->name : std::string(); }

  private:
    struct Fit {
        std::size_t explained = 0;
        std::size_t firstEntry = nowhere; ///< Where it begins, if that is no guess.
    };

    void open();
    void load(std::size_t units);
    bool isSettled(QByteArray& bytes);
    void decode(const QByteArray& bytes);
    std::u16string unitsOf(const QByteArray& bytes) const;
    void dropTaken();
    bool isWhatWasSeen();
    bool isOtherFile();
    bool take(Entry& entry, bool isFinal);
    bool chooseForm();
    Fit fitOf(const Form& form) const;
    Splitter& splitter();
    bool takeHead();
    void takeEntry(Entry& entry, const Part& part);
    void takeRaw(Entry& entry, const Part& part);
    bool needMore();
    Ending ending() const;

    QString m_path;
    Forms& m_forms;
    bool m_isFollowed;
    QFile m_file;
    bool m_isWide = true;     ///< UTF-16; anything else is taken for UTF-8 and read whole.
    bool m_isSwapped = false; ///< The other byte order.
    std::u16string m_text;    ///< What is in memory.
    std::u16string m_seen;    ///< The last that stood before it.
    std::u16string m_kept;    ///< The text of the entry with which the log rests.
    bool m_isResting = false;
    bool m_isGone = false;
    QElapsedTimer m_sinceNew;
    std::size_t m_begin = 0;  ///< Where that begins, in units of the log.
    std::size_t m_at = 0;     ///< What is to be taken next.
    std::size_t m_length = 0; ///< Units that were asked for.
    zmu::i64 m_size = -1;     ///< Bytes that the file had then.
    QDateTime m_changed;      ///< When it had been written last.
    zmu::i64 m_firstSize = 0; ///< When it was opened.
    bool m_isAtEnd = false;   ///< They were all that there are.
    bool m_isTorn = false;    ///< More was written while they were read.
    bool m_isFinal = false;
    bool m_isUnsure = false;
    bool m_isHeadTaken = false;
    bool m_hasEntries = false;  ///< The form has proved itself.
    bool m_isRestShown = false; ///< What ends a followed log and is no entry.

    std::unique_ptr<Form> m_form;
    std::optional<Splitter> m_splitter; ///< Of what is in memory.
    int m_situationHole = -1;
    std::vector<int> m_timeHoles;    ///< Of the body, by part of the time; -1 for none.
    std::optional<zmu::i64> m_start; ///< What the head tells.
    zmu::i64 m_lastTime = 0;
    std::u16string m_tail;
    int m_rawCount = 0;
};

} // namespace zmu_tools::logs
