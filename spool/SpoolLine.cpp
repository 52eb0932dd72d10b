#include <spool/SpoolLine.h>

#include <zmu/foundation/internal/Utf8.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <iterator>
#include <limits>

using namespace zmu_spool;
using zmu::i64;

namespace {

constexpr std::string_view fieldNames[] = {"sequence",    "time",      "host",       "program",
                                           "process",     "start",     "thread",     "instantiator",
                                           "enablements", "situation", "description"};
constexpr int fieldsQty = static_cast<int>(std::size(fieldNames));

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

/// Takes `count` digits off `text`. False if there are fewer.
bool takeDigits(std::string_view& text, std::size_t count, int& number)
{
    if (text.size() < count || !std::all_of(text.begin(), text.begin() + count, isDigit))
        return false;
    std::from_chars(text.data(), text.data() + count, number);
    text.remove_prefix(count);
    return true;
}

bool takeCharacter(std::string_view& text, char c)
{
    if (!text.starts_with(c))
        return false;
    text.remove_prefix(1);
    return true;
}

/// Reads "2026-11-22T06:32:27.123456789Z", with up to nine digits of a second or none.
bool readTime(std::string_view text, i64& nanoseconds)
{
    using namespace std::chrono;
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    if (!takeDigits(text, 4, year) || !takeCharacter(text, '-') || !takeDigits(text, 2, month) ||
        !takeCharacter(text, '-') || !takeDigits(text, 2, day) || !takeCharacter(text, 'T') ||
        !takeDigits(text, 2, hour) || !takeCharacter(text, ':') || !takeDigits(text, 2, minute) ||
        !takeCharacter(text, ':') || !takeDigits(text, 2, second))
        return false;
    int fraction = 0;
    if (takeCharacter(text, '.')) {
        const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
        if (digits < 1 || digits > 9 || !takeDigits(text, digits, fraction))
            return false;
        for (std::size_t i = digits; i < 9; ++i)
            fraction *= 10;
    }
    const year_month_day date{std::chrono::year{year}, std::chrono::month(unsigned(month)),
                              std::chrono::day(unsigned(day))};
    constexpr int firstYear = 1678, lastYear = 2261; // whose nanoseconds have room
    if (text != "Z" || !date.ok() || year < firstYear || year > lastYear || hour > 23 ||
        minute > 59 || second > 59)
        return false;
    const auto moment = sys_days(date) + hours(hour) + minutes(minute) + seconds(second);
    nanoseconds =
        duration_cast<std::chrono::nanoseconds>(moment.time_since_epoch()).count() + fraction;
    return true;
}

/// One pass over the text, from which the first fault leads out.
class Reader {
  public:
    Reader(std::string_view text, SpoolLine& line)
        : m_begin(text.data()), m_at(m_begin), m_end(m_begin + text.size()), m_line(line)
    {}

    LineFault read()
    {
        if (readObject())
            return {};
        if (m_at == m_end && !m_isWrongInItself)
            m_fault.what = "it ends too soon";
        m_fault.position = static_cast<std::size_t>(m_at - m_begin);
        return m_fault;
    }

  private:
    bool fail(const char* what)
    {
        m_fault.what = what;
        return false;
    }
    /// As fail(), for what more text would not mend.
    bool refuse(const char* what)
    {
        m_isWrongInItself = true;
        return fail(what);
    }

    void skipBlanks()
    {
        while (m_at != m_end && (*m_at == ' ' || *m_at == '\t' || *m_at == '\r'))
            ++m_at;
    }
    bool take(char c)
    {
        skipBlanks();
        if (m_at == m_end || *m_at != c)
            return false;
        ++m_at;
        return true;
    }

