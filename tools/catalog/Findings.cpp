#include "Findings.h"

#include <tools/Text.h>

#include <algorithm>

namespace zmu_tools {

std::string toText(const Finding& finding)
{
    return harmless(finding.file + ":" + std::to_string(finding.place.line) + ":" +
                    std::to_string(finding.place.column) +
                    (finding.isError ? ": error: " : ": warning: ") + finding.text);
}

void Findings::error(Place place, std::string text)
{
    m_all.push_back({m_file, place, true, std::move(text)});
    ++m_errorCount;
}

void Findings::warn(Place place, std::string text)
{
    m_all.push_back({m_file, place, false, std::move(text)});
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

std::string didYouMean(std::string_view name, const std::vector<std::string>& names)
{
    const std::string nearest = nearestName(name, names);
    return nearest.empty() ? "" : ", did you mean '" + nearest + "'?";
}

} // namespace zmu_tools
