// Version data of modules, which are files that somebody else has made: headers, notes, and the
// texts in them.
#include "Support.h"

#include <zmu/localize/ZarnLocalizeHelpers.h>
#include <zmu/platform/InputFile.h>
#include <zmu/platform/ModuleFacts.h>

#include <elf.h>
#include <link.h>

#include <cstring>
#include <cwchar>

using namespace zmu_fuzz;

namespace {

template <class Record>
void append(std::string& bytes, const Record& record)
{
    bytes.append(reinterpret_cast<const char*>(&record), sizeof record);
}

/// A module that is nothing but one note segment.
std::string moduleWith(const std::string& notes, unsigned alignment)
{
    ElfW(Ehdr) header{};
    std::memcpy(header.e_ident, ELFMAG, SELFMAG);
    header.e_ident[EI_CLASS] = ELFCLASS64;
    header.e_ident[EI_DATA] = ELFDATA2LSB;
    header.e_phoff = sizeof header;
    header.e_phnum = 1;
    header.e_phentsize = sizeof(ElfW(Phdr));
    ElfW(Phdr) segment{};
    segment.p_type = PT_NOTE;
    segment.p_offset = sizeof header + sizeof segment;
    segment.p_filesz = notes.size();
    segment.p_align = alignment;
    std::string bytes;
    append(bytes, header);
    append(bytes, segment);
    return bytes + notes;
}

std::string noteWith(const std::string& descriptor)
{
    std::string bytes;
    append(bytes, ElfW(Nhdr){4, static_cast<Elf64_Word>(descriptor.size()), 1});
    return bytes.append("zmu", 4) + descriptor;
}

/// The value as the library gives it to a buffer of that size.
std::wstring valueOf(const wchar_t* file, std::size_t capacity, bool& isThere)
{
    std::vector<wchar_t> value(capacity, L'#');
    isThere = ZarnLocalizeHelpers::extractModuleVerValueSFI_FVer(file, value.data(), value.size(),
                                                                 nullptr, L"StringFileInfo", L'\\');
    FUZZ_CHECK(capacity == 0 || isTerminated(value));
    return capacity == 0 ? std::wstring() : std::wstring(value.data());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const std::string path = pathOf("module.so");
    static const std::wstring file(path.begin(), path.end());
    Input input(data, size);
    const auto capacity = input.number<std::size_t>(0, 64);
    switch (input.number(0, 3)) {
    case 0:
        writeFile(path, input.rest());
        break;
    case 1:
        writeFile(path, moduleWith(input.rest(), 4));
        break;
    case 2:
        writeFile(path, moduleWith(input.rest(), 8));
        break;
    default: {
        std::string descriptor = input.rest();
        std::replace(descriptor.begin(), descriptor.end(), '\n', '\0'); // for inputs to be legible
        writeFile(path, moduleWith(noteWith(descriptor), 4));
    }
    }

    bool isThere = false;
    bool isCutThere = false;
    const std::wstring whole = valueOf(file.c_str(), size + 1, isThere);
    const std::wstring cut = valueOf(file.c_str(), capacity, isCutThere);
    FUZZ_CHECK(isThere || whole.empty());
    FUZZ_CHECK(capacity == 0 ? !isCutThere
                             : isCutThere == isThere && cut == whole.substr(0, capacity - 1));
    wchar_t key[16];
    if (ZarnLocalizeHelpers::extractModuleVerTranslation(file.c_str(), key, std::size(key),
                                                         L"\\VarFileInfo\\Translation"))
        FUZZ_CHECK(std::wcslen(key) == 8);

    zmu::InputFile module;
    FUZZ_CHECK(module.open(path));
    FUZZ_CHECK(zmu::modules::checksum(module).size() % 2 == 0);
    zmu::modules::versions(module, file.c_str());
    return 0;
}
