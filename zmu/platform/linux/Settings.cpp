// The machine's settings: one section of an INI file stands for a key.
//
// The file is PRODUCT.ini in the folder ORGANISATION of each folder that XDG_CONFIG_DIRS names, in
// their order; what an earlier one says counts. A value is written where it stands, else into the
// first file that there is.
#include <zmu/platform/Threads.h>
#include <zmu/platform/Win32.h>
#include <zmu/platform/linux/Conversion.h>
#include <zmu/platform/linux/ModuleFiles.h>
#include <zmu/platform/linux/SettingsFile.h>
#include <zmu/platform/linux/SettingsReader.h>
#include <zmu/platform/linux/SettingsText.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using namespace zmu;

namespace {

/// Whether the process may make `path` and the folders that it needs.
bool mayMake(const std::string& path)
{
    std::string_view folder = path;
    while (folder.size() > 1) {
        folder = folder.substr(0, folder.rfind('/'));
        const std::string name(folder.empty() ? "/" : folder);
        if (exists(name))
            return eaccess(name.c_str(), W_OK | X_OK) == 0;
    }
    return false;
}

void makeFolderOf(const std::string& path)
{
    for (std::size_t end = 1; (end = path.find('/', end)) != path.npos; ++end)
        mkdir(path.substr(0, end).c_str(), 0755);
}

/// Gives a value to the caller, as far as it has room.
DWORD deliver(DWORD valueType, const void* value, std::size_t valueSize, DWORD* type, u8* data,
              DWORD* size)
{
    const DWORD room = *size;
    *size = static_cast<DWORD>(valueSize);
    if (type)
        *type = valueType;
    if (!data)
        return ERROR_SUCCESS;
    if (room < valueSize)
        return ERROR_MORE_DATA;
    std::memcpy(data, value, valueSize);
    return ERROR_SUCCESS;
}

} // namespace

/// An open key. It keeps what the files said when it was opened, and what it has written since.
struct HKEY__ {
    struct File {
        std::string path;
        bool isThere = false;
        std::string text;
    };

    std::vector<File> files; ///< By rank.
    std::string section;

    /// Reads the files.
    DWORD open()
    {
        if (files.empty())
            return ERROR_FILE_NOT_FOUND;
        const CancellationHold hold;
        for (File& file : files) {
            file.isThere = exists(file.path);
            if (!file.isThere)
                continue;
            std::optional<std::string> text = readSettings(file.path);
            if (!text)
                return errorOf(errno);
            if (!isSettingsText(*text))
                return ERROR_FILE_CORRUPT;
            file.text = *std::move(text);
        }
        return ERROR_SUCCESS;
    }

    std::optional<std::string> find(const std::string& name) const
    {
        for (const File& file : files) {
            if (auto value = findSetting(file.text, section, name))
                return value;
        }
        return std::nullopt;
    }

    /// The file that a value is written to.
    File& fileFor(const std::string& name)
    {
        File* place = nullptr;
        for (File& file : files) {
            if (findSetting(file.text, section, name))
                return file;
            if (!place && file.isThere)
                place = &file;
        }
        return place ? *place : files.front();
    }

    /// Whether there is no file, and this process may not make one: nobody has set anything, and
    /// nothing can be repaired.
    bool isNowhere() const
    {
        return std::none_of(files.begin(), files.end(),
                            [](const File& file) { return file.isThere; }) &&
               !mayMake(files.front().path);
    }

    /// Writes a value, unless another process has written one since the file was read: that came
    /// later, and counts.
    DWORD write(const std::string& name, const std::string& value)
    {
        File& file = fileFor(name);
        if (!file.isThere)
            makeFolderOf(file.path);
        SettingsChange change(file.path);
        if (!change.isAllowed())
            return ERROR_ACCESS_DENIED;
        std::optional<std::string> text = change.read(file.isThere && file.text.empty());
        if (!text)
            return errorOf(errno);
        if (findSetting(*text, section, name) == findSetting(file.text, section, name)) {
            *text = withSetting(*text, section, name, value);
            if (!change.write(*text))
                return ERROR_WRITE_FAULT;
        }
        file.isThere = true;
        file.text = *std::move(text);
        return ERROR_SUCCESS;
    }
};

long RegOpenKeyExW(HKEY root, const wchar_t* key, DWORD, DWORD, HKEY* opened)
{
    return orError([&]() -> DWORD {
        *opened = nullptr;
        const std::string name = narrow(key);
        std::string_view rest = name;
        const bool isSoftware = takePart(rest, '\\') == "SOFTWARE";
        const std::string organisation(takePart(rest, '\\'));
        const std::string product(takePart(rest, '\\'));
        if (root != HKEY_LOCAL_MACHINE || !isSoftware || rest.empty() || isPath(name) ||
            rest.find('\\') != rest.npos)
            return ERROR_FILE_NOT_FOUND;
        auto handle = std::make_unique<HKEY__>();
        handle->section = rest;
        for (std::string& file :
             settingsFiles(std::getenv("XDG_CONFIG_DIRS"), organisation, product))
            handle->files.emplace_back().path = std::move(file);
        const DWORD result = handle->open();
        if (result == ERROR_SUCCESS)
            *opened = handle.release();
        return result;
    });
}

long RegQueryValueExW(HKEY key, const wchar_t* name, DWORD*, DWORD* type, u8* data, DWORD* size)
{
    return orError([&]() -> DWORD {
        std::optional<std::string> value = key->find(narrow(name));
        if (!value && key->isNowhere())
            value.emplace(1, '0');
        if (!value)
            return ERROR_FILE_NOT_FOUND;
        DWORD number = 0;
        const char* const end = value->data() + value->size();
        const auto [read, error] = std::from_chars(value->data(), end, number);
        if (error == std::errc() && read == end)
            return deliver(REG_DWORD, &number, sizeof number, type, data, size);
        const std::wstring wide = widen(*value);
        return deliver(REG_SZ, wide.c_str(), (wide.size() + 1) * sizeof(wchar_t), type, data, size);
    });
}

long RegSetValueExW(HKEY key, const wchar_t* name, DWORD, DWORD type, const u8* data, DWORD size)
{
    return orError([&]() -> DWORD {
        DWORD number = 0;
        if (type != REG_DWORD || size != sizeof number)
            return ERROR_INVALID_PARAMETER;
        std::memcpy(&number, data, sizeof number);
        return key->write(narrow(name), std::to_string(number));
    });
}

long RegCloseKey(HKEY key)
{
    if (!key)
        return ERROR_INVALID_HANDLE;
    delete key;
    return ERROR_SUCCESS;
}
