// The file of texts of the brander that comes along.
#include "Support.h"

#include "../modules/zbr4u/BrandTexts.h"

#include <zmu/owner/ZRpbr.h>

#include <algorithm>
#include <cwchar>

using namespace zmu_fuzz;

// In the place of the module's own.
std::string zbr4u::textsFile()
{
    return pathOf("zbr4u.ini");
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    const auto capacity = input.number<std::size_t>(0, 80);
    writeFile(zbr4u::textsFile(), input.rest());
    const ZRpbr* const brander = ZRpbr::create(2);
    const int status = ZRpbr::getSelfDX_Code();
    FUZZ_CHECK(status == zbr4u::Success || status > zbr4u::LineBroken);
    // The texts of a sound file stay until there is another one.
    static bool wasSound = false;
    static std::size_t longest = 0;
    wasSound = wasSound || status == zbr4u::Success;
    longest = std::max(longest, size);
    FUZZ_CHECK((brander != nullptr) == wasSound);
    for (const auto& [id, builtIn] : zbr4u::builtInTexts()) {
        if (!brander)
            break;
        std::vector<wchar_t> whole(longest + builtIn.size() + 1, L'#');
        std::vector<wchar_t> cut(capacity, L'#');
        FUZZ_CHECK(brander->getBrandText(id, whole.data(), whole.size()) == whole.data());
        brander->getBrandText(id, cut.data(), cut.size());
        FUZZ_CHECK(isTerminated(whole) && (capacity == 0 || isTerminated(cut)));
        const std::size_t length = std::wcslen(whole.data());
        if (capacity != 0)
            FUZZ_CHECK(length < capacity ? std::wcscmp(cut.data(), whole.data()) == 0 : !cut[0]);
    }
    ZRpbr::destroy();
    return 0;
}
