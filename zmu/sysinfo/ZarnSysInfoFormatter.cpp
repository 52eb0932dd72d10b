#include <zmu/sysinfo/ZarnSysInfoFormatter.h>

#include <algorithm>
#include <cwchar>
#include <memory>
#include <new>
#include <utility>

namespace {

void freeAffixes(int count, wchar_t** list)
{
    std::for_each(list, list + count, [](wchar_t* text) { delete[] text; });
    delete[] list;
}

} // namespace

ZarnSysInfoFormatter::~ZarnSysInfoFormatter()
{
    freeAffixes(m_captionPrefixCount, m_captionPrefixes);
    freeAffixes(m_captionSuffixCount, m_captionSuffixes);
    freeAffixes(m_datumPrefixCount, m_datumPrefixes);
    freeAffixes(m_datumSuffixCount, m_datumSuffixes);
}

ZarnSysInfo* ZarnSysInfoFormatter::setSysInfo(ZarnSysInfo* source)
{
    return std::exchange(m_sysInfo, source);
}

// ---- Adding --------------------------------------------------------------------------------------

int ZarnSysInfoFormatter::addCaptionPrefix(const wchar_t* text)
{
    return addAffix(m_captionPrefixCount, m_captionPrefixes, text);
}

int ZarnSysInfoFormatter::addCaptionSuffix(const wchar_t* text)
{
    return addAffix(m_captionSuffixCount, m_captionSuffixes, text);
}

int ZarnSysInfoFormatter::addDatumPrefix(const wchar_t* text)
{
    return addAffix(m_datumPrefixCount, m_datumPrefixes, text);
}

int ZarnSysInfoFormatter::addDatumSuffix(const wchar_t* text)
{
    return addAffix(m_datumSuffixCount, m_datumSuffixes, text);
}

int ZarnSysInfoFormatter::addAffix(int& count, wchar_t**& list, const wchar_t* text)
{
    const auto fail = [this](Error error) {
        m_error = error;
        return -1;
    };
    m_error = 0;
    if (!text)
        return fail(ErrorNoText);
    // A form decides how many there are: lists have room for a power of two.
    const auto oldCount = static_cast<std::size_t>(count);
    const bool isFull = (oldCount & (oldCount - 1)) == 0;
    std::unique_ptr<wchar_t*[]> newList(
        isFull ? new (std::nothrow) wchar_t*[std::max<std::size_t>(2 * oldCount, 1)]() : nullptr);
    if (isFull && !newList)
        return fail(ErrorNoList);
    const std::size_t size = std::wcslen(text) + 1;
    auto* const copy = new (std::nothrow) wchar_t[size];
    if (!copy)
        return fail(ErrorNoCopy);
    std::wmemcpy(copy, text, size);
    if (isFull) {
        std::copy_n(list, oldCount, newList.get());
        delete[] std::exchange(list, newList.release());
    }
    list[oldCount] = copy;
    return ++count;
}

// ---- Going round ---------------------------------------------------------------------------------

int ZarnSysInfoFormatter::getNextCaptionPrefix(wchar_t* buffer, int size)
{
    return copyString(
        buffer, size,
        getNextAffix(m_captionPrefixCount, m_currentCaptionPrefix, m_captionPrefixes));
}

int ZarnSysInfoFormatter::getNextCaptionSuffix(wchar_t* buffer, int size)
{
    return copyString(
        buffer, size,
        getNextAffix(m_captionSuffixCount, m_currentCaptionSuffix, m_captionSuffixes));
}

int ZarnSysInfoFormatter::getNextDatumPrefix(wchar_t* buffer, int size)
{
    return copyString(buffer, size,
                      getNextAffix(m_datumPrefixCount, m_currentDatumPrefix, m_datumPrefixes));
}

int ZarnSysInfoFormatter::getNextDatumSuffix(wchar_t* buffer, int size)
{
    return copyString(buffer, size,
                      getNextAffix(m_datumSuffixCount, m_currentDatumSuffix, m_datumSuffixes));
}

void ZarnSysInfoFormatter::resetCurrentAffixes()
{
    m_currentCaptionPrefix = 0;
    m_currentCaptionSuffix = 0;
    m_currentDatumPrefix = 0;
    m_currentDatumSuffix = 0;
}

const wchar_t* ZarnSysInfoFormatter::getNextAffix(int count, int& current, wchar_t** list)
{
    if (!list || count < 0)
        return nullptr;
    if (current >= count)
        current = 0;
    const wchar_t* const text = list[current];
    current = (current + 1) % count;
    return text;
}

int ZarnSysInfoFormatter::copyString(wchar_t* destination, int size, const wchar_t* text)
{
    if (!text)
        return -1;
    const int needed = static_cast<int>(std::wcslen(text)) + 1;
    if (destination && size >= needed)
        std::wmemcpy(destination, text, static_cast<std::size_t>(needed));
    return needed;
}
