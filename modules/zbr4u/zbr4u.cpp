// The brander that comes along: texts of a table, which the file zbr4u.ini beside the module
// changes. README.md tells how a product uses it, or replaces it.
#include "BrandTexts.h"

#include <zmu/owner/ZRpbr.h>

#include <memory>
#include <new>
#include <utility>

namespace {

class TableBrander final : public ZRpbr {
  public:
    explicit TableBrander(const zbr4u::BrandTexts& texts) : m_texts(texts) {}

    int getInterfaceVersion() const override { return 1; }
    const wchar_t* getBrandText(int id, wchar_t* buffer, u64 capacity) const override;

  private:
    const zbr4u::BrandTexts& m_texts;
};

TableBrander* s_brander = nullptr;
int s_status = zbr4u::Success;
/// Those that could be read last. A process whose log is replaced makes the brander anew, and a
/// mistake in a file that was sound when it began does not end its logs. They are never destroyed:
/// the process may report until its very end.
const zbr4u::BrandTexts* s_texts = nullptr;

/// The code point at `text`, which is valid UTF-8, and steps behind it.
char32_t takeCodePoint(const char*& text)
{
    const auto lead = static_cast<unsigned char>(*text++);
    const int more = lead < 0x80 ? 0 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    char32_t code = more == 0 ? lead : lead & (0x3F >> more);
    for (int i = 0; i < more; ++i)
        code = code << 6 | (static_cast<unsigned char>(*text++) & 0x3F);
    return code;
}

std::wstring widen(const std::string& utf8)
{
    std::wstring wide;
    for (const char* text = utf8.c_str(); *text;) {
        const char32_t code = takeCodePoint(text);
        if (sizeof(wchar_t) > 2 || code < 0x10000) {
            wide += static_cast<wchar_t>(code);
        } else {
            wide += static_cast<wchar_t>(0xD800 + ((code - 0x10000) >> 10));
            wide += static_cast<wchar_t>(0xDC00 + (code & 0x3FF));
        }
    }
    return wide;
}

const wchar_t* TableBrander::getBrandText(int id, wchar_t* buffer, u64 capacity) const
{
    if (!buffer || capacity == 0)
        return buffer;
    buffer[0] = L'\0';
    const auto text = m_texts.find(id);
    if (text == m_texts.end())
        return buffer;
    const std::wstring wide = widen(text->second);
    if (wide.size() < capacity)
        buffer[wide.copy(buffer, wide.size())] = L'\0';
    return buffer;
}

} // namespace

ZRpbr* ZRpbr::getProductBrander()
{
    return s_brander;
}

ZRpbr* ZRpbr::create(int)
{
    s_status = zbr4u::Success;
    if (s_brander)
        return s_brander;
    try {
        auto texts = std::make_unique<zbr4u::BrandTexts>(zbr4u::builtInTexts());
        s_status = zbr4u::readTexts(zbr4u::textsFile(), *texts);
        if (s_status == zbr4u::Success)
            delete std::exchange(s_texts, texts.release());
    } catch (...) {
        s_status = zbr4u::NoMemory;
    }
    if (s_texts) {
        s_brander = new (std::nothrow) TableBrander(*s_texts);
        if (!s_brander)
            s_status = zbr4u::NoMemory;
    }
    return s_brander;
}

int ZRpbr::getSelfDX_Code()
{
    return s_status;
}

void ZRpbr::destroy()
{
    delete std::exchange(s_brander, nullptr);
}

// ---- The entries of the module ---------------------------------------------------------------------------

ZMU_BRANDER_ENTRY ZRpbr* ZRpbrGetProductBrander()
{
    return ZRpbr::getProductBrander();
}

ZMU_BRANDER_ENTRY ZRpbr* ZRpbrCreate(int kind)
{
    return ZRpbr::create(kind);
}

ZMU_BRANDER_ENTRY int ZRpbrGetSelfDX_Code()
{
    return ZRpbr::getSelfDX_Code();
}

ZMU_BRANDER_ENTRY void ZRpbrDestroy()
{
    ZRpbr::destroy();
}
