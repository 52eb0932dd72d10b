#include <zmu/sysinfo/internal/ModuleTable.h>

#include <zmu/foundation/internal/Trim.h>
#include <zmu/localize/internal/OwnModule.h>
#include <zmu/platform/InputFile.h>
#include <zmu/platform/Paths.h>
#include <zmu/platform/Win32.h>

#include <QString>

#include <algorithm>
#include <iterator>
#include <optional>

namespace zmu {

namespace {

constexpr wchar_t listName[] = L"zmu-modules.txt";
constexpr std::size_t listSizeMax = 0x10000;
constexpr std::size_t rowsMax = 1000;

/// Beside the library; empty when the library is none of its own.
std::wstring listPath()
{
    wchar_t path[1024] = {};
    const HMODULE library = GetModuleHandleW(ownModuleName);
    const DWORD length =
        library ? GetModuleFileNameW(library, path, static_cast<DWORD>(std::size(path))) : 0;
    if (length == 0 || length >= std::size(path))
        return {};
    std::wstring result(path, length);
    while (!result.empty() && !isPathSeparator(result.back()))
        result.pop_back();
    return result + listName;
}

std::string readList(const std::wstring& path)
{
    InputFile file;
    if (path.empty() || !file.open(path.c_str()))
        return {};
    std::string text(std::min<u64>(file.size(), listSizeMax + 1), '\0'); // one more shows a cut
    return file.read(0, text.data(), text.size()) ? text : std::string();
}

std::wstring widen(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())).toStdWString();
}

/// What a file of a list is called here; a full path already says it.
std::wstring nameHere(const std::wstring& file)
{
    if (isFullPath(file))
        return file;
    const auto name = std::find_if(file.rbegin(), file.rend(), isPathSeparator).base();
    return std::wstring(file.begin(), name) + modules::fileName({name, file.end()});
}

std::optional<ModuleTable::Row> parseRow(std::string_view line)
{
    const std::string_view home = line.substr(0, line.find_first_of(" \t"));
    const std::string_view file = trim(line.substr(home.size()));
    if (home == "kernel" && file.empty())
        return ModuleTable::Row{{}, modules::Home::System};
    constexpr std::pair<std::string_view, modules::Home> homes[] = {
        {"program", modules::Home::Program},
        {"system", modules::Home::System},
        {"drivers", modules::Home::Drivers}};
    for (const auto& [name, id] : homes) {
        if (home != name || file.empty() || file.find('\0') != file.npos)
            continue;
        // One that is nothing but an ending has no name here, and no name is the kernel's.
        ModuleTable::Row row{nameHere(widen(file)), id};
        return row.file.empty() ? std::nullopt : std::optional(std::move(row));
    }
    return std::nullopt;
}

} // namespace

std::vector<ModuleTable::Row> parseModuleList(std::string_view text, const std::wstring& path)
{
    std::vector<ModuleTable::Row> rows;
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (text.starts_with(byteOrderMark))
        text.remove_prefix(byteOrderMark.size());
    const auto tell = [&](int number, const wchar_t* what) {
        OutputDebugStringW((path + L", line " + std::to_wstring(number) + L": " + what).c_str());
    };
    const bool isTooLong = text.size() > listSizeMax;
    if (isTooLong)
        text = text.substr(0, text.rfind('\n', listSizeMax) + 1);
    int number = 1;
    for (; !text.empty() && rows.size() < rowsMax; ++number) {
        const std::string_view whole = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(whole.size() + 1, text.size()));
        const std::string_view line = trim(whole.substr(0, whole.find('#')));
        if (line.empty())
            continue;
        if (auto row = parseRow(line))
            rows.push_back(std::move(*row));
        else
            tell(number, L"expected program, system or drivers with a file, or kernel; the line is "
                         L"passed over.\n");
    }
    if (isTooLong || !text.empty())
        tell(number, L"a list ends at 64 KiB or 1000 modules; this line and those behind it are "
                     L"passed over.\n");
    return rows;
}

ModuleTable::ModuleTable()
{
    const std::wstring path = listPath();
    m_rows = parseModuleList(readList(path), path);
    if (!m_rows.empty())
        return;
    for (const modules::Listed& listed : modules::builtInList())
        m_rows.push_back({listed.file ? listed.file : L"", listed.home});
}

} // namespace zmu
