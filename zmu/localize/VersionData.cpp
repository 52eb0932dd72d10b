// Version data of modules. A module named by its handle is asked by its file, and a file by the
// block that is loaded from it: the last form of each operation does the work.
#include <zmu/localize/ZarnLocalizeHelpers.h>

#include <zmu/foundation/internal/Texts.h>
#include <zmu/foundation/internal/WideFormat.h>
#include <zmu/platform/Win32.h>

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <iterator>
#include <new>

using namespace zmu;

namespace {

constexpr unsigned firstValueName = 13003;
constexpr unsigned lastValueName = 13011;
constexpr std::size_t pathCapacity = 260;
constexpr std::size_t addressCapacity = 260;
constexpr std::size_t valueNameCapacity = 48;
constexpr std::size_t keyCapacity = 16;
constexpr wchar_t translationAddress[] = L"\\VarFileInfo\\Translation";

/// Empties an output; false when there is none.
bool clear(wchar_t* buffer, u64 capacity)
{
    if (!buffer || capacity < 1)
        return false;
    std::wmemset(buffer, L'\0', capacity);
    return true;
}

/// The file of a module.
class ModuleFileName {
  public:
    explicit ModuleFileName(HINSTANCE module)
    {
        const DWORD length = module ? GetModuleFileNameW(module, m_text, pathCapacity) : 0;
        m_isKnown = length != 0 && length < pathCapacity;
    }

    explicit operator bool() const { return m_isKnown; }
    const wchar_t* text() const { return m_text; }

    /// The path without the prefix under which the system reports its logon process.
    const wchar_t* withoutPrefix() const
    {
        constexpr wchar_t prefix[] = L"\\??\\";
        constexpr std::size_t length = std::size(prefix) - 1;
        const bool isMarked =
            std::wcsncmp(m_text, prefix, length) == 0 && std::wcsstr(m_text, L"Logon.exe");
        return isMarked ? m_text + length : m_text;
    }

  private:
    wchar_t m_text[pathCapacity] = {};
    bool m_isKnown;
};

/// The block of a file, for a scope.
class FileBlock {
  public:
    explicit FileBlock(const wchar_t* file)
    {
        ZarnLocalizeHelpers::extractModuleVerBlock(file, m_block);
    }
    ~FileBlock() { ZarnLocalizeHelpers::deleteModuleVerBlock(m_block); }
    FileBlock(const FileBlock&) = delete;
    FileBlock& operator=(const FileBlock&) = delete;

    void*& get() { return m_block; } ///< Null if the file has none.

  private:
    void* m_block = nullptr;
};

/// One value of a block; null if there is none.
const void* query(const void* block, const wchar_t* address, UINT& length)
{
    void* value = nullptr;
    length = 0;
    return block && !isEmpty(address) && VerQueryValueW(block, address, &value, &length) ? value
                                                                                         : nullptr;
}

bool writeKey(wchar_t* buffer, u64 capacity, unsigned short language, unsigned short codePage)
{
    return formatWide(buffer, capacity, L"%04X%04X", unsigned(language), unsigned(codePage)) > 0;
}

} // namespace

// ---- Blocks ----

bool ZarnLocalizeHelpers::extractModuleVerBlock(HINSTANCE module, void*& block)
{
    const ModuleFileName file(module);
    if (file)
        return extractModuleVerBlock(file.text(), block);
    deleteModuleVerBlock(block);
    return false;
}

bool ZarnLocalizeHelpers::extractModuleVerBlock(const wchar_t* file, void*& block)
{
    deleteModuleVerBlock(block);
    if (isEmpty(file))
        return false;
    DWORD handle = 0;
    const DWORD size = GetFileVersionInfoSizeW(file, &handle);
    if (size == 0)
        return false;
    block = new (std::nothrow) unsigned char[size]();
    if (block && GetFileVersionInfoW(file, 0, size, block))
        return true;
    deleteModuleVerBlock(block);
    return false;
}

