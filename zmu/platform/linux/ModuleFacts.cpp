#include <zmu/platform/ModuleFacts.h>

#include <zmu/platform/linux/Conversion.h>
#include <zmu/platform/linux/ElfFile.h>

#include <elf.h>

#include <climits>
#include <cstdlib>
#include <string_view>

namespace zmu::modules {

namespace {

/// "2.0.1" of "libx.so.2.0.1"; empty for another form.
std::string_view versionSuffix(std::string_view name)
{
    constexpr std::string_view mark = ".so.";
    const std::size_t at = name.rfind(mark);
    if (at == name.npos)
        return {};
    const std::string_view version = name.substr(at + mark.size());
    return version.find_first_not_of(".0123456789") == version.npos ? version : std::string_view();
}

/// The file that a path leads to in the end, without its folder.
std::string realName(const wchar_t* path)
{
    char name[PATH_MAX];
    if (!realpath(narrow(path).c_str(), name))
        return {};
    const std::string_view all = name;
    return std::string(all.substr(all.rfind('/') + 1));
}

} // namespace

std::wstring checksum(const InputFile& file)
{
    using namespace std::string_view_literals;
    constexpr std::string_view name = "GNU\0"sv;
    constexpr std::size_t bytesMax = 64;
    constexpr wchar_t digits[] = L"0123456789abcdef";
    std::wstring text;
    for (const std::string& id : readNotes(file, name, NT_GNU_BUILD_ID)) {
        if (id.size() > bytesMax)
            continue;
        for (const char byte : id) {
            text += digits[static_cast<unsigned char>(byte) >> 4];
            text += digits[byte & 0xF];
        }
        break;
    }
    return text;
}

std::wstring linkTime(const InputFile&)
{
    return {};
}

Versions versions(const InputFile& file, const wchar_t* path)
{
    const std::string soname = readSoname(file);
    const std::string_view asked = versionSuffix(soname);
    if (asked.empty())
        return {};
    const std::string name = realName(path);
    const std::string_view whole = versionSuffix(name);
    return {widen(name.starts_with(soname) ? whole : asked), widen(asked)};
}

} // namespace zmu::modules
