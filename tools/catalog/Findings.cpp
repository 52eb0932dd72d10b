#include "Findings.h"

#include <tools/Text.h>

#include <algorithm>

namespace zmu_tools {

namespace {

constexpr std::size_t toldMax = 300; // of errors, and of warnings
constexpr std::size_t listedMax = 10;

std::size_t beyond(std::size_t count)
{
    return count - std::min(count, toldMax);
}

} // namespace

std::string toText(const Finding& finding)
{
    return harmless(finding.file + ":" + std::to_string(finding.place.line) + ":" +
                    std::to_string(finding.place.column) +
                    (finding.isError ? ": error: " : ": warning: ") + finding.text);
}

void Findings::error(Place place, std::string text)
{
    if (beyond(++m_errorCount) == 0)
        m_all.push_back({m_file, place, true, std::move(text)});
}

void Findings::warn(Place place, std::string text)
{
    if (beyond(++m_warningCount) == 0)
        m_all.push_back({m_file, place, false, std::move(text)});
}

std::string Findings::untold() const
{
    std::string text;
    for (const auto& [count, what] :
         {std::pair(m_errorCount, " more mistakes"), {m_warningCount, " more warnings"}})
        if (beyond(count) > 0)
            text += (text.empty() ? "... and " : ", ") + std::to_string(beyond(count)) + what;
    return text;
}

std::vector<Finding> Findings::sorted() const
{
    std::vector<std::string> files;
    for (const Finding& finding : m_all)
        if (std::ranges::find(files, finding.file) == files.end())
            files.push_back(finding.file);
    std::vector<Finding> result;
    for (const std::string& file : files) {
        const auto begin = std::ptrdiff_t(result.size());
        std::ranges::copy_if(m_all, std::back_inserter(result),
                             [&](const Finding& finding) { return finding.file == file; });
        std::ranges::stable_sort(result.begin() + begin, result.end(), {}, &Finding::place);
    }
    return result;
}

std::string listed(const std::vector<std::string>& names)
{
    const std::size_t shown = names.size() > listedMax ? listedMax : names.size();
    std::string list;
    for (std::size_t i = 0; i < shown; ++i)
        list += (i == 0 ? "" : i + 1 == names.size() ? " and " : ", ") + ("'" + names[i] + "'");
    return shown == names.size()
               ? list
               : list + " and " + std::to_string(names.size() - shown) + " others";
}

std::string didYouMean(std::string_view name, const std::vector<std::string>& names)
{
    const std::string nearest = nearestName(name, names);
    return nearest.empty() ? "" : ", did you mean '" + nearest + "'?";
}

} // namespace zmu_tools
