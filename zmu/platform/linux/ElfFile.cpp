#include <zmu/platform/linux/ElfFile.h>

#include <elf.h>
#include <link.h>

#include <algorithm>
#include <bit>
#include <cstring>

namespace zmu {

namespace {

constexpr std::size_t maxHeaders = 1024; ///< Segments or sections of a file.
constexpr std::size_t maxNoteBytes =
    std::size_t{256} * 1024; ///< Notes that are read of a file, all together.
constexpr std::size_t maxDynamicEntries = 4096;
constexpr std::size_t maxSonameBytes = 256;

using FileHeader = ElfW(Ehdr);
using Segment = ElfW(Phdr);
using Section = ElfW(Shdr);
using NoteHeader = ElfW(Nhdr);
using DynamicEntry = ElfW(Dyn);

/// Whether the structures of the file are this process's own.
bool isReadable(const FileHeader& header)
{
    constexpr unsigned char ownClass = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;
    constexpr unsigned char ownOrder =
        std::endian::native == std::endian::little ? ELFDATA2LSB : ELFDATA2MSB;
    return std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0 &&
           header.e_ident[EI_CLASS] == ownClass && header.e_ident[EI_DATA] == ownOrder;
}

bool readHeader(const InputFile& file, FileHeader& header)
{
    return file.read(0, &header, sizeof header) && isReadable(header);
}

/// The table of segments or sections; empty if it does not lie in the file.
template <class Header>
std::vector<Header> readTable(const InputFile& file, u64 offset, std::size_t count,
                              std::size_t entrySize)
{
    if (entrySize != sizeof(Header) || count > maxHeaders || !file.holds(offset, count * entrySize))
        return {};
    std::vector<Header> table(count);
    if (!file.read(offset, table.data(), count * entrySize))
        table.clear();
    return table;
}

std::vector<Segment> readSegments(const InputFile& file, const FileHeader& header)
{
    return readTable<Segment>(file, header.e_phoff, header.e_phnum, header.e_phentsize);
}

/// Reads runs of notes and keeps the descriptors of those that are asked for.
class NoteReader {
  public:
    NoteReader(const InputFile& file, std::string_view name, unsigned type)
        : m_file(file), m_name(name), m_type(type)
    {}

    void read(u64 offset, u64 size, u64 alignment)
    {
        if (size > m_bytesLeft || !m_file.holds(offset, size))
            return;
        m_bytesLeft -= static_cast<std::size_t>(size);
        std::string notes(static_cast<std::size_t>(size), '\0');
        if (m_file.read(offset, notes.data(), notes.size()))
            walk(notes, alignment == 8 ? 8 : 4);
    }

    std::vector<std::string> descriptors;

  private:
    /// Lengths are of 32 bits and calculated in 64, so that no sum wraps around.
    void walk(std::string_view notes, u64 alignment)
    {
        const auto aligned = [&](u64 size) {
            return (size + alignment - 1) / alignment * alignment;
        };
        while (notes.size() >= sizeof(NoteHeader)) {
            NoteHeader note;
            std::memcpy(&note, notes.data(), sizeof note);
            const u64 nameEnd = sizeof note + u64(note.n_namesz);
            const u64 descriptor = aligned(nameEnd);
            const u64 end = descriptor + note.n_descsz;
            if (end > notes.size())
                return;
            if (note.n_type == m_type && notes.substr(sizeof note, note.n_namesz) == m_name)
                descriptors.emplace_back(notes.substr(descriptor, note.n_descsz));
            notes.remove_prefix(std::min<u64>(aligned(end), notes.size()));
        }
    }

    const InputFile& m_file;
    std::string_view m_name;
    unsigned m_type;
    std::size_t m_bytesLeft = maxNoteBytes;
};

/// The names among the dynamic entries: where their table begins in the file, and the soname in it.
struct SonamePlace {
    bool isThere = false;
    u64 tableAddress = 0;
    u64 tableSize = 0;
    u64 offset = 0;
};

SonamePlace findSoname(const std::vector<DynamicEntry>& entries)
{
    SonamePlace place;
    for (const DynamicEntry& entry : entries) {
        switch (entry.d_tag) {
        case DT_NULL:
            return place;
        case DT_STRTAB:
            place.tableAddress = entry.d_un.d_ptr;
            break;
        case DT_STRSZ:
            place.tableSize = entry.d_un.d_val;
            break;
        case DT_SONAME:
            place.isThere = true;
            place.offset = entry.d_un.d_val;
            break;
        default:
            break;
        }
    }
    return place;
}

/// Where in the file an address of the loaded module comes from.
bool toOffset(const std::vector<Segment>& segments, u64 address, u64& offset)
{
    for (const Segment& segment : segments) {
        if (segment.p_type == PT_LOAD && address >= segment.p_vaddr &&
            address - segment.p_vaddr < segment.p_filesz) {
            offset = segment.p_offset + (address - segment.p_vaddr);
            return offset >= segment.p_offset;
        }
    }
    return false;
}

} // namespace

std::vector<std::string> readNotes(const InputFile& file, std::string_view name, unsigned type)
{
    FileHeader header{};
    if (!readHeader(file, header))
        return {};
    // A loaded module shows its notes in segments; one whose link left them out of these still has
    // the sections.
    NoteReader reader(file, name, type);
    for (const Segment& segment : readSegments(file, header)) {
        if (segment.p_type == PT_NOTE)
            reader.read(segment.p_offset, segment.p_filesz, segment.p_align);
    }
    if (!reader.descriptors.empty())
        return reader.descriptors;
    for (const Section& section :
         readTable<Section>(file, header.e_shoff, header.e_shnum, header.e_shentsize)) {
        if (section.sh_type == SHT_NOTE)
            reader.read(section.sh_offset, section.sh_size, section.sh_addralign);
    }
    return reader.descriptors;
}

std::string readSoname(const InputFile& file)
{
    FileHeader header{};
    if (!readHeader(file, header))
        return {};
    const std::vector<Segment> segments = readSegments(file, header);
    const auto dynamic = std::find_if(segments.begin(), segments.end(), [](const Segment& segment) {
        return segment.p_type == PT_DYNAMIC;
    });
    if (dynamic == segments.end())
        return {};
    const u64 count = std::min<u64>(dynamic->p_filesz / sizeof(DynamicEntry), maxDynamicEntries);
    if (!file.holds(dynamic->p_offset, count * sizeof(DynamicEntry)))
        return {};
    std::vector<DynamicEntry> entries(count);
    if (!file.read(dynamic->p_offset, entries.data(), count * sizeof(DynamicEntry)))
        return {};

    const SonamePlace place = findSoname(entries);
    u64 table = 0;
    if (!place.isThere || place.offset >= place.tableSize ||
        !toOffset(segments, place.tableAddress, table) || !file.holds(table, place.tableSize))
        return {};
    std::string name(std::min<u64>(place.tableSize - place.offset, maxSonameBytes), '\0');
    if (!file.read(table + place.offset, name.data(), name.size()))
        return {};
    const std::size_t length = name.find('\0');
    return length == name.npos ? std::string() : name.substr(0, length);
}

} // namespace zmu
