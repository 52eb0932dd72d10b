#include "Logs.h"

#include <tools/Json.h>
#include <tools/Text.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace zmu_tools::logs {

namespace {

constexpr int lookInterval = 1000; // milliseconds
constexpr int settlingMs = 20;
constexpr int settlingRounds = 5;
constexpr zmu::i64 settlingTime = zmu::i64{settlingMs} * settlingRounds;
constexpr zmu::i64 settledAfter = 2000; // milliseconds since a write that is over
constexpr std::size_t awakeMax = 64;    // logs of which a part is in memory

void tell(const std::string& what)
{
    std::fprintf(stderr, "zmu log: %s\n", harmless(what).c_str());
}

/// Whether a file of a folder is to be read as a log.
bool mayBeLog(const QString& path)
{
    QFile file(path);
    return !file.open(QIODevice::ReadOnly) || // which is told when it is read
           beginsAsLog(file);
}

} // namespace

struct Logs::Source {
    Source(const QString& path, Forms& forms, bool isFollowed)
        : reader(path, forms, isFollowed), note{1, QFileInfo(path).fileName()}
    {
        appendJson(name, path.toStdU16String());
    }

    /// Takes the next entry into `entry`.
    bool take(bool isFinal)
    {
        if (!reader.next(entry, isFinal))
            return false;
        if (const std::optional<SeriesNote> told = seriesNoteOf(entry))
            note = *told;
        return true;
    }

    LogReader reader;
    std::string name;
    Entry entry;
    SeriesNote note;
    bool isLooked = false; ///< In this round of readNew.
    bool isOver = false;   ///< Its successor is among the sources.
};

Logs::Logs(const QStringList& places, Forms& forms, bool isFollowed)
    : m_forms(forms), m_isFollowed(isFollowed), m_successors(forms)
{
    for (const QString& place : places) {
        if (QFileInfo(place).isDir())
            addFolder(place);
        else
            add(place);
    }
    m_sinceLook.start();
}

Logs::~Logs() = default;

void Logs::add(const QString& path)
{
    QString canonical = QFileInfo(path).canonicalFilePath();
    if (canonical.isEmpty())
        canonical = path; // which start tells
    if (m_paths.contains(canonical) || start(path))
        m_paths.insert({path, canonical});
}

bool Logs::start(const QString& path)
try {
    m_sources.push_back(std::make_unique<Source>(path, m_forms, m_isFollowed));
    return true;
} catch (const std::runtime_error& error) {
    tellFailure(error.what());
    return false;
}

void Logs::startAfresh(Source& source)
{
    tell(source.reader.path().toStdString() +
         ": the log was cut or replaced; what is there now is read from its beginning");
    source.isOver = true;
    if (start(source.reader.path()))
        m_sources.back()->note = source.note; // unless it tells another one
}

void Logs::tellFailure(const std::string& what)
{
    m_isAnyUnreadable = true;
    if (m_told.insert(what).second)
        tell(what);
}

void Logs::addFolder(const QString& folder)
{
    m_folders.push_back(folder);
    const std::size_t before = m_sources.size();
    addNewLogs();
    if (m_sources.size() == before && !m_isFollowed) {
        tell(folder.toStdString() + ": there is no log in this folder");
        m_isAnyUnreadable = true;
    }
}

void Logs::addNewLogs()
{
    for (const QString& folder : std::as_const(m_folders)) {
        const QDir place(folder);
        for (const QString& name :
             place.entryList({QStringLiteral("*.html")}, QDir::Files, QDir::Name)) {
            const QString path = place.filePath(name);
            if (!m_paths.contains(path) && mayBeLog(path))
                add(path);
        }
    }
}

// ---- Reading ---------------------------------------------------------------------------------------------

