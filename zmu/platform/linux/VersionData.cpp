// Version data of modules: ELF notes that are read from the file, and the block made of them.
//
// A module carries one note for each language (zmu_module_version of cmake/ZmuModuleVersion.cmake
// makes it). The note's name is "zmu" and its type 1. Its descriptor is a row of UTF-8 texts, each
// with a terminator: the key of the language and code page, then name and value by turns.
#include <zmu/platform/Win32.h>
#include <zmu/platform/linux/Conversion.h>
#include <zmu/platform/linux/ElfFile.h>
#include <zmu/platform/linux/ModuleFiles.h>

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

using namespace zmu;

namespace {

using namespace std::string_view_literals;

constexpr std::string_view noteName = "zmu\0"sv;
constexpr unsigned noteType = 1;

constexpr std::size_t maxTextBytes = std::size_t{64} * 1024; ///< Version data of a file.

// ---- The block ---------------------------------------------------------------------------------
//
// A header, the translations, then for each language in wide, terminated texts: its key, names and
// values by turns, and an empty text.

struct Translation {
    WORD language;
    WORD codePage;
};

struct BlockHeader {
    char magic[8];
    DWORD textCount; ///< Elements of all texts with their terminators.
    DWORD translationCount;
};
constexpr BlockHeader emptyHeader = {{'z', 'm', 'u', ' ', 'v', 'e', 'r', 's'}, 0, 0};

/// What the block holds, before it is one. Texts are aligned by what stands in front of them.
struct VersionData {
    std::vector<Translation> translations;
    std::wstring texts;

    std::size_t size() const
    {
        return sizeof(BlockHeader) + translations.size() * sizeof(Translation) +
               texts.size() * sizeof(wchar_t);
    }
};
static_assert(sizeof(BlockHeader) % alignof(wchar_t) == 0);
static_assert(sizeof(Translation) % alignof(wchar_t) == 0);

/// Takes one terminated text off `bytes`; nothing if the terminator is missing.
std::optional<std::string_view> takeText(std::string_view& bytes)
{
    const std::size_t length = bytes.find('\0');
    if (length == bytes.npos)
        return std::nullopt;
    const std::string_view text = bytes.substr(0, length);
    bytes.remove_prefix(length + 1);
    return text;
}

void appendWide(std::wstring& texts, std::string_view text)
{
    texts.append(widen(text)).append(1, L'\0');
}

/// A key is eight hexadecimal digits, the language before the code page.
std::optional<Translation> translationOf(std::string_view key)
{
    DWORD words = 0;
    if (key.size() != 8)
        return std::nullopt;
    for (const char c : key) {
        const auto digit = static_cast<DWORD>(c >= '0' && c <= '9'   ? c - '0'
                                              : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                              : c >= 'a' && c <= 'f' ? c - 'a' + 10
                                                                     : 16);
        if (digit > 15)
            return std::nullopt;
        words = words << 4 | digit;
    }
    return Translation{static_cast<WORD>(words >> 16), static_cast<WORD>(words)};
}

/// Adds one language. A descriptor that ends in the middle counts as far as it is whole.
void addLanguage(VersionData& data, std::string_view descriptor)
{
    const auto key = takeText(descriptor);
    if (!key)
        return;
    if (const auto translation = translationOf(*key))
        data.translations.push_back(*translation);
    appendWide(data.texts, *key);
    while (true) {
        const auto name = takeText(descriptor);
        const auto value = name ? takeText(descriptor) : std::nullopt;
        if (!value || name->empty())
            break;
        appendWide(data.texts, *name);
        appendWide(data.texts, *value);
    }
    data.texts += L'\0';
}

/// The version data of a file by the name of a module; empty with the last error when there is
/// none.
VersionData load(const wchar_t* name)
{
    VersionData data;
    zmu::InputFile file;
    if (name)
        file.open(zmu::findModuleFile(name));
    std::size_t textBytes = 0;
    for (const std::string& descriptor : zmu::readNotes(file, noteName, noteType)) {
        textBytes += descriptor.size();
        if (textBytes > maxTextBytes)
            break;
        addLanguage(data, descriptor);
    }
    if (data.texts.empty())
        SetLastError(file.isOpen() ? ERROR_RESOURCE_DATA_NOT_FOUND : ERROR_FILE_NOT_FOUND);
    return data;
}

void write(const VersionData& data, void* block)
{
    BlockHeader header = emptyHeader;
    header.textCount = static_cast<DWORD>(data.texts.size());
    header.translationCount = static_cast<DWORD>(data.translations.size());
    auto* bytes = static_cast<char*>(block);
    const auto put = [&bytes](const void* source, std::size_t size) {
        if (size != 0)
            std::memcpy(bytes, source, size);
        bytes += size;
    };
    put(&header, sizeof header);
    put(data.translations.data(), data.translations.size() * sizeof(Translation));
    put(data.texts.data(), data.texts.size() * sizeof(wchar_t));
}

// ---- Asking the block --------------------------------------------------------------------------

/// One value in the block: where it begins, and its length as the caller is told it.
struct Value {
    const void* start = nullptr;
    std::size_t length = 0;
};

/// The texts of a block, taken one by one.
class TextWalk {
  public:
    TextWalk(const wchar_t* texts, std::size_t count) : m_position(texts), m_end(texts + count) {}

