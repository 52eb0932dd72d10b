// The text of a section: its format, filled with its values.
#pragma once

#include <zmu/foundation/Types.h>
#include <zmu/log/internal/FormVariable.h>
#include <zmu/monitor/Zarn.h>
#include <zmu/monitor/ZarnScratchpad.h>

#include <QTextStream>

#include <cstdint>
#include <memory>

namespace zmu {

/// A text as an insert takes it; null counts as empty.
inline u64 textSlot(const wchar_t* text)
{
    return reinterpret_cast<std::uintptr_t>(text ? text : L"");
}

/// The texts that injectors give to one section, and the arguments they went to.
class InjectedTexts {
  public:
    /// Reads what the streams hold; a stream that cannot be read gives no text.
    void read(QTextStream** streams);

    /// The text of injector `i` for argument `argument`; empty if it has none.
    const wchar_t* assign(int i, int argument)
    {
        m_arguments[i] = argument;
        if (!m_texts[i])
            return L"";
        ++m_outstanding;
        return m_texts[i].get();
    }

    bool isAnyOutstanding() const { return m_outstanding >= 1; }

    /// Gives up the last text that is left, for `row` in every argument that shows it. False if
    /// there is none. Injectors 1 and 2 count as assigned to argument 0 until they are.
    bool giveUpOne(const wchar_t* row, int varCount, const Zarn_FORM_VAR* vars, u64* values);

  private:
    std::unique_ptr<wchar_t[]> m_texts[injectorsQty];
    int m_arguments[injectorsQty] = {-1, 0, 0};
    int m_outstanding = 0;
};

/// The formatted text: in a fixed buffer, or in one that the formatter allocated.
class SectionText {
  public:
    SectionText() = default;
    ~SectionText() { LocalFree(m_allocated); }
    SectionText(const SectionText&) = delete;
    SectionText& operator=(const SectionText&) = delete;

    /// False for a text that the formatter refuses, or that has no room in `buffer`.
    bool formatInto(ZarnScratchpad::Buffer& buffer, const wchar_t* format, u64* values)
    {
        buffer.clear();
        wchar_t* const output = buffer.writable();
        m_text = output;
        m_length =
            Zarn::formatMessage(flags, format, output, static_cast<int>(buffer.capacity), values);
        if (m_length > 0)
            buffer.setUsed(m_length);
        return m_length > 0;
    }

    /// Formats into a buffer that grows. A text that does not even fit the largest gives up its
    /// injected ones, one at a time, for the row that `module` has for that; `row` is where it is
    /// loaded to. Raises the code of a text that cannot be formatted.
    void formatGrowing(const wchar_t* format, int varCount, const Zarn_FORM_VAR* vars, u64* values,
                       InjectedTexts& injected, HMODULE module, ZarnScratchpad::Buffer& row);

    const wchar_t* text() const { return m_text; }
    ulong32 length() const { return m_length; }

  private:
    static constexpr ulong32 flags = FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY;

    bool formatAllocated(const wchar_t* format, u64* values, int size);

    const wchar_t* m_text = nullptr;
    ulong32 m_length = 0;
    wchar_t* m_allocated = nullptr;
};

} // namespace zmu
