// Texts that the system or a user has chosen, as a form shows them.
#include <zmu/monitor/ZarnData.h>

#include <zmu/foundation/internal/Markup.h>

#include <algorithm>
#include <cwchar>
#include <iterator>
#include <new>
#include <string_view>
#include <utility>

using namespace zmu;

namespace {

constexpr Zarn_FORM_TAG systemTags[] = {
    Zarn_FORM_TAG_FILE_VERSION,   Zarn_FORM_TAG_HOME_DIRECTORY, Zarn_FORM_TAG_MODULE_FILE_NAME,
    Zarn_FORM_TAG_NAME_OF_DOMAIN, Zarn_FORM_TAG_NAME_OF_HOST,   Zarn_FORM_TAG_NAME_OF_SESSION,
    Zarn_FORM_TAG_NAME_OF_USER,   Zarn_FORM_TAG_PRODUCT_VERSION};

bool isSystemTag(Zarn_FORM_TAG tag)
{
    return std::find(std::begin(systemTags), std::end(systemTags), tag) != std::end(systemTags);
}

} // namespace

bool ZarnData::setSystemTextsEscaped(bool escape)
{
    return std::exchange(m_escapesSystemTexts, escape);
}

const wchar_t* ZarnData::getTagForForm(Zarn_FORM_TAG tag) const
{
    const wchar_t* const plain = getTag(tag);
    return plain && m_escapedTags[tag] ? m_escapedTags[tag] : plain;
}

const wchar_t* ZarnData::getLogNameForForm() const
{
    return m_escapedLogName ? m_escapedLogName : m_fileLog.m_logName;
}

bool ZarnData::escapeTag(Zarn_FORM_TAG tag, bool isOfSystem)
{
    const bool isEscaped = isOfSystem || isSystemTag(tag);
    if (storeEscaped(m_escapedTags[tag], isEscaped ? m_tags[tag] : nullptr))
        return true;
    delete[] std::exchange(m_tags[tag], nullptr); // rather none than one with markup
    return false;
}

bool ZarnData::escapeLogName(const wchar_t* name)
{
    return storeEscaped(m_escapedLogName, name);
}

bool ZarnData::storeEscaped(wchar_t*& target, const wchar_t* text) const
{
    delete[] std::exchange(target, nullptr);
    if (!text || !m_escapesSystemTexts)
        return true;
    std::size_t length = 0;
    escapeMarkup(text, [&](std::wstring_view piece) { length += piece.size(); });
    if (length == std::wcslen(text))
        return true;
    auto* const copy = new (std::nothrow) wchar_t[length + 1];
    if (!copy)
        return false;
    target = copy;
    wchar_t* end = copy;
    escapeMarkup(text, [&](std::wstring_view piece) { end += piece.copy(end, piece.size()); });
    *end = L'\0';
    return true;
}

void ZarnData::freeEscapedTexts()
{
    for (wchar_t*& tag : m_escapedTags)
        delete[] std::exchange(tag, nullptr);
    delete[] std::exchange(m_escapedLogName, nullptr);
}
