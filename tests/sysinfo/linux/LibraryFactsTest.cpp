// What a library's file tells, hostile files among them.
#include "EnvApp.h"

#include <QRegularExpression>

#include <link.h>

#include <cstring>

using namespace zmu_test;

namespace {

/// The least that a library with a soname and a build ID consists of.
struct Library {
    ElfW(Ehdr) header{};
    ElfW(Phdr) segments[3]{};
    ElfW(Dyn) entries[4]{};
    char names[32] = "\0libone.so.4.2";
    struct {
        ElfW(Nhdr) header{4, 4, NT_GNU_BUILD_ID};
        char name[4] = {'G', 'N', 'U', '\0'};
        unsigned char id[4] = {0x0B, 0xAD, 0xF0, 0x0D};
    } note{};

    Library()
    {
        constexpr ElfW(Addr) address = 0x10000;
        const auto place = [this](const void* part) {
            return static_cast<ElfW(Off)>(static_cast<const char*>(part) -
                                          reinterpret_cast<const char*>(this));
        };
        std::memcpy(header.e_ident, ELFMAG, SELFMAG);
        header.e_ident[EI_CLASS] = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;
        header.e_ident[EI_DATA] = ELFDATA2LSB;
        header.e_phoff = place(segments);
        header.e_phnum = 3;
        header.e_phentsize = sizeof *segments;
        const auto describe = [&](ElfW(Phdr) & segment, unsigned type, const void* part,
                                  std::size_t size) {
            segment.p_type = type;
            segment.p_offset = place(part);
            segment.p_filesz = size;
            segment.p_vaddr = address + segment.p_offset;
            segment.p_align = 4;
        };
        describe(segments[0], PT_LOAD, this, sizeof *this);
        describe(segments[1], PT_DYNAMIC, entries, sizeof entries);
        describe(segments[2], PT_NOTE, &note, sizeof note);
        entries[0] = {DT_SONAME, {1}};
        entries[1] = {DT_STRTAB, {address + place(names)}};
        entries[2] = {DT_STRSZ, {sizeof names}};
    }
    QByteArray bytes() const { return {reinterpret_cast<const char*>(this), sizeof *this}; }
};

TEST_F(ApplicationEnvironment, WhatALibraryCarries)
{
    const QByteArray whole = Library().bytes();
    const auto shown = [&](const QByteArray& bytes) {
        write("one.so", bytes);
        return module(16, false).remove(QRegularExpression("\\|one.so Date=.*"));
    };
    EXPECT_EQ(shown(whole), "one.so File Version=4.2|one.so Version=4.2|one.so Checksum=0badf00d");
    // The file's own name goes on where the soname ends.
    write("libone.so.4.2.19", whole);
    listed[0].file = L"libone.so.4.2.19";
    EXPECT_TRUE(module(16).startsWith("libone.so.4.2.19 File Version=4.2.19|"
                                      "libone.so.4.2.19 Version=4.2|"));
    listed[0].file = L"one.so";

    const struct {
        void (*disturb)(Library&);
        bool hasVersion, hasId;
    } cases[] = {
        {[](Library& it) { it.header.e_ident[EI_CLASS] ^= 3; }, false, false},
        {[](Library& it) { it.header.e_phnum = 0xFFFF; }, false, false},
        {[](Library& it) { it.header.e_phoff = ~ElfW(Off){0}; }, false, false},
        {[](Library& it) { it.segments[0].p_filesz = 8; }, false, true},
        {[](Library& it) { it.segments[0].p_offset = ~ElfW(Off){0} - 8; }, false, true},
        {[](Library& it) { it.segments[1].p_filesz = ~ElfW(Xword){0}; }, false, true},
        {[](Library& it) { it.segments[1].p_offset = 1 << 30; }, false, true},
        {[](Library& it) { it.segments[2].p_filesz = ~ElfW(Xword){0}; }, true, false},
        {[](Library& it) { it.entries[0].d_un.d_val = 32; }, false, true},
        {[](Library& it) { it.entries[0].d_tag = DT_NULL; }, false, true},
        {[](Library& it) { it.entries[2].d_un.d_val = ~ElfW(Xword){0}; }, false, true},
        {[](Library& it) { std::memset(it.names + 1, '.', sizeof it.names - 1); }, false, true},
        {[](Library& it) { std::strcpy(it.names + 1, "libone.so.<b>"); }, false, true},
        {[](Library& it) { it.note.header.n_namesz = 0xFFFFFFFF; }, true, false},
        {[](Library& it) { it.note.header.n_descsz = 0xFFFFFFFD; }, true, false},
        {[](Library& it) { it.note.header.n_descsz = 0; }, true, false}};
    for (const auto& test : cases) {
        Library library;
        test.disturb(library);
        const QString facts = shown(library.bytes());
        EXPECT_EQ(facts.contains("Version=4.2"), test.hasVersion) << &test - cases;
        EXPECT_EQ(facts.contains("Checksum=0badf00d"), test.hasId) << &test - cases;
        EXPECT_FALSE(facts.contains('<'));
    }
}

} // namespace