void ZarnLocalizeHelpers::deleteModuleVerBlock(void*& block)
{
    delete[] static_cast<unsigned char*>(block);
    block = nullptr;
}

// ---- Translations ----

bool ZarnLocalizeHelpers::extractModuleVerTranslation(HINSTANCE module, unsigned short& language,
                                                      unsigned short& codePage,
                                                      const wchar_t* translationBlock)
{
    language = codePage = 0;
    const ModuleFileName file(module);
    return file && extractModuleVerTranslation(file.text(), language, codePage, translationBlock);
}

bool ZarnLocalizeHelpers::extractModuleVerTranslation(const wchar_t* file, unsigned short& language,
                                                      unsigned short& codePage,
                                                      const wchar_t* translationBlock)
{
    FileBlock block(file);
    return extractModuleVerTranslation(block.get(), language, codePage, translationBlock);
}

bool ZarnLocalizeHelpers::extractModuleVerTranslation(void*& block, unsigned short& language,
                                                      unsigned short& codePage,
                                                      const wchar_t* translationBlock)
{
    language = codePage = 0;
    unsigned short words[2];
    UINT size = 0;
    const void* value = query(block, translationBlock, size);
    if (!value || size < sizeof words)
        return false;
    std::memcpy(words, value, sizeof words);
    language = words[0];
    codePage = words[1];
    return true;
}

bool ZarnLocalizeHelpers::extractModuleVerTranslation(HINSTANCE module, wchar_t* buffer,
                                                      u64 capacity, const wchar_t* translationBlock)
{
    const ModuleFileName file(module);
    if (file)
        return extractModuleVerTranslation(file.text(), buffer, capacity, translationBlock);
    clear(buffer, capacity);
    return false;
}

bool ZarnLocalizeHelpers::extractModuleVerTranslation(const wchar_t* file, wchar_t* buffer,
                                                      u64 capacity, const wchar_t* translationBlock)
{
    unsigned short language = 0;
    unsigned short codePage = 0;
    if (!buffer)
        return false;
    clear(buffer, capacity);
    if (!extractModuleVerTranslation(file, language, codePage, translationBlock))
        return false;
    return writeKey(buffer, keyCapacity, language, codePage);
}

bool ZarnLocalizeHelpers::extractModuleVerTranslation(void*& block, wchar_t* buffer, u64 capacity,
                                                      const wchar_t* translationBlock)
{
    unsigned short language = 0;
    unsigned short codePage = 0;
    if (!clear(buffer, capacity) ||
        !extractModuleVerTranslation(block, language, codePage, translationBlock))
        return false;
    if (writeKey(buffer, capacity, language, codePage))
        return true;
    clear(buffer, capacity);
    return false;
}

// ---- Values ----

bool ZarnLocalizeHelpers::extractModuleVerValue(HINSTANCE module, wchar_t* buffer, u64 capacity,
                                                const wchar_t* valueName,
                                                const wchar_t* translation,
                                                const wchar_t* infoBlock, wchar_t separator)
{
    const ModuleFileName file(module);
    if (file)
        return extractModuleVerValue(file.withoutPrefix(), buffer, capacity, valueName, translation,
                                     infoBlock, separator);
    clear(buffer, capacity);
    return false;
}

bool ZarnLocalizeHelpers::extractModuleVerValue(const wchar_t* file, wchar_t* buffer, u64 capacity,
                                                const wchar_t* valueName,
                                                const wchar_t* translation,
                                                const wchar_t* infoBlock, wchar_t separator)
{
    if (!clear(buffer, capacity) || isEmpty(file) || isEmpty(valueName) || isEmpty(infoBlock) ||
        separator == L'\0')
        return false;
    FileBlock block(file);
    return extractModuleVerValue(block.get(), buffer, capacity, valueName, translation, infoBlock,
                                 separator);
}