void Logs::merge(const std::function<bool(Source&)>& advance, const Sink& sink)
{
    const auto tryAdvance = [&](Source& source) {
        try {
            return advance(source);
        } catch (const std::runtime_error& error) {
            tellFailure(error.what());
            return false;
        }
    };
    using Turn = std::pair<zmu::i64, std::size_t>; // order and index
    std::vector<Turn> turns;
    std::set<Turn> awake; // if there are so many that some have to rest
    const auto enter = [&](std::size_t index) {
        Source& source = *m_sources[index];
        if (!tryAdvance(source))
            return;
        const Turn turn(source.entry.order, index);
        turns.push_back(turn);
        std::push_heap(turns.begin(), turns.end(), std::greater<>());
        if (m_sources.size() <= awakeMax)
            return;
        awake.insert(turn);
        if (awake.size() > awakeMax) { // the one whose turn comes last
            Source& last = *m_sources[awake.rbegin()->second];
            last.reader.rest(last.entry);
            awake.erase(std::prev(awake.end()));
        }
    };
    for (std::size_t i = 0; i < m_sources.size(); ++i)
        enter(i);
    while (!turns.empty()) {
        std::pop_heap(turns.begin(), turns.end(), std::greater<>());
        const Turn turn = turns.back();
        turns.pop_back();
        awake.erase(turn);
        sink(m_sources[turn.second]->entry, m_sources[turn.second]->name);
        enter(turn.second);
    }
}

bool Logs::advanceSettled(Source& source)
{
    LogReader& log = source.reader;
    for (int round = 0; round < settlingRounds; ++round) {
        if (source.take(false))
            return true;
        if (!log.isUnsure())
            return false;
        if (!log.isWrittenWithin(settledAfter))
            break;
        // The time that was waited for one counts for all.
        if (log.quietTime() < settlingTime)
            QThread::msleep(settlingMs);
        if (!log.refresh() && log.quietTime() >= settlingTime)
            break;
    }
    return source.take(true);
}

void Logs::readAll(const Sink& sink)
{
    merge([this](Source& source) { return advanceSettled(source); }, sink);
}

bool Logs::advanceNew(Source& source, int patience)
{
    LogReader& log = source.reader;
    if (!std::exchange(source.isLooked, true))
        log.refresh();
    if (source.take(log.isGone()))
        return true;
    return log.isUnsure() && log.quietTime() >= patience && source.take(true);
}

void Logs::readNew(const Sink& sink, int patience)
{
    const bool isTimeToLook = m_sinceLook.hasExpired(lookInterval);
    if (isTimeToLook) {
        m_sinceLook.restart();
        addNewLogs();
    }
    for (const auto& source : m_sources)
        source->isLooked = source->isOver;
    merge([&](Source& source) { return !source.isOver && advanceNew(source, patience); }, sink);
    for (std::size_t i = 0, count = m_sources.size(); i < count; ++i) { // those that have been read
        if (!m_sources[i]->isOver && m_sources[i]->reader.isGone())
            startAfresh(*m_sources[i]);
    }

    // Logs of folders are found there. One that may still get entries is not left.
    if (!isTimeToLook || !m_folders.empty())
        return;
    for (std::size_t i = 0, count = m_sources.size(); i < count; ++i) {
        Source& source = *m_sources[i];
        const QString next =
            source.isOver ? QString() : m_successors.find(source.reader, source.note);
        if (next.isEmpty())
            continue;
        source.reader.refresh();
        merge([&source](Source& each) { return &each == &source && each.take(true); }, sink);
        source.isOver = true;
        add(next);
    }
}

bool Logs::tellRaw() const
{
    bool isAny = false;
    for (const auto& source : m_sources) {
        const LogReader& log = source->reader;
        if (log.rawCount() == 0)
            continue;
        isAny = true;
        std::string text = log.path().toStdString();
        const std::string form = log.formName();
        if (form.empty())
            text +=
                ": no form that is at hand finds an entry, so the text is shown as it is; --form "
                "FORM names another form";
        else
            text.append(": what is no entry of ")
                .append(form)
                .append(" is shown as it is, places: ")
                .append(std::to_string(log.rawCount()));
        tell(text);
    }
    return isAny;
}

} // namespace zmu_tools::logs
