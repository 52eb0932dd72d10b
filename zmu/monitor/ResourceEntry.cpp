#include <zmu/monitor/ResourceEntry.h>

#include <zmu/foundation/internal/LoadString.h>

using namespace zmu;

LoadStringFunction ResourceEntry::of(HMODULE module)
{
    if (m_module != module) {
        m_function = findStringEntry(module);
        m_module = module;
    }
    return m_function;
}
