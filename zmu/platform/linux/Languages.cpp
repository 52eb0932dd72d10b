// As the C library's own message catalogues are chosen: the locale's variables, and before them,
// unless the locale is that of C, a list of languages.
#include <zmu/platform/Languages.h>

#include <algorithm>
#include <cstdlib>

namespace {

std::string_view variable(const char* name)
{
    const char* const value = std::getenv(name);
    return value ? value : "";
}

} // namespace

std::string_view zmu::userLanguages(std::span<char> buffer)
{
    std::string_view languages = variable("LC_ALL");
    for (const char* const name : {"LC_MESSAGES", "LANG"})
        if (languages.empty())
            languages = variable(name);
    const std::string_view locale = languages.substr(0, languages.find('.'));
    if (locale.empty() || locale == "C" || locale == "POSIX")
        return {};
    if (const std::string_view list = variable("LANGUAGE"); !list.empty())
        languages = list;
    languages = languages.substr(0, buffer.size());
    std::ranges::copy(languages, buffer.begin());
    return {buffer.data(), languages.size()};
}