bool ZarnLocalizeHelpers::extractModuleVerValue(void*& block, wchar_t* buffer, u64 capacity,
                                                const wchar_t* valueName,
                                                const wchar_t* translation,
                                                const wchar_t* infoBlock, wchar_t separator)
{
    if (!clear(buffer, capacity) || !block || isEmpty(valueName) || isEmpty(infoBlock) ||
        separator == L'\0')
        return false;
    wchar_t key[keyCapacity] = {};
    if (isEmpty(translation)) {
        if (!extractModuleVerTranslation(block, key, keyCapacity, translationAddress))
            return false;
        translation = key;
    }
    wchar_t address[addressCapacity];
    if (formatWide(address, addressCapacity, L"%lc%ls%lc%ls%lc%ls", std::wint_t(separator),
                   infoBlock, std::wint_t(separator), translation, std::wint_t(separator),
                   valueName) < 1)
        return false;
    return extractModuleVerValue_(block, buffer, capacity, address);
}

bool ZarnLocalizeHelpers::extractModuleVerValue_(void*& block, wchar_t* buffer, u64 capacity,
                                                 const wchar_t* address)
{
    UINT count = 0;
    if (!clear(buffer, capacity))
        return false;
    const auto* value = static_cast<const wchar_t*>(query(block, address, count));
    if (!value || count == 0)
        return false;
    const std::size_t length = wcsnlen(value, std::min<u64>(count, capacity - 1));
    std::wmemcpy(buffer, value, length);
    buffer[length] = L'\0';
    return true;
}

// ---- Values by the ID of their name ----

namespace {

/// The name of one of the nine values; empty for an ID that is none.
class ValueName {
  public:
    explicit ValueName(unsigned id)
    {
        if (id >= firstValueName && id <= lastValueName)
            ZarnLocalizeHelpers::loadIntrinsicString(id, m_text, valueNameCapacity);
    }
    const wchar_t* text() const { return m_text; }

  private:
    wchar_t m_text[valueNameCapacity] = {};
};

} // namespace

bool ZarnLocalizeHelpers::extractModuleVerValueSFI_(HINSTANCE module, wchar_t* buffer, u64 capacity,
                                                    unsigned int valueNameId,
                                                    const wchar_t* translation,
                                                    const wchar_t* infoBlock, wchar_t separator)
{
    return extractModuleVerValue(module, buffer, capacity, ValueName(valueNameId).text(),
                                 translation, infoBlock, separator);
}

bool ZarnLocalizeHelpers::extractModuleVerValueSFI_(const wchar_t* file, wchar_t* buffer,
                                                    u64 capacity, unsigned int valueNameId,
                                                    const wchar_t* translation,
                                                    const wchar_t* infoBlock, wchar_t separator)
{
    return extractModuleVerValue(file, buffer, capacity, ValueName(valueNameId).text(), translation,
                                 infoBlock, separator);
}

bool ZarnLocalizeHelpers::extractModuleVerValueSFI_(void*& block, wchar_t* buffer, u64 capacity,
                                                    unsigned int valueNameId,
                                                    const wchar_t* translation,
                                                    const wchar_t* infoBlock, wchar_t separator)
{
    return extractModuleVerValue(block, buffer, capacity, ValueName(valueNameId).text(),
                                 translation, infoBlock, separator);
}

bool ZarnLocalizeHelpers::obtainVersionZGW(wchar_t* buffer, u64 capacity, Zarn_FORM_TAG tag,
                                           HINSTANCE module)
{
    if (!clear(buffer, capacity) || capacity < 2)
        return false;
    const auto ask = [&](auto from) {
        constexpr wchar_t block[] = L"StringFileInfo";
        switch (tag) {
        case Zarn_FORM_TAG_FILE_VERSION:
            return extractModuleVerValueSFI_FVer(from, buffer, capacity, nullptr, block, L'\\');
        case Zarn_FORM_TAG_PRODUCT_VERSION:
            return extractModuleVerValueSFI_ProdVer(from, buffer, capacity, nullptr, block, L'\\');
        default:
            return false;
        }
    };
    return ask(L"pv.dll") || (module && ask(module));
}