    bool readObject()
    {
        if (!take('{'))
            return fail("it is no JSON object");
        if (!take('}')) {
            do {
                if (!readField())
                    return false;
            } while (take(','));
            if (!take('}'))
                return fail("neither a comma nor a closing brace comes behind a field");
        }
        skipBlanks();
        if (m_at != m_end)
            return fail("something stands behind the object");
        m_fault.field = {};
        for (int field = 0; field < fieldsQty; ++field) {
            if (!(m_found & 1U << field)) {
                m_fault.field = fieldNames[field];
                return refuse("a field is missing");
            }
        }
        return true;
    }

    bool readField()
    {
        m_fault.field = {};
        if (!readText(m_name, longestNameBytes))
            return false;
        if (!take(':'))
            return fail("no colon comes behind a name");
        const auto found = std::find(std::begin(fieldNames), std::end(fieldNames), m_name);
        if (found == std::end(fieldNames))
            return skipValue();
        m_fault.field = *found;
        const auto field = static_cast<int>(found - std::begin(fieldNames));
        if (m_found & 1U << field)
            return refuse("a field is there twice");
        m_found |= 1U << field;
        return readValue(field);
    }

    bool readValue(int field)
    {
        switch (field) {
        case 0:
            return readNumber(m_line.sequence) &&
                   (m_line.sequence != 0 || refuse("the number is 0"));
        case 1:
            return readMoment(m_line.time);
        case 2:
            return readText(m_line.host, longestNameBytes);
        case 3:
            return readText(m_line.program, longestNameBytes);
        case 4:
            return readNumber(m_line.process);
        case 5:
            return readMoment(m_line.start);
        case 6:
            return readNumber(m_line.thread);
        case 7:
            return readNumber(m_line.instantiator);
        case 8:
            return readNumber(m_line.enablements);
        case 9:
            return readNumber(m_line.situation);
        default:
            return readText(m_line.description, longestLine);
        }
    }

    template <class Number>
    bool readNumber(Number& number)
    {
        skipBlanks();
        const char* const digits = m_at != m_end && *m_at == '-' ? m_at + 1 : m_at;
        const auto [end, error] = std::from_chars(m_at, m_end, number);
        if (end == m_at) {
            m_at = digits == m_end ? m_end : m_at;
            return fail("the value is no whole number that may stand here");
        }
        if (error != std::errc())
            return refuse("the number is out of range");
        if (*digits == '0' && end - digits > 1)
            return refuse("the number begins with a zero");
        m_at = end;
        if (m_at != m_end && (*m_at == '.' || *m_at == 'e' || *m_at == 'E'))
            return refuse("the number is no whole one");
        return true;
    }

    bool readMoment(i64& nanoseconds)
    {
        return readText(m_name, longestNameBytes) &&
               (readTime(m_name, nanoseconds) ||
                refuse("the value is no moment as in 2026-11-22T06:32:27.123456789Z"));
    }

    bool readText(std::string& text, std::size_t sizeMax)
    {
        text.clear();
        if (!take('"'))
            return fail("no text stands where one belongs");
        while (true) {
            const char* const plain = m_at;
            while (m_at != m_end && *m_at != '"' && *m_at != '\\' && isPrintable(*m_at))
                ++m_at;
            text.append(plain, m_at);
            if (m_at == m_end)
                return fail("a text is not closed");
            if (text.size() > sizeMax)
                return refuse("a name is too long");
            if (*m_at == '"') {
                ++m_at;
                return true;
            }
            if (*m_at == '\\' ? !readEscape(text) : !readCharacter(text))
                return false;
        }
    }

    static bool isPrintable(char c) { return c >= 0x20 && c < 0x7F; }

    /// One that is not of ASCII.
    bool readCharacter(std::string& text)
    {
        if (static_cast<unsigned char>(*m_at) < 0x20)
            return refuse("a control character stands in a text");
        const char* const begin = m_at;
        const char32_t point = zmu::takeUtf8(m_at, m_end);
        const std::string_view bytes(begin, static_cast<std::size_t>(m_at - begin));
        if (point == zmu::replacementCharacter && bytes != "\xEF\xBF\xBD") {
            if (m_at != m_end)
                m_at = begin;
            return fail("a text is no UTF-8");
        }
        text += bytes;
        return true;
    }

