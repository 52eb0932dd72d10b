#include "../BrandTexts.h"

#include <dlfcn.h>

std::string zbr4u::textsFile()
{
    static const char ourOwn = 0;
    Dl_info info{};
    if (dladdr(&ourOwn, &info) == 0 || !info.dli_fname || *info.dli_fname != '/')
        return {};
    const std::string path(info.dli_fname);
    return path.substr(0, path.rfind('/') + 1) + "zbr4u.ini";
}
