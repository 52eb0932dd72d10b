#include <zmu/catalog/Setup.h>

#include <zmu/monitor/ZarnData.h>
#include <zmu/platform/Languages.h>

#include <algorithm>

namespace zmu::catalog {

namespace {

char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c == '_' ? '-' : c;
}

bool isSame(std::string_view left, std::string_view right)
{
    return std::ranges::equal(left, right, {}, lower, lower);
}

/// A language without what comes behind a character of `ends`.
std::string_view upTo(std::string_view language, std::string_view ends)
{
    return language.substr(0, language.find_first_of(ends));
}

} // namespace

std::size_t chooseTranslation(std::span<const Translation> translations,
                              std::string_view languages) noexcept
{
    while (!languages.empty()) {
        const std::string_view wanted = upTo(upTo(languages, ":"), ".@"); // "de_AT.UTF-8"
        languages.remove_prefix(std::min(languages.find(':'), languages.size() - 1) + 1);
        for (std::size_t i = 0; i < translations.size(); ++i)
            if (isSame(translations[i].language, wanted))
                return i;
        for (std::size_t i = 0; i < translations.size(); ++i)
            if (isSame(upTo(translations[i].language, "-"), upTo(wanted, "-_")))
                return i;
    }
    return 0;
}

HMODULE loadTranslation(std::span<const Translation> translations,
                        std::string_view languages) noexcept
{
    char ofUser[256];
    if (languages.empty())
        languages = userLanguages(ofUser);
    const std::size_t chosen = chooseTranslation(translations, languages);
    HMODULE texts = LoadLibraryW(translations[chosen].module);
    if (!texts && chosen != 0)
        texts = LoadLibraryW(translations[0].module);
    return texts;
}

bool setUp(ZarnData& settings, HMODULE texts, const Needs& needs,
           std::span<const ZarnPlugIn> plugIns) noexcept
{
    settings.setResourceModule(texts);
    bool isSet = true;
    const auto atLeast = [&](int need, int (ZarnData::*get)() const, bool (ZarnData::*set)(int)) {
        isSet = ((settings.*get)() >= need || (settings.*set)(need)) && isSet;
    };
    atLeast(needs.fillers, &ZarnData::getDescriptionFillersQty,
            &ZarnData::setDescriptionFillersQty);
    atLeast(needs.recordedInts, &ZarnData::getArgsIntQty, &ZarnData::setArgsIntQty);
    atLeast(needs.recordedUnsigneds, &ZarnData::getArgsUIntQty, &ZarnData::setArgsUIntQty);
    atLeast(needs.recordedTexts, &ZarnData::getArgsStrQty, &ZarnData::setArgsStrQty);
    if (plugIns.empty())
        return isSet;
    ZarnPlugIn* const rows = settings.createPlugIns(int(plugIns.size()));
    if (!rows || settings.getPlugInsQty() < int(plugIns.size()))
        return false;
    for (std::size_t i = 0; i < plugIns.size(); ++i)
        if (plugIns[i])
            rows[i] = plugIns[i];
    return isSet;
}

} // namespace zmu::catalog
