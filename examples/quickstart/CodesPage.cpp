#include "CodesPage.h"

#include <fstream>
#include <system_error>

bool writeCodesPage(const std::filesystem::path& logFolder)
{
    constexpr int highestError = 255;

    std::error_code ignored;
    std::filesystem::create_directories(logFolder / "Codes", ignored);
    std::ofstream page(logFolder / "Codes" / "WLE.html");
    page << "<!DOCTYPE html>\n<meta charset=\"utf-8\">\n<title>System errors</title>\n"
            "<style>:root{color-scheme:light dark;font-family:sans-serif}:target{font-weight:bold}"
            "</style>\n<h1>System errors</h1>\n<dl>\n";
    for (int error = 1; error <= highestError; ++error)
        page << "<dt id=\"" << error << "\">WLE" << error << "</dt><dd>"
             << std::system_category().message(error) << "</dd>\n";
    page << "</dl>\n";
    page.close();
    return page.good();
}
