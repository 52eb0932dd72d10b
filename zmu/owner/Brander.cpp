// The product's brander: finding it, making it, giving it back.
#include <zmu/owner/ZarnDataZGW.h>

#include <zmu/monitor/Trace.h>
#include <zmu/monitor/internal/Guards.h>
#include <zmu/owner/ZgwCodes.h>
#include <zmu/owner/internal/BranderModule.h>
#include <zmu/owner/internal/OwnerStatus.h>
#include <zmu/platform/EntryPoint.h>
#include <zmu/platform/ModulePlaces.h>
#include <zmu/platform/Threads.h>
#include <zmu/platform/Win32.h>

#include <iterator>
#include <mutex>
#include <utility>

using namespace zmu;

namespace {

constexpr wchar_t branderModuleName[] = L"zbr4u.dll";
constexpr wchar_t branderName[] = L"zbr4";
constexpr int branderKind = 2;

// Owners that hold the brander, and whether one of those that have let go had made it: it goes when
// the last one does. Touched only under branderLock.
int s_owners = 0;
bool s_isDestroyDue = false;

template <class Entry>
bool findEntry(HMODULE module, const char* name, Entry& entry)
{
    entry = entryPoint<Entry>(module, name);
    return entry != nullptr;
}

bool findEntries(HMODULE module, BranderModule& entries)
{
    return findEntry(module, brander::GetProductBranderEntry, entries.getProductBrander) &&
           findEntry(module, brander::CreateEntry, entries.create) &&
           findEntry(module, brander::GetSelfDX_CodeEntry, entries.getSelfDX_Code) &&
           findEntry(module, brander::DestroyEntry, entries.destroy);
}

/// Says where a module lies, so that nobody's log bears another company's name unnoticed.
void traceModule(const wchar_t* what, HMODULE module)
{
    wchar_t path[1024] = {};
    GetModuleFileNameW(module, path, static_cast<DWORD>(std::size(path)));
    Zarn_TRACE(L"ZarnDataZGW: module %ls %ls.\n", path, what);
}

/// Keeps the last error.
void traceMissing()
{
    const DWORD error = GetLastError();
    try {
        Zarn_TRACE(L"ZarnDataZGW: the brander, module %ls, was not found or could not be loaded "
                   L"(WLE%lu). It is looked for in: %ls.\n",
                   branderModuleName, static_cast<unsigned long>(error), modulePlaces().c_str());
    } catch (...) { // no memory to say so
    }
    SetLastError(error);
}

} // namespace

// ---- The module ------------------------------------------------------------------------------------------

namespace {

ProcessLock s_branderLock;

} // namespace

ProcessLock& zmu::branderLock()
{
    return s_branderLock;
}

const BranderModule* zmu::loadedBranderModule()
{
    static BranderModule loaded;
    static bool isLoaded = false;
    {
        const std::lock_guard guard(branderLock());
        if (isLoaded)
            return &loaded;
    }
    const HMODULE module = LoadLibraryW(branderModuleName);
    if (!module) {
        traceMissing();
        return nullptr;
    }
    BranderModule entries;
    if (!findEntries(module, entries)) {
        const DWORD error = GetLastError();
        traceModule(L"is no brander, an entry is missing", module);
        FreeLibrary(module);
        SetLastError(error);
        return nullptr;
    }
    bool isFirst = false;
    {
        const std::lock_guard guard(branderLock());
        isFirst = !std::exchange(isLoaded, true);
        if (isFirst)
            loaded = entries;
    }
    if (isFirst)
        traceModule(L"is the brander of this process", module);
    return &loaded;
}

// ---- Obtaining -------------------------------------------------------------------------------------------

bool ZarnDataZGW::obtainProductBrander(ZRpbr*& brander, UTL_String*& moduleName, bool& createdHere,
                                       int owners)
{
    code2() = 0;
    OwnerStatus status(code1());
    if (brander && moduleName && moduleName->length() > 0)
        return status.isSelfSatisfied();
    int flaw = 0;
    runGuarded(status, zgw::BranderUnexpected, [&] {
        const BranderModule* const module = brander ? nullptr : loadedBranderModule();
        if (!brander && !module) {
            code2() = GetLastError();
            throw int{zgw::BranderMissing};
        }
        const std::lock_guard guard(branderLock());
        if (!brander) {
            brander = module->getProductBrander();
            createdHere = false;
        }
        if (!brander) {
            brander = module->create(branderKind);
            createdHere = brander != nullptr;
            flaw = brander ? module->getSelfDX_Code() : 0;
        }
        if (!brander) {
            code2() = static_cast<ulong32>(module->getSelfDX_Code());
            throw int{zgw::BranderMissing};
        }
        try {
            if (!moduleName)
                moduleName = new UTL_String;
            if (moduleName->length() == 0)
                *moduleName = UTL_String(branderName);
        } catch (...) {
            if (moduleName)
                moduleName->clear();
        }
        if (status.isSelfSatisfied())
            s_owners += owners;
    });
    if (flaw != 0)
        Zarn_TRACE(L"ZarnDataZGW: the brander was made with status %d.\n", flaw);
    if (status.isSelfSatisfied())
        return true;
    destroyProductBrander(brander, &moduleName);
    createdHere = false;
    return false;
}

bool ZarnDataZGW::obtainProductBrander(ZRpbr*& brander, UTL_String*& moduleName, bool& createdHere)
{
    return obtainProductBrander(brander, moduleName, createdHere, 0);
}

bool ZarnDataZGW::obtainProductBrander()
{
    setMemberVarsToDefaults(1, 2);
    return obtainProductBrander(m_productBrander, m_productBranderModuleName,
                                m_productBranderIsOurs, 1);
}

// ---- Giving back -----------------------------------------------------------------------------------------

void ZarnDataZGW::destroyProductBrander(ZRpbr*& brander, UTL_String** moduleName)
{
    const CancellationHold hold;
    try {
        const BranderModule* const module = brander ? loadedBranderModule() : nullptr;
        const std::lock_guard guard(branderLock());
        if (module)
            module->destroy();
    } catch (...) {
    }
    brander = nullptr;
    if (moduleName)
        delete std::exchange(*moduleName, nullptr);
}

void ZarnDataZGW::destroyProductBrander()
{
    const std::lock_guard guard(branderLock());
    ZRpbr* brander = letGoOfBrander(m_productBranderIsOurs);
    destroyProductBrander(brander, &m_productBranderModuleName);
    m_productBranderIsOurs = false;
}

ZRpbr* ZarnDataZGW::letGoOfBrander(bool mayDestroy)
{
    ZRpbr* const brander = std::exchange(m_productBrander, nullptr);
    if (!brander)
        return nullptr;
    s_isDestroyDue = s_isDestroyDue || mayDestroy;
    if (--s_owners > 0)
        return nullptr;
    return std::exchange(s_isDestroyDue, false) ? brander : nullptr;
}

void ZarnDataZGW::relinquishProductBrander(ZRpbr*& brander, UTL_String** moduleName)
{
    const std::lock_guard guard(branderLock());
    brander = m_productBrander;
    letGoOfBrander(false);
    UTL_String* const name = std::exchange(m_productBranderModuleName, nullptr);
    if (moduleName)
        *moduleName = name;
    else
        delete name;
}
