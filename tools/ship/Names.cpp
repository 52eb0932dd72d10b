#include "Names.h"

#include <QCryptographicHash>

#include <algorithm>

using zmu_spool::SpoolLine;

namespace zmu_tools::ship {

namespace {

constexpr std::size_t longestWord = 100;

bool isKept(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-';
}

std::string_view takeWord(std::string_view& subject)
{
    const std::size_t dot = std::min(subject.find('.'), subject.size());
    const std::string_view word = subject.substr(0, dot);
    subject.remove_prefix(std::min(dot + 1, subject.size()));
    return word;
}

} // namespace

std::string wordOf(std::string_view name)
{
    constexpr std::size_t keptOfLonger = 60;
    constexpr char digits[] = "0123456789abcdef";
    if (name.empty())
        return "=";
    std::string word;
    for (const char c : name) {
        if (isKept(c)) {
            word += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        word += '=';
        word += digits[byte >> 4];
        word += digits[byte & 0xF];
    }
    if (word.size() <= longestWord)
        return word;
    const QByteArray sum = QCryptographicHash::hash(
        QByteArray(name.data(), static_cast<qsizetype>(name.size())), QCryptographicHash::Sha256);
    return word.substr(0, keptOfLonger) + "==" + sum.left(16).toHex().toStdString();
}

bool isHostWord(std::string_view word)
{
    return !word.empty() && word.size() <= longestWord &&
           std::all_of(word.begin(), word.end(), [](char c) { return isKept(c) || c == '='; });
}

std::string sourceOf(const SpoolLine& line, std::string_view user)
{
    return wordOf(line.host) + '.' + wordOf(user) + '.' + std::to_string(line.process) + '.' +
           std::to_string(line.start);
}

std::string subjectOf(std::string_view prefix, const SpoolLine& line)
{
    return std::string(prefix) + '.' + wordOf(line.host);
}

bool isSubjectPrefix(std::string_view text)
{
    if (text.ends_with('.'))
        return false;
    do {
        const std::string_view word = takeWord(text);
        if (word.empty() || !std::all_of(word.begin(), word.end(), [](char c) {
                return isKept(c) || (c >= 'A' && c <= 'Z') || c == '_' || c == '=';
            }))
            return false;
    } while (!text.empty());
    return true;
}

bool takesAllOf(std::string_view subject, std::string_view prefix)
{
    while (!prefix.empty()) {
        const std::string_view wanted = takeWord(prefix), taken = takeWord(subject);
        if (taken == ">")
            return true;
        if (taken != "*" && taken != wanted)
            return false;
    }
    return subject == ">" || subject == "*"; // the host is one word
}

} // namespace zmu_tools::ship
