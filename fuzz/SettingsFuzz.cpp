// The machine's settings: what a file says, and what it says once a setting was written into it.
#include "Support.h"

#include <zmu/platform/Win32.h>
#include <zmu/platform/linux/SettingsFile.h>
#include <zmu/platform/linux/SettingsText.h>

#include <ctime>
#include <filesystem>

using namespace zmu_fuzz;

// A file without text is read again later, as if it were being written, and nobody writes it here.
extern "C" int __wrap_nanosleep(const timespec*, timespec*)
{
    return 0;
}

namespace {

/// A word that stands in a line as it is.
bool isPlain(std::string_view word)
{
    constexpr std::string_view special = "\n\r\t =[];\"\xEF";
    return !word.empty() && word.find_first_of(special) == word.npos;
}

void checkText(const std::string& text, const std::string& section, const std::string& name,
               const std::string& value)
{
    const std::string changed = zmu::withSetting(text, section, name, value);
    FUZZ_CHECK(zmu::findSetting(changed, section, name) == value);
    FUZZ_CHECK(zmu::isSettingsText(changed) == zmu::isSettingsText(text));
    FUZZ_CHECK(zmu::withSetting(changed, section, name, value) == changed);
    for (const std::string other : {"Other", "ZM_Assertiveness"}) {
        if (other != name)
            FUZZ_CHECK(zmu::findSetting(changed, section, other) ==
                       zmu::findSetting(text, section, other));
    }
}

/// The same by the calls that the library makes, in a file.
void checkFile(const std::string& text, DWORD number)
{
    static const std::string folder = pathOf("Quorvane");
    std::filesystem::create_directories(folder);
    const std::string path = folder + "/Farrowlink.ini";
    writeFile(path, text);
    HKEY key = nullptr;
    const long opened = RegOpenKeyExW(
        HKEY_LOCAL_MACHINE, L"SOFTWARE\\Quorvane\\Farrowlink\\AppServer", 0, KEY_ALL_ACCESS, &key);
    FUZZ_CHECK(opened == (zmu::isSettingsText(text) ? ERROR_SUCCESS : ERROR_FILE_CORRUPT));
    if (!key)
        return;
    DWORD type = 0;
    DWORD size = 0;
    const auto query = [&](u8* data) {
        return RegQueryValueExW(key, L"ZM_Assertiveness", nullptr, &type, data, &size);
    };
    if (query(nullptr) == ERROR_SUCCESS) {
        std::vector<u8> value(size);
        FUZZ_CHECK(query(value.data()) == ERROR_SUCCESS && size == value.size());
        FUZZ_CHECK(type == REG_DWORD || (type == REG_SZ && size % sizeof(wchar_t) == 0));
        size = value.empty() ? 0 : size - 1;
        FUZZ_CHECK(query(value.data()) == ERROR_MORE_DATA);
    }
    FUZZ_CHECK(RegSetValueExW(key, L"ZM_Assertiveness", 0, REG_DWORD,
                              reinterpret_cast<const u8*>(&number),
                              sizeof number) == ERROR_SUCCESS);
    DWORD stored = ~number;
    size = sizeof stored;
    FUZZ_CHECK(query(reinterpret_cast<u8*>(&stored)) == ERROR_SUCCESS && stored == number);
    RegCloseKey(key);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    const std::string text = input.text();
    const std::string section = input.flag() ? "AppServer" : input.text();
    const std::string name = input.flag() ? "ZM_Assertiveness" : input.text();
    const std::string value = input.text();
    const auto number = input.number<DWORD>();
    if (isPlain(section) && isPlain(name) && isPlain(value))
        checkText(text, section, name, value);
    checkFile(text, number);
    return 0;
}
