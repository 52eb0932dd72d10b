// A catalogue and, behind a null character, its translation: read, judged, compiled and written.
#include "Support.h"

#include <tools/catalog/Writers.h>

using namespace zmu_tools;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string all(reinterpret_cast<const char*>(data), size);
    const std::size_t end = all.find('\0');
    std::vector<CatalogFile> translations;
    if (end != std::string::npos)
        translations.push_back({"situations.de.toml", all.substr(end + 1)});

    Findings findings;
    const Catalog catalog =
        readCatalog({"situations.toml", all.substr(0, end)}, translations, findings);
    const std::vector<CompiledSituation> compiled = compile(catalog, findings);
    FUZZ_CHECK(compiled.size() == catalog.situations.size());
    for (const Finding& finding : findings.sorted()) {
        FUZZ_CHECK(finding.place >= Place() && !finding.text.empty());
        FUZZ_CHECK(toText(finding).starts_with("situations."));
    }
    if (findings.hasErrors())
        return 0;
    // What is good has its function, its specs in all languages, and a place on the page.
    const std::string header = headerText(catalog, compiled);
    for (std::size_t i = 0; i < compiled.size(); ++i) {
        const Situation& situation = catalog.situations[i];
        FUZZ_CHECK(header.find("inline int " + situation.name + "(") != std::string::npos);
        FUZZ_CHECK(compiled[i].specs.size() == catalog.languages.size());
        for (std::size_t j = 0; j < catalog.languages.size(); ++j) {
            FUZZ_CHECK(moduleText(catalog, compiled, j).find(std::to_string(situation.id)) !=
                       std::string::npos);
            FUZZ_CHECK(pageText(catalog, j).find("id=\"" + std::to_string(situation.id) + "\"") !=
                       std::string::npos);
        }
    }
    return 0;
}
