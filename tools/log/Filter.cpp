#include "Filter.h"

#include "Output.h"

#include <QDateTime>

#include <algorithm>

namespace zmu_tools::logs {

namespace {

constexpr zmu::i64 second = 1000;
constexpr zmu::i64 minute = 60 * second;
constexpr zmu::i64 hour = 60 * minute;
constexpr zmu::i64 day = 24 * hour;

std::optional<TimeSpan> spanFrom(const QDate& date, const QRegularExpressionMatch& clock)
{
    if (!date.isValid())
        return {};
    const zmu::i64 begin = QDate(1970, 1, 1).daysTo(date) * day;
    if (clock.captured(QStringLiteral("h")).isEmpty())
        return TimeSpan(begin, begin + day);
    const QString seconds = clock.captured(QStringLiteral("s"));
    const QString fraction = clock.captured(QStringLiteral("f"));
    const int parts[] = {clock.captured(QStringLiteral("h")).toInt(),
                         clock.captured(QStringLiteral("m")).toInt(), seconds.toInt()};
    if (!QTime::isValid(parts[0], parts[1], parts[2]))
        return {};
    const zmu::i64 moment = begin + parts[0] * hour + parts[1] * minute + parts[2] * second +
                            fraction.leftJustified(3, QLatin1Char('0')).toInt();
    if (seconds.isEmpty())
        return TimeSpan(moment, moment + minute);
    return TimeSpan(moment, moment + (fraction.isEmpty() ? second : 1));
}

} // namespace

std::optional<TimeSpan> parseMoment(const std::string& text, zmu::i64 now)
{
    static const QRegularExpression moment(
        QStringLiteral("^(?<date>\\d{4}-\\d\\d-\\d\\d)?((^|[T ])(?<h>\\d\\d):(?<m>\\d\\d)"
                       "(:(?<s>\\d\\d)([.,](?<f>\\d{1,3}))?)?)?$"));
    static const QRegularExpression ago(QStringLiteral("^(\\d{1,6})([smhd])$"));
    const QString wanted = QString::fromStdString(text);
    if (const QRegularExpressionMatch match = ago.match(wanted); match.hasMatch()) {
        const char unit = match.captured(2).at(0).toLatin1();
        const zmu::i64 length = unit == 's'   ? second
                                : unit == 'm' ? minute
                                : unit == 'h' ? hour
                                              : day;
        const zmu::i64 then = now - match.captured(1).toLongLong() * length;
        return TimeSpan(then, then);
    }
    const QRegularExpressionMatch match = moment.match(wanted);
    if (!match.hasMatch() || wanted.isEmpty())
        return {};
    const QString date = match.captured(QStringLiteral("date"));
    const zmu::i64 today = now / day;
    return spanFrom(date.isEmpty() ? QDate(1970, 1, 1).addDays(today)
                                   : QDate::fromString(date, Qt::ISODate),
                    match);
}

std::optional<std::pair<int, int>> parseSituations(const std::string& text)
{
    static const QRegularExpression range(QStringLiteral("^(\\d{1,9})(?:-(\\d{1,9}))?$"));
    const QRegularExpressionMatch match = range.match(QString::fromStdString(text));
    if (!match.hasMatch())
        return {};
    const int first = match.captured(1).toInt();
    const int last = match.captured(2).isEmpty() ? first : match.captured(2).toInt();
    return std::pair(first, last);
}

bool Filter::passes(const Entry& entry) const
{
    if (entry.body) {
        if (entry.time && ((since && *entry.time < *since) || (until && *entry.time >= *until)))
            return false;
        const auto contains = [&entry](const std::pair<int, int>& range) {
            return entry.situation && *entry.situation >= range.first &&
                   *entry.situation <= range.second;
        };
        if (!situations.empty() && std::none_of(situations.begin(), situations.end(), contains))
            return false;
    }
    return !text || text->match(QString::fromStdU16String(shownText(entry))).hasMatch();
}

} // namespace zmu_tools::logs
