#include "Output.h"

#include "Markup.h"

#include <tools/Json.h>
#include <tools/Text.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string_view>

namespace zmu_tools::logs {

namespace {

std::string timeText(zmu::i64 time, char between)
{
    using namespace std::chrono;
    const sys_time<milliseconds> moment{milliseconds(time)};
    const auto day = floor<days>(moment);
    const year_month_day date(day);
    const hh_mm_ss clock(moment - day);
    char text[48];
    std::snprintf(text, sizeof text, "%04d-%02u-%02u%c%02d:%02d:%02d.%03d", int(date.year()),
                  unsigned(date.month()), unsigned(date.day()), between, int(clock.hours().count()),
                  int(clock.minutes().count()), int(clock.seconds().count()),
                  int(clock.subseconds().count()));
    return text;
}

bool isOfZeros(const Entry& entry)
{
    return !entry.body && entry.text.starts_with(u'\0');
}

void appendKey(std::string& output, std::string_view key)
{
    output += ",\"";
    output += key;
    output += "\":";
}

/// A number as JSON has it, which does not begin with a zero.
void appendNumber(std::string& output, TextView number)
{
    if (number.starts_with(u'-')) {
        output += '-';
        number.remove_prefix(1);
    }
    const std::size_t first = std::min(number.find_first_not_of(u'0'), number.size() - 1);
    appendUtf8(output, number.substr(first));
}

void appendVariables(std::string& output, const Entry& entry)
{
    const std::vector<Hole>& holes = entry.body->holes();
    for (std::size_t i = 0; i < holes.size(); ++i) {
        // A variable that stands there twice is told once.
        if (entry.body->holeOf(holes[i].variables.front()) != int(i))
            continue;
        std::string name;
        for (const Zarn_FORM_VAR variable : holes[i].variables)
            name += (name.empty() ? "" : "+") + nameOf(variable);
        appendKey(output, name);
        const bool isNumber =
            (holes[i].shape == Shape::Number || holes[i].shape == Shape::Figures) &&
            holes[i].variables.size() == 1;
        if (isNumber)
            appendNumber(output, entry.values[i]);
        else
            appendJson(output, entry.values[i]);
    }
}

std::string_view colourOf(std::string_view severity)
{
    if (severity == "fault")
        return "\x1b[31m";
    if (severity == "warning")
        return "\x1b[33m";
    if (severity == "good")
        return "\x1b[32m";
    return {};
}

/// The character at `at`, which is moved behind it; `text` is UTF-8.
char32_t takeCharacter(std::string_view text, std::size_t& at)
{
    const auto isContinuation = [&] {
        return at < text.size() && (static_cast<unsigned char>(text[at]) & 0xc0) == 0x80;
    };
    const auto lead = static_cast<unsigned char>(text[at++]);
    char32_t character = lead < 0x80   ? lead
                         : lead < 0xe0 ? lead & 0x1f
                         : lead < 0xf0 ? lead & 0xf
                                       : lead & 7;
    while (isContinuation())
        character = character << 6 | (static_cast<unsigned char>(text[at++]) & 0x3f);
    return character;
}

/// Bytes of `text` that go on one line of `columns`, at least a character.
std::size_t lineLength(std::string_view text, int columns)
{
    std::size_t blank = 0;
    int used = 0;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t begin = i;
        if (text[begin] == ' ')
            blank = begin;
        used += columnsOf(takeCharacter(text, i));
        if (used > columns && begin > 0)
            return blank > 0 ? blank : begin;
    }
    return text.size();
}

void appendWrapped(std::string& output, std::string_view text, std::size_t indent, int width)
{
    constexpr int least = 20;
    const int room = width - static_cast<int>(indent);
    while (width > 0 && !text.empty()) {
        const std::size_t length = lineLength(text, std::max(room, least));
        output += text.substr(0, length);
        text.remove_prefix(length);
        text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
        if (!text.empty())
            output += '\n' + std::string(indent, ' ');
    }
    output += text;
}

} // namespace

std::u16string shownText(const Entry& entry)
{
    return entry.body ? plainText(entry.description()) : std::u16string(entry.text);
}

void appendJsonLine(std::string& output, const Entry& entry, const std::string& logName)
{
    output += "{\"log\":";
    output += logName;
    if (isOfZeros(entry)) {
        appendKey(output, "zeros");
        output += std::to_string(entry.text.size());
    } else if (!entry.body) {
        appendKey(output, "raw");
        appendJson(output, entry.text);
    } else {
        if (entry.time) {
            appendKey(output, "time");
            output += '"' + timeText(*entry.time, 'T') + '"';
        }
        if (entry.situation) {
            appendKey(output, "situation");
            output += std::to_string(*entry.situation);
        }
        if (const std::string_view severity = severityOf(entry.description()); !severity.empty()) {
            appendKey(output, "severity");
            (output += '"').append(severity) += '"';
        }
        appendKey(output, "text");
        appendJson(output, shownText(entry));
        appendVariables(output, entry);
    }
    output += "}\n";
}

void appendTextLine(std::string& output, const Entry& entry, const LineStyle& style)
{
    constexpr int situationColumns = 7;
    std::string front;
    if (entry.time)
        front += timeText(*entry.time, ' ') + ' ';
    if (entry.body) {
        const std::string situation = entry.situation ? std::to_string(*entry.situation) : "";
        front.append(std::max<std::size_t>(situationColumns, situation.size()) - situation.size(),
                     ' ');
        front += situation + "  ";
    } else {
        front = "not an entry: ";
    }
    std::string text;
    if (isOfZeros(entry))
        text = std::to_string(entry.text.size()) + " zeros, where the file was cut or emptied";
    else
        appendUtf8(text, shownText(entry));
    text = harmless(text);

    const std::string_view colour =
        style.isColoured ? colourOf(severityOf(entry.description())) : std::string_view();
    output += front;
    output += colour;
    appendWrapped(output, text, entry.body ? front.size() : 0, style.width);
    if (!colour.empty())
        output += "\x1b[0m";
    output += '\n';
}

} // namespace zmu_tools::logs
