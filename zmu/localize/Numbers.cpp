// Numbers with the sign and the groups of the user's locale.
#include <zmu/localize/ZarnLocalizeHelpers.h>

#include <zmu/platform/ProcessLock.h>
#include <zmu/platform/Win32.h>

#include <algorithm>
#include <cctype>
#include <clocale>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <limits>
#include <mutex>
#include <string_view>

namespace {

constexpr std::size_t textCapacity = 64; ///< Of a number's text, with the terminator.

// ---- The locale ----------------------------------------------------------------------------------

/// One character in the narrow code page, of up to four bytes; empty for none.
class Mark {
  public:
    Mark() = default;
    /// The first character of a text of the current locale, whose own encoding may be another one.
    explicit Mark(const char* text)
    {
        const std::size_t size = std::strlen(text);
        std::mbstate_t state{};
        wchar_t character = L'\0';
        const std::size_t taken = std::mbrtowc(&character, text, size, &state);
        if (size == 0 || taken == 0 || taken > size)
            return;
        m_size = static_cast<std::size_t>(WideCharToMultiByte(CP_ACP, 0, &character, 1, m_bytes,
                                                              sizeof m_bytes, nullptr, nullptr));
    }

    std::string_view view() const { return {m_bytes, m_size}; }
    bool isEmpty() const { return m_size == 0; }
    bool isAtStartOf(std::string_view text) const { return !isEmpty() && text.starts_with(view()); }

  private:
    char m_bytes[8] = {};
    std::size_t m_size = 0;
};

struct Conventions {
    Mark negativeSign;
    Mark positiveSign;
    Mark separator;
    char grouping[16] = {}; ///< Sizes of groups, from the right.
};

/// What the C library hands out of a locale is rewritten by the next thread's call.
zmu::ProcessLock s_localeLock;

/// Switches the process to the user's locale and tells its conventions. False when the system does
/// not know that locale.
bool enterUserLocale(Conventions& conventions)
{
    const std::lock_guard guard(s_localeLock);
    if (!std::setlocale(LC_ALL, ""))
        return false;
    const std::lconv* locale = std::localeconv();
    conventions.negativeSign = Mark(locale->negative_sign);
    conventions.positiveSign = Mark(locale->positive_sign);
    conventions.separator = Mark(locale->thousands_sep);
    if (locale->grouping)
        std::strncpy(conventions.grouping, locale->grouping, sizeof conventions.grouping - 1);
    return true;
}

/// Counts digits from the right and tells where a separator comes.
class Groups {
  public:
    explicit Groups(const char* sizes) : m_size(sizes), m_left(isSize(*sizes) ? *sizes : 0) {}

    /// Counts one digit. Whether it is the last one of its group.
    bool endsWithDigit()
    {
        if (m_left < 1 || --m_left > 0)
            return false;
        if (m_size[1] != '\0') // The last size of all is repeated.
            ++m_size;
        m_left = isSize(*m_size) ? *m_size : 0;
        return true;
    }

  private:
    /// Neither the end nor "no more groups", for which there are several values.
    static bool isSize(char size)
    {
        const auto value = static_cast<signed char>(size);
        return value > 0 && value != 127;
    }

    const char* m_size;
    int m_left; ///< Digits of the group that are to come; 0 without groups.
};

// ---- Writing ---------------------------------------------------------------------------------------

/// A text that grows to the left.
class BackwardText {
  public:
    bool put(std::string_view piece)
    {
        if (piece.size() > m_start)
            return false;
        m_start -= piece.size();
        piece.copy(m_text + m_start, piece.size());
        return true;
    }
    std::string_view view() const { return {m_text + m_start, textCapacity - 1 - m_start}; }

