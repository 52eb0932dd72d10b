// The machine's settings: one section of an INI file stands for a key.
//
// The file is PRODUCT.ini in the folder ORGANISATION of each folder that XDG_CONFIG_DIRS names, in
// their order; what an earlier one says counts. A value is written where it stands, else into the
// first file that there is.
#include <zmu/platform/Win32.h>
#include <zmu/platform/linux/Conversion.h>
#include <zmu/platform/linux/ModuleFiles.h>
#include <zmu/platform/linux/SettingsFile.h>
#include <zmu/platform/linux/SettingsText.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
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

/// As withoutThrowing, for calls that answer with the error itself, which `body` may raise.
template <class Body>
long orError(Body body)
{
    try {
        return static_cast<long>(body());
    } catch (DWORD error) {
        return static_cast<long>(error);
    } catch (const std::exception&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

} // namespace

/// An open key.
struct HKEY__ {
    std::vector<std::string> files; ///< By rank; not all of them exist.
    std::string section;

    DWORD check() const
    {
        if (files.empty())
            return ERROR_FILE_NOT_FOUND;
        for (const std::string& file : files) {
            if (!exists(file))
                continue;
            if (eaccess(file.c_str(), R_OK) != 0)
                return ERROR_ACCESS_DENIED;
            const std::optional<std::string> text = readSettings(file);
            if (!text)
                return errorOf(errno);
            if (!isSettingsText(*text))
                return ERROR_FILE_CORRUPT;
        }
        return ERROR_SUCCESS;
    }

    std::optional<std::string> find(const std::string& name) const
    {
        for (const std::string& file : files) {
            if (auto value = findSetting(textOf(file), section, name))
                return value;
        }
        return std::nullopt;
    }

    /// The file that a value is written to.
    const std::string& fileFor(const std::string& name) const
    {
        const std::string* place = nullptr;
        for (const std::string& file : files) {
            if (findSetting(textOf(file), section, name))
                return file;
            if (!place && exists(file))
                place = &file;
        }
        return place ? *place : files.front();
    }

    /// Whether there is no file, and this process may not make one: nobody has set anything, and
    /// nothing can be repaired.
    bool isNowhere() const
    {
        for (const std::string& file : files) {
            if (exists(file))
                return false;
        }
        return !mayMake(files.front());
    }

    /// Raises the error of a file that cannot be read whole.
    static std::string textOf(const std::string& file)
    {
        std::optional<std::string> text = readSettings(file);
        if (!text)
            throw DWORD{errorOf(errno)};
        return *std::move(text);
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
        auto handle = std::make_unique<HKEY__>(
            HKEY__{settingsFiles(std::getenv("XDG_CONFIG_DIRS"), organisation, product),
                   std::string(rest)});
        const DWORD result = handle->check();
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
        const std::string setting = narrow(name);
        const std::string& file = key->fileFor(setting);
        if (!exists(file))
            makeFolderOf(file);
        const bool mayReplace = eaccess(std::string(folderOf(file)).c_str(), W_OK) == 0;
        if (!mayReplace && eaccess(file.c_str(), W_OK) != 0)
            return ERROR_ACCESS_DENIED;
        // Who may not make a file beside it cannot lock it either, and has only its own value.
        std::optional<SettingsLock> lock;
        if (mayReplace && !lock.emplace(file).isHeld())
            return ERROR_ACCESS_DENIED;
        const std::string text =
            withSetting(HKEY__::textOf(file), key->section, setting, std::to_string(number));
        return replaceSettings(file, text) ? ERROR_SUCCESS : ERROR_WRITE_FAULT;
    });
}

long RegCloseKey(HKEY key)
{
    if (!key)
        return ERROR_INVALID_HANDLE;
    delete key;
    return ERROR_SUCCESS;
}
