#include "BrandTexts.h"

#include <zmu/foundation/internal/Trim.h>

#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>
#include <system_error>

namespace zbr4u {

namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

/// Bytes of the UTF-8 sequence at the start of `text`, 0 if it is none.
std::size_t sequenceLength(std::string_view text)
{
    struct Form {
        unsigned char mask, lead;
        char32_t least;
    };
    constexpr Form forms[] = {
        {0x80, 0x00, 0}, {0xE0, 0xC0, 0x80}, {0xF0, 0xE0, 0x800}, {0xF8, 0xF0, 0x10000}};
    const auto lead = static_cast<unsigned char>(text.front());
    for (std::size_t length = 1; length <= std::size(forms); ++length) {
        const Form& form = forms[length - 1];
        if ((lead & form.mask) != form.lead)
            continue;
        if (text.size() < length)
            return 0;
        char32_t code = lead & ~form.mask;
        for (std::size_t i = 1; i < length; ++i) {
            const auto byte = static_cast<unsigned char>(text[i]);
            if ((byte & 0xC0) != 0x80)
                return 0;
            code = code << 6 | (byte & 0x3F);
        }
        const bool isSurrogate = code >= 0xD800 && code <= 0xDFFF;
        return code >= form.least && code <= 0x10FFFF && !isSurrogate ? length : 0;
    }
    return 0;
}

bool isText(std::string_view text)
{
    while (!text.empty()) {
        const std::size_t length = sequenceLength(text);
        if (length == 0 || text.front() == '\0')
            return false;
        text.remove_prefix(length);
    }
    return true;
}

/// Takes over one line, which is "id=text" with a known ID, a comment or blank.
bool readLine(std::string_view line, BrandTexts& texts)
{
    if (!isText(line))
        return false;
    line = zmu::trim(line);
    if (line.empty() || line.front() == '#' || line.front() == ';')
        return true;
    const std::size_t equals = line.find('=');
    if (equals == line.npos)
        return false;
    const std::string_view number = zmu::trim(line.substr(0, equals));
    int id = 0;
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), id);
    const auto text = texts.find(id);
    if (error != std::errc() || end != number.data() + number.size() || text == texts.end())
        return false;
    text->second = zmu::trim(line.substr(equals + 1));
    return true;
}

} // namespace

const BrandTexts& builtInTexts()
{
    static const BrandTexts texts = {
        {0, "https://www.quorvane.example/knowledge"}, // company: knowledge base
        {1, "Quorvane Incorporated"},                  // company: long name
        {2, "Quorvane"},                               // company: short name
        {3, "https://www.quorvane.example"},           // company: web site
        {16, "Farrowlink"},                            // product
        {18, "Farrowlink Control Manager"},            // owner CM
        {19, "Farrowlink Logon"},                      // owner LOGON
        {20, "Farrowlink Program Window"},             // owner PW
        {29, "Farrowlink Suite"},                      // suite
    };
    return texts;
}

int readTexts(const std::string& path, BrandTexts& texts)
{
    const std::filesystem::path file(std::u8string(path.begin(), path.end()));
    std::error_code error;
    if (path.empty() || !std::filesystem::exists(file, error))
        return error ? Unreadable : Success;
    if (!std::filesystem::is_regular_file(file, error)) // opening a pipe waits for its writer
        return Unreadable;
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        return Unreadable;

    BrandTexts changed = texts;
    std::string line;
    for (int number = 1; std::getline(stream, line); ++number) {
        std::string_view content = line;
        if (number == 1 && content.starts_with(byteOrderMark))
            content.remove_prefix(byteOrderMark.size());
        if (!readLine(content, changed))
            return LineBroken + number;
    }
    if (stream.bad())
        return Unreadable;
    texts.swap(changed);
    return Success;
}

} // namespace zbr4u
