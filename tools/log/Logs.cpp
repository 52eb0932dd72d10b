#include "Logs.h"

#include <tools/Json.h>
#include <tools/Text.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <utility>

namespace zmu_tools::logs {

namespace {

constexpr int lookInterval = 1000; // milliseconds
constexpr int settlingMs = 20;
constexpr int settlingRounds = 5;

void tell(const std::string& what)
{
    std::fprintf(stderr, "zmu log: %s\n", harmless(what).c_str());
}

/// Whether a file of a folder is a log, by its first bytes.
bool beginsAsLog(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return true; // which is told when it is read
    const QByteArray mark = file.read(2);
    return mark == "\xFF\xFE" || mark == "\xFE\xFF";
}

} // namespace

struct Logs::Source {
    Source(const QString& path, Forms& forms, bool isFollowed)
        : reader(path, forms, isFollowed), note{1, QFileInfo(path).fileName()}
    {
        appendJson(name, path.toStdU16String());
        sinceChange.start();
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
    QElapsedTimer sinceChange;
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
    const QFileInfo file(path);
    if (std::any_of(m_sources.begin(), m_sources.end(), [&file](const auto& source) {
            return QFileInfo(source->reader.path()) == file;
        }))
        return;
    try {
        m_sources.push_back(std::make_unique<Source>(path, m_forms, m_isFollowed));
    } catch (const std::runtime_error& error) {
        tell(error.what());
        m_isAnyUnreadable = true;
    }
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
            if (beginsAsLog(place.filePath(name)))
                add(place.filePath(name));
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
            tell(error.what());
            m_isAnyUnreadable = true;
            return false;
        }
    };
    struct Turn {
        zmu::i64 order;
        std::size_t index;
        bool operator>(const Turn& other) const
        {
            return std::pair(order, index) > std::pair(other.order, other.index);
        }
    };
    std::vector<Turn> turns;
    const auto enter = [&](std::size_t index) {
        if (!tryAdvance(*m_sources[index]))
            return;
        turns.push_back({m_sources[index]->entry.order, index});
        std::push_heap(turns.begin(), turns.end(), std::greater<>());
    };
    for (std::size_t i = 0; i < m_sources.size(); ++i)
        enter(i);
    while (!turns.empty()) {
        std::pop_heap(turns.begin(), turns.end(), std::greater<>());
        const std::size_t index = turns.back().index;
        turns.pop_back();
        sink(m_sources[index]->entry, m_sources[index]->name);
        enter(index);
    }
}

bool Logs::advanceSettled(Source& source)
{
    for (int round = 0; round < settlingRounds; ++round) {
        if (source.take(false))
            return true;
        if (!source.reader.isUnsure())
            return false;
        QThread::msleep(settlingMs);
        source.reader.refresh();
    }
    return source.take(true);
}

void Logs::readAll(const Sink& sink)
{
    merge([this](Source& source) { return advanceSettled(source); }, sink);
}

bool Logs::advanceNew(Source& source, int patience)
{
    if (!std::exchange(source.isLooked, true) && source.reader.refresh())
        source.sinceChange.restart();
    if (source.take(false))
        return true;
    return source.reader.isUnsure() && source.sinceChange.hasExpired(patience) && source.take(true);
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

    // Logs of folders are found there. One that may still get entries is not left.
    if (!isTimeToLook || !m_folders.empty())
        return;
    for (std::size_t i = 0, count = m_sources.size(); i < count; ++i) { // those that have been read
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
        const std::string form = log.formName();
        const std::string places = std::to_string(log.rawCount());
        tell(log.path().toStdString() + ": " +
             (form.empty()
                  ? "no form that is at hand finds an entry, so the text is shown as it is; "
                    "--form FORM names another form"
                  : "what is no entry of " + form + " is shown as it is, places: " + places));
    }
    return isAny;
}

} // namespace zmu_tools::logs