    bool atEnd() const { return m_position == m_end; }
    const wchar_t* take()
    {
        const wchar_t* const text = m_position;
        m_position += std::wcslen(text) + 1;
        return text;
    }

  private:
    const wchar_t* m_position;
    const wchar_t* m_end;
};

Value findText(TextWalk texts, const wchar_t* key, const wchar_t* name)
{
    while (!texts.atEnd()) {
        const bool isLanguage = _wcsicmp(texts.take(), key) == 0;
        for (const wchar_t* next = texts.take(); *next; next = texts.take()) {
            const wchar_t* const value = texts.take();
            if (isLanguage && _wcsicmp(next, name) == 0)
                return {value, std::wcslen(value) + 1};
        }
    }
    return {};
}

/// The parts of an address, each led by a backslash. None for an address that has no such form.
std::vector<std::wstring> splitAddress(std::wstring_view address)
{
    std::vector<std::wstring> parts;
    while (address.starts_with(L'\\')) {
        address.remove_prefix(1);
        const std::size_t length = std::min(address.find(L'\\'), address.size());
        parts.emplace_back(address.substr(0, length));
        address.remove_prefix(length);
    }
    return address.empty() ? parts : std::vector<std::wstring>();
}

Value findValue(const void* block, const wchar_t* address)
{
    const std::vector<std::wstring> parts = splitAddress(address);
    BlockHeader header;
    std::memcpy(&header, block, sizeof header);
    if (std::memcmp(header.magic, emptyHeader.magic, sizeof header.magic) != 0)
        return {};
    const auto* const translations =
        reinterpret_cast<const Translation*>(static_cast<const char*>(block) + sizeof header);
    const auto* const texts =
        reinterpret_cast<const wchar_t*>(translations + header.translationCount);

    if (parts.size() == 2 && _wcsicmp(parts[0].c_str(), L"VarFileInfo") == 0 &&
        _wcsicmp(parts[1].c_str(), L"Translation") == 0 && header.translationCount != 0)
        return {translations, header.translationCount * sizeof(Translation)};
    if (parts.size() == 3 && _wcsicmp(parts[0].c_str(), L"StringFileInfo") == 0)
        return findText(TextWalk(texts, header.textCount), parts[1].c_str(), parts[2].c_str());
    return {};
}

} // namespace

DWORD GetFileVersionInfoSizeW(const wchar_t* file, DWORD* handle)
{
    if (handle)
        *handle = 0;
    return withoutThrowing([file] {
        const VersionData data = load(file);
        return data.texts.empty() ? 0 : static_cast<DWORD>(data.size());
    });
}

BOOL GetFileVersionInfoW(const wchar_t* file, DWORD, DWORD size, void* block)
{
    return withoutThrowing([=]() -> BOOL {
        const VersionData data = load(file);
        if (data.texts.empty())
            return FALSE;
        if (!block || data.size() > size) {
            SetLastError(ERROR_INSUFFICIENT_BUFFER);
            return FALSE;
        }
        write(data, block);
        return TRUE;
    });
}

BOOL VerQueryValueW(const void* block, const wchar_t* address, void** value, UINT* length)
{
    Value found;
    if (block && address && value && length)
        found = withoutThrowing([&] { return findValue(block, address); });
    if (!found.start) {
        SetLastError(ERROR_RESOURCE_DATA_NOT_FOUND);
        return FALSE;
    }
    *value = const_cast<void*>(found.start);
    *length = static_cast<UINT>(found.length);
    return TRUE;
}