  private:
    char m_text[textCapacity] = {};
    std::size_t m_start = textCapacity - 1;
};

/// Writes `value`. False when the locale has no such number or the text has no room.
bool format(i64 value, BackwardText& text)
{
    Conventions conventions;
    if (!enterUserLocale(conventions))
        return false;
    const bool isNegative = value < 0;
    if (isNegative && conventions.negativeSign.isEmpty())
        return false;
    // The largest negative number has no positive one in the signed type.
    u64 rest = isNegative ? 0 - static_cast<u64>(value) : static_cast<u64>(value);
    Groups groups(conventions.grouping);
    while (true) {
        const char digit = static_cast<char>('0' + rest % 10);
        rest /= 10;
        if (!text.put({&digit, 1}))
            return false;
        if (rest == 0)
            return !isNegative || text.put(conventions.negativeSign.view());
        if (groups.endsWithDigit() && !text.put(conventions.separator.view()))
            return false;
    }
}

// ---- Reading ---------------------------------------------------------------------------------------

bool isDigit(char c)
{
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

/// Adds `digit` to the number if that stays within its 64 bits. The step to the next power of ten
/// wraps around unnoticed.
bool appendDigit(i64& value, int digit, bool isNegative)
{
    value = static_cast<i64>(static_cast<u64>(value) * 10);
    if (isNegative ? std::numeric_limits<i64>::min() + digit > value
                   : std::numeric_limits<i64>::max() - digit < value)
        return false;
    value += isNegative ? -digit : digit;
    return true;
}

bool parse(std::string_view text, i64& value)
{
    Conventions conventions;
    if (!enterUserLocale(conventions))
        return false;
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front())))
        text.remove_prefix(1);
    const bool isNegative = conventions.negativeSign.isAtStartOf(text);
    if (isNegative)
        text.remove_prefix(conventions.negativeSign.view().size());
    else if (conventions.positiveSign.isAtStartOf(text))
        text.remove_prefix(conventions.positiveSign.view().size());

    bool hasDigit = false;
    while (!text.empty()) {
        if (isDigit(text.front())) {
            if (!appendDigit(value, text.front() - '0', isNegative))
                return false;
            hasDigit = true;
            text.remove_prefix(1);
        } else if (conventions.separator.isAtStartOf(text)) {
            text.remove_prefix(conventions.separator.view().size());
        } else {
            break;
        }
    }
    return hasDigit;
}

} // namespace

u64 ZarnLocalizeHelpers::convertIntToPunctuatedStrA(i64 value, char* buffer, u64 capacity)
{
    if (!buffer || capacity < 2)
        return 0;
    std::memset(buffer, 0, capacity);
    BackwardText text;
    if (!format(value, text) || text.view().size() >= capacity)
        return 0;
    return text.view().copy(buffer, text.view().size());
}

u64 ZarnLocalizeHelpers::convertIntToPunctuatedStrW(i64 value, wchar_t* buffer, u64 capacity)
{
    if (!buffer || capacity < 2)
        return 0;
    std::wmemset(buffer, L'\0', capacity);
    char text[textCapacity];
    const u64 size = convertIntToPunctuatedStrA(value, text, textCapacity);
    if (size == 0)
        return 0;
    wchar_t wide[textCapacity];
    const int length = MultiByteToWideChar(CP_ACP, 0, text, static_cast<int>(size), wide,
                                           static_cast<int>(textCapacity));
    if (length <= 0 || static_cast<u64>(length) >= capacity)
        return 0;
    std::wmemcpy(buffer, wide, static_cast<std::size_t>(length));
    return static_cast<u64>(length);
}

bool ZarnLocalizeHelpers::convertPunctuatedStrToIntA(char* text, u64 length, i64& value)
{
    value = 0;
    if (!text || length < 2)
        return false;
    if (parse({text, strnlen(text, length)}, value))
        return true;
    value = 0;
    return false;
}

bool ZarnLocalizeHelpers::convertPunctuatedStrToIntW(wchar_t* text, u64 length, i64& value)
{
    value = 0;
    if (!text || length < 2)
        return false;
    const std::size_t elements = wcsnlen(text, textCapacity);
    if (elements == 0 || elements == textCapacity)
        return false;
    char narrow[4 * textCapacity]; // An element gives up to four bytes.
    const int size = WideCharToMultiByte(CP_ACP, 0, text, static_cast<int>(elements), narrow,
                                         sizeof narrow, nullptr, nullptr);
    return size > 0 && convertPunctuatedStrToIntA(narrow, static_cast<u64>(size), value);
}
