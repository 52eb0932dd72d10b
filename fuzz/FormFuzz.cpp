// Form files with their blocks of injectors: a log made with one is a whole document, entry by
// entry.
#include "Support.h"

#include "../tests/support/Strings.h"

using namespace zmu_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    static const std::string path = pathOf("form.html");
    Input input(bytes, size);
    const std::wstring product = input.wideText();
    const std::wstring first = input.wideText();
    const std::wstring second = input.wideText();
    const bool extras = input.flag();
    const bool isEscaped = input.flag();
    writeFile(path, input.rest());

    LoggingData data(std::wstring(path.begin(), path.end()).c_str());
    data.offerFormExtras(extras);
    data.setSystemTextsEscaped(isEscaped);
    data.recordTag(product.c_str(), Zarn_FORM_TAG_PRODUCT_NAME);
    data.recordTag(product.c_str(), Zarn_FORM_TAG_NAME_OF_USER);
    if (!data.open())
        return 0; // the form can be used, but for a head or a tail that is too long
    for (const std::wstring& text : {first, second, first}) {
        zmu_test::strings()[1] = L"1~0~2~s~||``%1`";
        Arguments arguments;
        arguments.add(text);
        data.report(1, arguments);
    }
    return 0;
}
