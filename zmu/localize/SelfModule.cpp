// The module that the library's own strings come from.
#include <zmu/localize/ZarnLocalizeHelpers.h>

#include <zmu/foundation/UTL_String.h>
#include <zmu/localize/internal/OwnModule.h>

#include <algorithm>
#include <cwchar>

std::atomic<HINSTANCE> ZarnLocalizeHelpers::m_selfResModule = nullptr;

ZarnLocalizeHelpers::ZarnLocalizeHelpers()
{
    ZarnLocalizeHelpers::setMemberVarsToDefaults(true);
}

ZarnLocalizeHelpers::~ZarnLocalizeHelpers()
{
    ZarnLocalizeHelpers::setMemberVarsToDefaults(true);
}

bool ZarnLocalizeHelpers::setMemberVarsToDefaults(bool)
{
    return true;
}

HINSTANCE ZarnLocalizeHelpers::getSelfResourceModule()
{
    return m_selfResModule;
}

HINSTANCE ZarnLocalizeHelpers::getSelfResourceModuleSafe(HINSTANCE module)
{
    if (module)
        return module;
    learnSelfResourceModule();
    return m_selfResModule;
}

HINSTANCE ZarnLocalizeHelpers::setSelfResourceModule(HINSTANCE module)
{
    return m_selfResModule.exchange(module);
}

bool ZarnLocalizeHelpers::learnSelfResourceModule()
{
    if (m_selfResModule)
        return true;
    HINSTANCE none = nullptr;
    m_selfResModule.compare_exchange_strong(none, GetModuleHandleW(zmu::ownModuleName));
    return m_selfResModule != nullptr;
}

bool ZarnLocalizeHelpers::loadIntrinsicString(unsigned int id, wchar_t* buffer, int capacity)
{
    if (!buffer)
        return false;
    buffer[0] = L'\0';
    if (capacity < 1)
        return false;
    const auto size = static_cast<std::size_t>(capacity);
    try {
        if (auto* const module = getSelfResourceModuleSafe(nullptr)) {
            const UTL_String text(module, id, static_cast<unsigned>(capacity));
            const std::size_t length = std::min<u64>(text.length(), size - 1);
            std::wmemcpy(buffer, text.wideText(), length);
            buffer[length] = L'\0';
            return true;
        }
    } catch (...) {
    }
    std::wmemset(buffer, L'\0', size);
    return false;
}
