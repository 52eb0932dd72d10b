// The long texts: those of heads, which may be anything up to the largest buffer.
#include <zmu/log/internal/SectionText.h>

#include <zmu/foundation/UTL_String.h>
#include <zmu/monitor/internal/Guards.h>

#include <QString>

#include <string>
#include <utility>

using namespace zmu;

namespace {

/// The row that stands in for an injected text that was given up; empty if it cannot be loaded.
void loadDiscardedRow(HMODULE module, ZarnScratchpad::Buffer& row)
{
    constexpr unsigned int discardedRow = 10034;
    try {
        row.assign(UTL_String(module, discardedRow, row.capacity).wideText());
    } catch (...) {
        row.clear();
    }
}

} // namespace

void InjectedTexts::read(QTextStream** streams)
{
    for (int i = 0; i < injectorsQty; ++i) {
        if (!streams[i])
            continue;
        try {
            streams[i]->seek(0);
            const std::wstring text = streams[i]->readAll().toStdWString();
            auto copy = std::make_unique<wchar_t[]>(text.size() + 1);
            text.copy(copy.get(), text.size());
            m_texts[i] = std::move(copy);
        } catch (...) {
            m_texts[i].reset();
        }
    }
}

bool InjectedTexts::giveUpOne(const wchar_t* row, int varCount, const Zarn_FORM_VAR* vars,
                              u64* values)
{
    int last = injectorsQty - 1;
    while (last >= 0 && m_arguments[last] == -1)
        --last;
    if (last < 0)
        return false;
    values[std::exchange(m_arguments[last], -1)] = textSlot(row);
    // The text goes, and a form may show it in more places than the one that is remembered.
    for (int i = 0; m_texts[last] && i < varCount; ++i) {
        if (vars[i] == Zarn_FORM_VAR_SYS_INFO_ENV_APP + last)
            values[i] = textSlot(row);
    }
    m_texts[last].reset();
    --m_outstanding;
    return true;
}

bool SectionText::formatAllocated(const wchar_t* format, u64* values, int size)
{
    LocalFree(m_allocated);
    m_allocated = nullptr;
    m_length = Zarn::formatMessage(flags | FORMAT_MESSAGE_ALLOCATE_BUFFER, format,
                                   reinterpret_cast<wchar_t*>(&m_allocated), size, values);
    // A system may allocate more than it was asked for: the limit is kept here.
    if (m_length >= static_cast<ulong32>(size)) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        m_length = 0;
    }
    m_text = m_allocated;
    return m_length > 0;
}

void SectionText::formatGrowing(const wchar_t* format, int varCount, const Zarn_FORM_VAR* vars,
                                u64* values, InjectedTexts& injected, HMODULE module,
                                ZarnScratchpad::Buffer& row)
{
    constexpr int sizeMin = 65536;
    constexpr int sizeMax = 524288;

    int size = sizeMin;
    while (!formatAllocated(format, values, size)) {
        if (size < sizeMax) {
            size *= 2;
        } else {
            require(injected.isAnyOutstanding(), dx::SectionNotFormatted);
            if (row.isEmpty())
                loadDiscardedRow(module, row);
            require(injected.giveUpOne(row.c_str(), varCount, vars, values),
                    dx::SectionNotFormatted);
            size = sizeMin;
        }
        SetLastError(ERROR_SUCCESS);
    }
    require(m_text, dx::SectionNoBuffer);
}
