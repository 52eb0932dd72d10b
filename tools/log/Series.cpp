#include "Series.h"

#include "Markup.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QUrl>

#include <algorithm>
#include <stdexcept>

namespace zmu_tools::logs {

namespace {

constexpr int seriesNote = 10006;
constexpr int lossNote = 10014; // the same with the number of situations that no log has

/// What the first link of a tail leads to; empty without one.
QString linkedFrom(const LogReader& log)
{
    constexpr TextView opening = u"<a href=\"";
    TextView tail = log.tail();
    const std::size_t begin = tail.find(opening);
    if (begin == nowhere)
        return {};
    tail.remove_prefix(begin + opening.size());
    const std::u16string address = withoutEntities(tail.substr(0, tail.find(u'"')));
    const QUrl base = QUrl::fromLocalFile(QFileInfo(log.path()).absoluteFilePath());
    return base.resolved(QUrl(QString::fromStdU16String(address))).toLocalFile();
}

} // namespace

std::optional<SeriesNote> seriesNoteOf(const Entry& entry)
{
    static const QRegularExpression pattern(QStringLiteral("#(\\d{1,9})\\b.*?([^/\\\\]+\\.html)"),
                                            QRegularExpression::DotMatchesEverythingOption);
    if (entry.situation != seriesNote && entry.situation != lossNote)
        return {};
    const QString text = QString::fromStdU16String(plainText(entry.description()));
    const QRegularExpressionMatch match = pattern.match(text);
    if (!match.hasMatch())
        return {};
    return SeriesNote{match.captured(1).toInt(), match.captured(2)};
}

QString SuccessorSearch::find(const LogReader& log, const SeriesNote& note)
{
    const QFileInfo here(log.path());
    if (const QFileInfo linked(linkedFrom(log)); linked.isFile() && linked != here)
        return linked.filePath();
    const QFileInfoList files =
        QDir(here.absolutePath())
            .entryInfoList({QStringLiteral("*.html")}, QDir::Files, QDir::Name);
    const auto next = std::find_if(files.begin(), files.end(), [&](const QFileInfo& file) {
        const bool isOlder = here.exists() && file.lastModified() < here.lastModified();
        if (file == here || isOlder)
            return false;
        const std::optional<SeriesNote> its = noteOf(file.filePath());
        return its && its->origin == note.origin && its->number == note.number + 1;
    });
    return next == files.end() ? QString() : next->filePath();
}

std::optional<SeriesNote> SuccessorSearch::noteOf(const QString& path)
{
    if (const auto known = m_notes.find(path); known != m_notes.end())
        return known->second;
    try {
        LogReader log(path, m_forms, false);
        Entry entry;
        if (log.next(entry, false))
            return m_notes[path] = seriesNoteOf(entry);
    } catch (const std::runtime_error&) {
        // gone again
    }
    return {};
}

} // namespace zmu_tools::logs
