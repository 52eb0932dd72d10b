#include <zmu/sysinfo/ZarnSysInfo.h>

#include <zmu/foundation/internal/WideFormat.h>

#include <cwchar>
#include <iterator>
#include <new>
#include <utility>

using namespace zmu;

namespace {

constexpr wchar_t dots[] = L"...";

} // namespace

ZarnSysInfo::~ZarnSysInfo()
{
    delete[] m_category;
}

// ---- The walk ------------------------------------------------------------------------------------

bool ZarnSysInfo::getFirstDataPair(wchar_t* caption, wchar_t* datum, int captionSize, int datumSize)
{
    const bool succeeded = getDataPair(0, caption, datum, captionSize, datumSize);
    learnNextPosition();
    return succeeded;
}

bool ZarnSysInfo::getNextDataPair(wchar_t* caption, wchar_t* datum, int captionSize, int datumSize)
{
    const bool succeeded = getDataPair(m_position, caption, datum, captionSize, datumSize);
    learnNextPosition();
    return succeeded;
}

bool ZarnSysInfo::setShouldUpdateCurrentPosition(bool update)
{
    return std::exchange(m_updatePosition, update);
}

// ---- The name ------------------------------------------------------------------------------------

int ZarnSysInfo::getCategory(wchar_t* buffer, int size) const
{
    if (!m_category)
        return -1;
    const int needed = static_cast<int>(std::wcslen(m_category)) + 1;
    if (buffer && size >= needed)
        std::wmemcpy(buffer, m_category, static_cast<std::size_t>(needed));
    return needed;
}

void ZarnSysInfo::setCategory(const wchar_t* category)
{
    const std::size_t size = std::wcslen(category) + 1;
    auto* const copy = new (std::nothrow) wchar_t[size];
    if (copy)
        std::wmemcpy(copy, category, size);
    delete[] std::exchange(m_category, copy);
}

// ---- Writing a pair ------------------------------------------------------------------------------

bool ZarnSysInfo::formatDataItem(wchar_t* destination, int size, const wchar_t* text) const
{
    if (destination && text && size >= 1) {
        const auto capacity = static_cast<std::size_t>(size);
        const std::size_t length = wcsnlen(text, capacity);
        if (length < capacity) {
            std::wmemcpy(destination, text, length + 1);
        } else {
            std::wmemcpy(destination, text, capacity - 1);
            destination[capacity - 1] = L'\0';
            if (capacity >= std::size(dots))
                std::wmemcpy(destination + capacity - std::size(dots), dots, std::size(dots));
        }
    }
    return m_error == 0;
}

bool ZarnSysInfo::formatDataPair(wchar_t* caption, wchar_t* datum, int captionSize, int datumSize,
                                 const wchar_t* captionText, const wchar_t* datumText)
{
    // Both sides, whatever has failed before: a reader gets what there is.
    const bool hasCaption = formatDataItem(caption, captionSize, captionText);
    const bool hasDatum = formatDataItem(datum, datumSize, datumText);
    return hasCaption && hasDatum;
}

bool ZarnSysInfo::formatDataPair(wchar_t* caption, wchar_t* datum, int captionSize, int datumSize,
                                 const wchar_t* captionText, int value, bool hex)
{
    wchar_t text[20] = {};
    constexpr int hexDigits = 8;
    const int length =
        hex ? formatWide(text, std::size(text), L"0x%0*X", hexDigits, unsigned(value))
            : formatWide(text, std::size(text), L"%d", value);
    if (length < 1)
        m_error = ErrorNumberFormat;
    return formatDataPair(caption, datum, captionSize, datumSize, captionText, text);
}
