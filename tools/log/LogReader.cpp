#include "LogReader.h"

#include <QFileInfo>
#include <QtEndian>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <utility>

namespace zmu_tools::logs {

namespace {

constexpr std::size_t windowUnits = 65536;
constexpr zmu::i64 narrowMax = zmu::i64{32} * 1024 * 1024;
constexpr zmu::i64 busyTime = 60'000; // milliseconds for which a log is kept open
constexpr std::size_t seenMax = 64;   // units by which a log is known again
constexpr zmu::i64 halfDay = zmu::i64{12} * 3600 * 1000; // in milliseconds
constexpr std::size_t unitBytes = sizeof(char16_t);

/// In the order of what takeTime makes of them.
constexpr Zarn_FORM_VAR timeParts[] = {
    Zarn_FORM_VAR_YEAR,    Zarn_FORM_VAR_MONTH,   Zarn_FORM_VAR_DAY,         Zarn_FORM_VAR_HOURS,
    Zarn_FORM_VAR_MINUTES, Zarn_FORM_VAR_SECONDS, Zarn_FORM_VAR_MILLISECONDS};
constexpr int datePartsQty = 3;

/// The hole of a variable that has it to itself, -1 if there is none.
int soleHoleOf(const Pattern& pattern, Zarn_FORM_VAR variable)
{
    const int hole = pattern.holeOf(variable);
    const bool isSole =
        hole >= 0 && pattern.holes()[static_cast<std::size_t>(hole)].variables.size() == 1;
    return isSole ? hole : -1;
}

std::vector<int> timeHolesOf(const Pattern& pattern)
{
    std::vector<int> holes;
    for (const Zarn_FORM_VAR part : timeParts)
        holes.push_back(soleHoleOf(pattern, part));
    return holes;
}

int numberOf(TextView figures)
{
    int number = 0;
    for (const char16_t unit : figures)
        number = number * 10 + (unit - u'0');
    return number;
}

/// Local time in milliseconds. A part of the date that `values` do not tell is that of the moment
/// `base`. Nothing without any part of a time or any such moment, and for a date that does not
/// exist.
std::optional<zmu::i64> timeOf(const std::vector<int>& holes, const std::vector<TextView>& values,
                               std::optional<zmu::i64> base)
{
    using namespace std::chrono;
    const auto isMissing = [](int hole) { return hole < 0; };
    if (std::all_of(holes.begin(), holes.end(), isMissing) ||
        (!base && std::any_of(holes.begin(), holes.begin() + datePartsQty, isMissing)))
        return {};
    const auto day = floor<days>(sys_time<milliseconds>(milliseconds(base.value_or(0))));
    const year_month_day date(day);
    const auto part = [&](std::size_t index, int missing) {
        const int hole = holes[index];
        return hole < 0 ? missing : numberOf(values[static_cast<std::size_t>(hole)]);
    };
    const year_month_day told(year(part(0, int(date.year()))),
                              month(unsigned(part(1, int(unsigned(date.month()))))),
                              std::chrono::day(unsigned(part(2, int(unsigned(date.day()))))));
    if (!told.ok())
        return {};
    const auto time = sys_days(told) + hours(part(3, 0)) + minutes(part(4, 0)) +
                      seconds(part(5, 0)) + milliseconds(part(6, 0));
    return duration_cast<milliseconds>(time.time_since_epoch()).count();
}

} // namespace

std::optional<TextView> Entry::value(Zarn_FORM_VAR variable) const
{
    const int hole = body ? body->holeOf(variable) : -1;
    return hole < 0 ? std::nullopt : std::optional(values[static_cast<std::size_t>(hole)]);
}

TextView Entry::description() const
{
    return value(Zarn_FORM_VAR_SITUATION_DSCRP).value_or(TextView());
}

bool beginsAsLog(QIODevice& file)
{
    const QByteArray mark = file.read(unitBytes);
    return mark == "\xFF\xFE" || mark == "\xFE\xFF";
}

LogReader::LogReader(const QString& path, Forms& forms, bool isFollowed)
    : m_path(path), m_forms(forms), m_isFollowed(isFollowed), m_file(path)
{
    load(windowUnits);
    m_firstSize = m_size;
}

// ---- The file --------------------------------------------------------------------------------------------

void LogReader::open()
{
    if (m_file.isOpen())
        return;
    const QFileInfo info(m_path);
    if (info.exists() && !info.isFile()) // a pipe, for one, could keep us waiting
        throw std::runtime_error(m_path.toStdString() + ": this is no file");
    if (!m_file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        throw std::runtime_error(m_path.toStdString() + ": " + m_file.errorString().toStdString());
}

void LogReader::load(std::size_t units)
{
    open();
    dropTaken();
    m_tail.clear();
    m_isResting = false;
    m_length = units;
    m_size = m_file.size();
    m_changed = m_file.fileTime(QFileDevice::FileModificationTime);
    m_sinceNew.start();
    if (m_begin == 0) {
        m_file.seek(0);
        const QByteArray mark = m_file.read(unitBytes);
        m_isSwapped = mark == "\xFE\xFF";
        m_isWide = m_isSwapped || mark == "\xFF\xFE";
    }
    if (!m_isWide && m_size > narrowMax)
        throw std::runtime_error(m_path.toStdString() +
                                 ": this is no log: it is not in UTF-16, and too large");
    const zmu::i64 wanted = m_isWide ? zmu::i64(units * unitBytes) : narrowMax;
    m_file.seek(m_isWide ? zmu::i64(m_begin * unitBytes) : 0);
    QByteArray bytes = m_file.read(wanted);
    if (m_file.error() == QFileDevice::ReadError)
        throw std::runtime_error(m_path.toStdString() + ": " + m_file.errorString().toStdString());
    m_isAtEnd = !m_isWide || bytes.size() < wanted;
    m_isTorn = m_isWide && !isSettled(bytes);
    if (!m_isFollowed || !isWrittenWithin(busyTime))
        m_file.close();
    decode(bytes);
    if (m_begin == 0 && m_text.starts_with(u'\ufeff'))
        m_at = 1;
}

/// Whether nothing was written where `bytes` come from while they were read. If so they are cut to
/// what was the same all the time: a read that meets a write can give a part from before and one
/// from after it.
bool LogReader::isSettled(QByteArray& bytes)
{
    constexpr zmu::i64 rewritten = 16384; // at the end of a log, and more than any tail
    const auto begin = zmu::i64(m_begin * unitBytes);
    if (begin + bytes.size() + rewritten < m_size)
        return true;
    m_file.seek(begin);
    const QByteArray again = m_file.read(bytes.size());
    const auto differing = std::mismatch(bytes.begin(), bytes.end(), again.begin(), again.end());
    if (differing.first == bytes.end())
        return true;
    const auto same = differing.first - bytes.begin();
    bytes.truncate(same - same % qsizetype(unitBytes));
    m_isAtEnd = true;
    return false;
}

void LogReader::decode(const QByteArray& bytes)
{
    if (m_isWide) {
        m_text = unitsOf(bytes);
        return;
    }
    m_text = QString::fromUtf8(bytes).toStdU16String();
    m_text.erase(0, m_begin);
}

std::u16string LogReader::unitsOf(const QByteArray& bytes) const
{
    const auto count = std::size_t(bytes.size()) / unitBytes;
    std::u16string units(count, u'\0');
    if (m_isSwapped)
        qFromBigEndian<char16_t>(bytes.constData(), qsizetype(count), units.data());
    else
        qFromLittleEndian<char16_t>(bytes.constData(), qsizetype(count), units.data());
    if (std::size_t(bytes.size()) % unitBytes != 0)
        units += u'\ufffd'; // half a unit, the last that was written
    return units;
}

/// Forgets what was taken but for its end.
void LogReader::dropTaken()
{
    m_splitter.reset();
    m_seen.append(m_text, m_at > seenMax ? m_at - seenMax : 0, std::min(m_at, seenMax));
    m_seen.erase(0, m_seen.size() - std::min(m_seen.size(), seenMax));
    m_text.erase(0, m_at);
    m_begin += m_at;
    m_at = 0;
}

void LogReader::rest(Entry& entry)
{
    const TextView before = entry.text;
    m_kept = std::u16string(before);
    entry.text = m_kept;
    for (TextView& value : entry.values) {
        const std::size_t offset = value.empty() ? 0 : std::size_t(value.data() - before.data());
        value = entry.text.substr(offset, value.size());
    }
    dropTaken();
    m_text = {};
    m_isResting = true;
}

bool LogReader::isWrittenWithin(zmu::i64 milliseconds) const
{
    return m_changed.msecsTo(QDateTime::currentDateTime()) < milliseconds;
}

/// Whether the log still has, in front of what is in memory, what was read there.
bool LogReader::isWhatWasSeen()
{
    if (!m_isWide)
        return m_file.size() >= m_size;
    m_file.seek(zmu::i64((m_begin - m_seen.size()) * unitBytes));
    return unitsOf(m_file.read(zmu::i64(m_seen.size() * unitBytes))) == m_seen;
}

/// Whether the path leads to another file than the open one, to which nothing was added.
bool LogReader::isOtherFile()
{
    const auto isUnchanged = [this](const auto& file) {
        return file.size() == m_size &&
               file.fileTime(QFileDevice::FileModificationTime) == m_changed;
    };
    const QFileInfo there(m_path);
    return m_file.isOpen() && there.exists() && !isUnchanged(there) && isUnchanged(m_file);
}

bool LogReader::refresh()
{
    const QFileInfo there(m_path);
    const bool isThere = m_file.isOpen() || there.exists();
    const zmu::i64 size = m_file.isOpen() ? m_file.size() : there.size();
    const QDateTime changed = m_file.isOpen() ? m_file.fileTime(QFileDevice::FileModificationTime)
                                              : there.fileTime(QFileDevice::FileModificationTime);
    if (m_isFollowed && isOtherFile())
        m_isGone = true;
    // An entry that was begun can be as long as the tail that it went over.
    if (!isThere || (!m_isUnsure && size == m_size && changed == m_changed))
        return false;
    dropTaken();
    const std::u16string before = std::move(m_text);
    m_text.clear();
    if (!m_hasEntries && m_rawCount == 0) { // other forms may fit better now
        m_form.reset();
        m_begin = 0;
        m_seen.clear();
        m_isHeadTaken = false;
    }
    if (m_isFollowed) {
        open();
        if (!isWhatWasSeen()) {
            m_isGone = m_isAtEnd = true;
            return false;
        }
    }
    const QElapsedTimer sinceNew = m_sinceNew;
    const zmu::i64 sizeBefore = m_size;
    const QDateTime changedBefore = m_changed;
    load(windowUnits);
    const bool isNew = size != sizeBefore || changed != changedBefore || !m_text.ends_with(before);
    if (!isNew)
        m_sinceNew = sinceNew;
    m_isRestShown = m_isRestShown && !isNew;
    return isNew;
}

/// Takes more of the file into memory. False if that is all there is.
bool LogReader::needMore()
{
    if (m_isAtEnd)
        return false;
    load(m_at > 1 ? windowUnits : 2 * m_length);
    return true;
}

Ending LogReader::ending() const
{
    if (!m_isAtEnd)
        return Ending::Window;
    return m_isFinal && !m_isTorn ? Ending::Final : Ending::Live;
}

// ---- The form --------------------------------------------------------------------------------------------

/// How much of what is in memory the form explains.
LogReader::Fit LogReader::fitOf(const Form& form) const
{
    Splitter splitter(form, m_text, ending());
    std::vector<TextView> values;
    Fit fit;
    Part part = splitter.head(m_at, values);
    const bool isSure = (part.kind == Part::Kind::Head && form.head.hasBeginning()) ||
                        form.body.hasStrongBeginning();
    for (;; part = splitter.next(part.end, values)) {
        switch (part.kind) {
        case Part::Kind::Entry:
            if (isSure)
                fit.firstEntry = std::min(fit.firstEntry, part.begin);
            [[fallthrough]];
        case Part::Kind::Head:
            fit.explained += part.end - part.begin;
            [[fallthrough]];
        case Part::Kind::UnknownHead:
        case Part::Kind::Raw:
        case Part::Kind::Zeros:
            if (part.end < m_text.size())
                continue;
            return fit;
        case Part::Kind::Tail:
            fit.explained += part.end - part.begin;
            return fit;
        default:
            return fit;
        }
    }
}

/// Chooses the form that explains most. False if none explains anything.
bool LogReader::chooseForm()
{
    std::size_t most = 0;
    std::size_t firstEntry = m_text.size();
    const auto tryForm = [&](const Sections& sections) {
        for (const LineEnds lineEnds :
             {LineEnds::AsTheyAre, LineEnds::LineFeeds, LineEnds::Complete}) {
            auto form = std::make_unique<Form>(sections, lineEnds);
            const Fit fit = fitOf(*form);
            firstEntry = std::min(firstEntry, fit.firstEntry);
            if (fit.explained <= most)
                continue;
            most = fit.explained;
            m_form = std::move(form);
        }
    };
    for (const Sections& sections : m_forms.formsFor(m_path))
        tryForm(sections);
    // What stands in an entry may be anybody's, and does not say how the log is read.
    if (m_forms.mayBeStated()) {
        if (const std::optional<Sections> stated =
                statedForm(TextView(m_text).substr(0, firstEntry)))
            tryForm(*stated);
    }
    if (!m_form)
        return false;
    m_timeHoles = timeHolesOf(m_form->body);
    m_situationHole = soleHoleOf(m_form->body, Zarn_FORM_VAR_SITUATION_ID);
    m_splitter.reset();
    return true;
}

bool LogReader::takeHead()
{
    std::vector<TextView> values;
    const Part part = splitter().head(m_at, values);
    if (part.kind == Part::Kind::More || part.kind == Part::Kind::Unsure)
        return false;
    if (part.kind == Part::Kind::Head)
        m_start = timeOf(timeHolesOf(m_form->head), values, {});
    if (part.kind != Part::Kind::Raw)
        m_at = part.end;
    m_isHeadTaken = true;
    m_lastTime = m_start.value_or(0);
    return true;
}

Splitter& LogReader::splitter()
{
    if (!m_splitter)
        m_splitter.emplace(*m_form, m_text, ending());
    return *m_splitter;
}

// ---- Entries ---------------------------------------------------------------------------------------------

bool LogReader::next(Entry& entry, bool isFinal)
{
    if (m_isResting)
        load(windowUnits);
    if (take(entry, isFinal))
        return true;
    dropTaken();
    m_text.shrink_to_fit(); // many logs may be at their end
    return false;
}

bool LogReader::take(Entry& entry, bool isFinal)
{
    if (std::exchange(m_isFinal, isFinal) != isFinal)
        m_splitter.reset();
    m_isUnsure = false;
    entry = {};
    entry.order = m_lastTime;
    for (;;) {
        if (m_at >= m_text.size() && !needMore())
            return false;
        if (!m_isFollowed && zmu::i64((m_begin + m_at) * unitBytes) >= m_firstSize && m_isWide)
            return false; // a writer need not be chased
        if (!m_form && !chooseForm()) {
            if (!m_isAtEnd && m_text.size() < Splitter::headMax && needMore())
                continue;
            m_isUnsure = m_isAtEnd && !isFinal;
            if (m_isUnsure || m_isRestShown)
                return false;
            takeRaw(entry, {Part::Kind::Raw, m_at, m_text.size()});
            return true;
        }
        if (!m_isHeadTaken && !takeHead()) {
            if (needMore())
                continue;
            m_isUnsure = true;
            return false;
        }
        const Part part = splitter().next(m_at, entry.values);
        switch (part.kind) {
        case Part::Kind::Entry:
            takeEntry(entry, part);
            return true;
        case Part::Kind::Raw:
        case Part::Kind::Zeros:
            if (m_isRestShown)
                return false;
            takeRaw(entry, part);
            return true;
        case Part::Kind::More:
            needMore();
            continue;
        case Part::Kind::Tail:
            m_tail = m_text.substr(part.begin);
            return false;
        default:
            m_isUnsure = true;
            return false;
        }
    }
}

void LogReader::takeEntry(Entry& entry, const Part& part)
{
    entry.text = TextView(m_text).substr(part.begin, part.end - part.begin);
    entry.body = &m_form->body;
    entry.time = timeOf(m_timeHoles, entry.values, m_start ? std::optional(m_lastTime) : m_start);
    if (entry.time && m_timeHoles[datePartsQty - 1] < 0 && *entry.time < m_lastTime - halfDay)
        *entry.time += 2 * halfDay; // a clock without a date has gone past midnight
    m_lastTime = entry.order = entry.time.value_or(m_lastTime);
    if (m_situationHole >= 0) {
        const TextView number = entry.values[static_cast<std::size_t>(m_situationHole)];
        bool isNumber = false;
        const int situation = QStringView(number.data(), qsizetype(number.size())).toInt(&isNumber);
        if (isNumber) // else it is beyond an int
            entry.situation = situation;
    }
    m_at = part.end;
    m_hasEntries = true;
}

void LogReader::takeRaw(Entry& entry, const Part& part)
{
    entry.values.clear();
    entry.text = TextView(m_text).substr(part.begin, part.end - part.begin);
    ++m_rawCount;
    m_forms.tellUnusable(m_path); // one of them may be the log's
    // Entries will go over what ends a log that is followed.
    m_isRestShown = m_isFollowed && m_isAtEnd && part.end == m_text.size();
    if (!m_isRestShown)
        m_at = part.end;
}

} // namespace zmu_tools::logs