    bool readEscape(std::string& text)
    {
        constexpr std::string_view escapes = "\"\\/bfnrt";
        constexpr std::string_view meanings = "\"\\/\b\f\n\r\t";
        ++m_at;
        if (m_at == m_end)
            return fail("a text is not closed");
        const std::size_t which = escapes.find(*m_at);
        if (which != escapes.npos) {
            ++m_at;
            text += meanings[which];
            return true;
        }
        char32_t point = 0;
        if (!readUnit(point))
            return false;
        if (point >= 0xD800 && point < 0xDC00 && m_end - m_at > 1 && m_at[0] == '\\' &&
            m_at[1] == 'u') {
            const char* const second = m_at++;
            char32_t low = 0;
            if (!readUnit(low))
                return false;
            if (low >= 0xDC00 && low < 0xE000)
                point = 0x10000 + ((point - 0xD800) << 10) + (low - 0xDC00);
            else
                m_at = second; // which is read for itself
        }
        char bytes[4];
        text.append(bytes, zmu::putUtf8(bytes, point ? point : zmu::replacementCharacter));
        return true;
    }

    /// The four digits of an escape, behind its backslash.
    bool readUnit(char32_t& unit)
    {
        constexpr std::ptrdiff_t digits = 4;
        if (*m_at != 'u')
            return refuse("an escape is none of JSON's");
        ++m_at;
        const char* const end = m_at + std::min(digits, m_end - m_at);
        unsigned value = 0;
        const char* const read = std::from_chars(m_at, end, value, 16).ptr;
        const bool isWhole = read - m_at == digits;
        m_at = read;
        if (!isWhole)
            return fail("an escape is none of JSON's");
        unit = value;
        return true;
    }

    /// Passes over a value of a field that is not known: brackets have to match.
    bool skipValue()
    {
        constexpr int depthMax = 16;
        char closing[depthMax];
        int depth = 0;
        do {
            skipBlanks();
            if (m_at == m_end)
                return fail("a value is not closed");
            const char c = *m_at;
            if (c == '"') {
                if (!readText(m_name, longestLine))
                    return false;
            } else if (c == '{' || c == '[') {
                if (depth == depthMax)
                    return refuse("a value is nested too deeply");
                closing[depth++] = c == '{' ? '}' : ']';
                ++m_at;
            } else if (depth > 0 && (c == closing[depth - 1] || c == ',' || c == ':')) {
                depth -= c == closing[depth - 1] ? 1 : 0;
                ++m_at;
            } else if (!skipWord()) {
                return fail("the value is none of JSON's");
            }
        } while (depth > 0);
        return true;
    }

    /// A number, true, false or null.
    bool skipWord()
    {
        const char* const begin = m_at;
        while (m_at != m_end && (isDigit(*m_at) || (*m_at >= 'a' && *m_at <= 'z') || *m_at == '-' ||
                                 *m_at == '+' || *m_at == '.' || *m_at == 'E'))
            ++m_at;
        return m_at != begin;
    }

    const char* const m_begin;
    const char* m_at;
    const char* const m_end;
    SpoolLine& m_line;
    std::string m_name; ///< Of a field, and texts that are not kept.
    unsigned m_found = 0;
    LineFault m_fault;
    bool m_isWrongInItself = false;
};

} // namespace

LineFault zmu_spool::readSpoolLine(std::string_view text, SpoolLine& line)
{
    if (text.size() >= longestLine)
        return {"it is longer than 16 MiB", {}, longestLine};
    return Reader(text, line).read();
}

std::string zmu_spool::describe(const LineFault& fault)
{
    if (!fault)
        return {};
    std::string text = "byte " + std::to_string(fault.position) + ": " + fault.what;
    if (!fault.field.empty())
        text.append(", field \"").append(fault.field).append("\"");
    return text;
}
