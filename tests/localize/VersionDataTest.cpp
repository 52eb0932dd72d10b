// Version data of real modules.
#include "VersionValue.h"

#include <Support.h>

using namespace zmu_test;

namespace {

constexpr wchar_t translation[] = L"\\VarFileInfo\\Translation";

/// Makes what is protected callable.
struct Opened : Helpers {
    using Helpers::extractModuleVerValue_;
    using Helpers::extractModuleVerValueSFI_;
};

TEST(VersionData, HoldsTheNineValues)
{
    const HMODULE module = LoadLibraryW(L"versioned.dll");
    ASSERT_NE(module, nullptr);
    void* block = nullptr;
    ASSERT_TRUE(Helpers::extractModuleVerBlock(module, block));
#define ASK(NAME)                                                                                  \
    [](auto&& from, wchar_t* text) {                                                               \
        return Helpers::extractModuleVerValueSFI_##NAME(from, text, 64, nullptr, info, L'\\');     \
    }
    const auto check = [&](auto ask, const wchar_t* expected) {
        const wchar_t* file = L"versioned.dll";
        wchar_t text[3][64] = {};
        EXPECT_TRUE(ask(module, text[0]));
        EXPECT_TRUE(ask(file, text[1]));
        EXPECT_TRUE(ask(block, text[2]));
        for (const wchar_t* found : text)
            EXPECT_STREQ(found, expected);
    };
    check(ASK(CompNm), L"Größe & Söhne; $<1> €");
    check(ASK(FDscrp), L"says \"a\\b\"");
    check(ASK(FVer), L"1.2.3.4");
    check(ASK(IntrnNm), L"versioned");
    check(ASK(LegalCN), L"© 2026");
    check(ASK(LegalTM), L"none");
    check(ASK(OrigFNm), L"versioned.dll");
    check(ASK(ProdNm), L"The Product");
    check(ASK(ProdVer), L"5.6 beta");
#undef ASK

    wchar_t text[64] = L"before";
    for (const unsigned id : {13002U, 13012U, 0U}) {
        EXPECT_FALSE(Helpers::extractModuleVerValueSFI_(block, text, 64, id, nullptr, info, L'\\'));
        EXPECT_FALSE(Opened::extractModuleVerValueSFI_(module, text, 64, id, nullptr, info, L'\\'));
        EXPECT_STREQ(text, L"");
    }
    EXPECT_TRUE(Opened::extractModuleVerValue_(block, text, 64,
                                               L"\\stringfileinfo\\040904b0\\fileversion"));
    EXPECT_STREQ(text, L"1.2.3.4");
    Helpers::deleteModuleVerBlock(block);
    EXPECT_EQ(block, nullptr);
    EXPECT_TRUE(FreeLibrary(module));
}

TEST(VersionData, IsFoundByLanguageAndName)
{
    const wchar_t* file = L"versioned.dll";
    const struct {
        const wchar_t* key;
        const wchar_t* name;
        u64 capacity;
        const wchar_t* value;
    } cases[] = {
        {L"", L"FileVersion", 64, L"1.2.3.4"},
        {L"040904B0", L"FileVersion", 4, L"1.2"},
        {L"040904B0", L"FileVersion", 1, L""},
        {L"040704B0", L"FileDescription", 64, L"auf Deutsch"},
        {L"040704B0", L"FileVersion", 64, L"(none)"},
        {L"000004B0", L"FileVersion", 64, L"(none)"},
        {nullptr, L"NoSuchValue", 64, L"(none)"},
        {nullptr, L"", 64, L"(none)"},
        {nullptr, nullptr, 64, L"(none)"},
    };
    for (const auto& [key, name, capacity, expected] : cases)
        EXPECT_EQ(value(file, name, key, capacity), expected) << &expected - &cases[0].value;
    wchar_t text[300] = L"";
    const std::wstring longName(260, L'x');
    EXPECT_EQ(value(file, longName.c_str()), L"(none)");
    EXPECT_FALSE(
        Helpers::extractModuleVerValue(file, text, 0, L"FileVersion", nullptr, info, L'\\'));
    EXPECT_FALSE(
        Helpers::extractModuleVerValue(file, text, 9, L"FileVersion", nullptr, info, L'\0'));
    EXPECT_FALSE(
        Helpers::extractModuleVerValue(file, text, 9, L"FileVersion", nullptr, L"", L'\\'));
    EXPECT_FALSE(
        Helpers::extractModuleVerValue(file, text, 9, L"FileVersion", nullptr, info, L'/'));
    EXPECT_EQ(value(GetModuleHandleW(L"zmu.dll"), L"ProductName"), L"zmu");
    EXPECT_EQ(value(GetModuleHandleW(nullptr), L"FileVersion"), L"4.1");
    EXPECT_EQ(value(L"bare.dll", L"FileVersion"), L"(none)");
    EXPECT_EQ(value(HMODULE(), L"FileVersion"), L"(none)");
}

TEST(VersionData, TellsItsTranslation)
{
    const wchar_t* file = L"versioned.dll";
    const HMODULE module = GetModuleHandleW(nullptr);
    unsigned short language = 1;
    unsigned short codePage = 1;
    EXPECT_TRUE(Helpers::extractModuleVerTranslation(file, language, codePage, translation));
    EXPECT_EQ(language, 0x0409);
    EXPECT_EQ(codePage, 0x04B0);
    EXPECT_FALSE(
        Helpers::extractModuleVerTranslation(L"bare.dll", language, codePage, translation));
    EXPECT_EQ(language + codePage, 0);
    EXPECT_TRUE(Helpers::extractModuleVerTranslation(module, language, codePage, translation));
    EXPECT_FALSE(Helpers::extractModuleVerTranslation(module, language, codePage, L""));

    void* block = nullptr;
    EXPECT_FALSE(Helpers::extractModuleVerTranslation(block, language, codePage, translation));
    ASSERT_TRUE(Helpers::extractModuleVerBlock(file, block));
    for (const u64 capacity : {0, 1, 8, 9, 16}) {
        wchar_t byBlock[16] = L"########";
        wchar_t byFile[16] = L"########";
        EXPECT_EQ(Helpers::extractModuleVerTranslation(block, byBlock, capacity, translation),
                  capacity > 8);
        EXPECT_TRUE(Helpers::extractModuleVerTranslation(file, byFile, capacity, translation));
        const std::wstring key = L"040904B0";
        EXPECT_EQ(byBlock, capacity > 8 ? key : capacity > 0 ? L"" : L"########") << capacity;
        EXPECT_EQ(byFile, key) << capacity;
    }
    // A failure leaves no old block behind.
    EXPECT_FALSE(Helpers::extractModuleVerBlock(L"bare.dll", block));
    EXPECT_EQ(block, nullptr);
}

TEST(VersionData, OfTheProductComesFirst)
{
    const HMODULE module = LoadLibraryW(L"versioned.dll");
    const struct {
        Zarn_FORM_TAG tag;
        HMODULE module;
        u64 capacity;
        const wchar_t* version;
    } cases[] = {
        {Zarn_FORM_TAG_FILE_VERSION, module, 16, L"7.8"},
        {Zarn_FORM_TAG_FILE_VERSION, nullptr, 2, L"7"},
        {Zarn_FORM_TAG_FILE_VERSION, module, 1, nullptr},
        {Zarn_FORM_TAG_PRODUCT_VERSION, module, 16, L"5.6 beta"}, // the product's has none
        {Zarn_FORM_TAG_PRODUCT_VERSION, nullptr, 16, nullptr},
        {Zarn_FORM_TAG_PRODUCT_NAME, module, 16, nullptr},
    };
    for (const auto& [tag, from, capacity, version] : cases) {
        wchar_t text[16] = L"";
        EXPECT_EQ(Helpers::obtainVersionZGW(text, capacity, tag, from), version != nullptr) << tag;
        EXPECT_STREQ(text, version ? version : L"") << tag;
    }
    EXPECT_TRUE(FreeLibrary(module));
}

} // namespace
