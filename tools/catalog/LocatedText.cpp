#include "LocatedText.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

namespace zmu_tools {

namespace {

/// A place in a file that is read character by character.
class Cursor {
  public:
    Cursor(std::string_view file, std::size_t offset, Place place)
        : m_file(file), m_offset(offset), m_place(place)
    {}

    void goTo(Place place)
    {
        while (!isAtEnd() && (m_place < place || isInsideCharacter(peek())))
            take(1);
    }

    bool isAtEnd() const { return m_offset == m_file.size(); }
    Place place() const { return m_place; }
    char peek() const { return isAtEnd() ? '\0' : m_file[m_offset]; }
    bool startsWith(std::string_view text) const
    {
        return m_file.substr(m_offset).substr(0, text.size()) == text;
    }
    std::string_view take(std::size_t bytes)
    {
        const std::string_view taken = m_file.substr(m_offset, bytes);
        for (const char c : taken)
            pass(c);
        m_offset += taken.size();
        return taken;
    }

    std::size_t offset() const { return m_offset; }

  private:
    static bool isInsideCharacter(char c) { return (static_cast<unsigned char>(c) & 0xc0) == 0x80; }
    void pass(char c)
    {
        if (c == '\n')
            m_place = {m_place.line + 1, 1};
        else if (!isInsideCharacter(c))
            ++m_place.column;
    }

    std::string_view m_file;
    std::size_t m_offset;
    Place m_place;
};

/// Length in UTF-8.
std::size_t encodedLength(unsigned long character)
{
    return character < 0x80 ? 1 : character < 0x800 ? 2 : character < 0x10000 ? 3 : 4;
}

/// Takes an escape off, and tells how many bytes of the text it makes.
std::size_t takeEscape(Cursor& cursor, bool isMultiLine)
{
    cursor.take(1);
    const char kind = cursor.peek();
    if (isMultiLine && (kind == ' ' || kind == '\t' || kind == '\r' || kind == '\n')) {
        while (!cursor.isAtEnd() &&
               std::string_view(" \t\r\n").find(cursor.peek()) != std::string_view::npos)
            cursor.take(1);
        return 0;
    }
    cursor.take(1);
    const std::size_t digits = kind == 'x' ? 2 : kind == 'u' ? 4 : kind == 'U' ? 8 : 0;
    if (digits == 0)
        return 1;
    return encodedLength(std::strtoul(std::string(cursor.take(digits)).c_str(), nullptr, 16));
}

} // namespace

SourceFile::SourceFile(std::string text) : m_text(std::move(text))
{
    constexpr std::size_t apart = 256;
    for (Cursor cursor(m_text, 0, {}); !cursor.isAtEnd(); cursor.take(apart))
        m_marks.push_back({cursor.place(), cursor.offset()});
}

Place SourceFile::placeAt(std::size_t offset) const
{
    if (m_marks.empty())
        return {};
    const Mark& mark = *std::prev(std::ranges::upper_bound(m_marks, offset, {}, &Mark::offset));
    Cursor cursor(m_text, mark.offset, mark.place);
    cursor.take(offset - mark.offset);
    return cursor.place();
}

LocatedText SourceFile::locate(std::string text, Place begin) const
{
    LocatedText located{std::move(text), begin, {begin}};
    const auto behind = std::ranges::upper_bound(m_marks, begin, {}, &Mark::place);
    if (behind == m_marks.begin())
        return located;
    const Mark& mark = *std::prev(behind);
    Cursor cursor(m_text, mark.offset, mark.place);
    cursor.goTo(begin);
    const char quote = cursor.peek();
    if (quote != '"' && quote != '\'')
        return located;
    const bool isMultiLine = cursor.startsWith(std::string(3, quote));
    cursor.take(isMultiLine ? 3 : 1);
    if (isMultiLine) // the first line break belongs to the quotes
        cursor.take(cursor.startsWith("\r\n") ? 2 : cursor.startsWith("\n") ? 1 : 0);

    std::vector<Place> places;
    while (places.size() < located.text.size() && !cursor.isAtEnd()) {
        const Place place = cursor.place();
        if (isMultiLine && cursor.startsWith("\r\n") && located.text[places.size()] == '\n')
            cursor.take(1); // a line break is one character to the parser
        std::size_t bytes = 1;
        if (quote == '"' && cursor.peek() == '\\')
            bytes = takeEscape(cursor, isMultiLine);
        else
            cursor.take(1);
        places.insert(places.end(), bytes, place);
    }
    if (places.size() != located.text.size())
        return located;
    places.push_back(cursor.place());
    located.places = std::move(places);
    return located;
}

} // namespace zmu_tools
