// The product's brander: finding it, making it, giving it back.
#include <zmu/owner/ZarnDataZGW.h>

#include <zmu/monitor/internal/Guards.h>
#include <zmu/owner/ZgwCodes.h>
#include <zmu/owner/internal/BranderModule.h>
#include <zmu/owner/internal/OwnerLock.h>
#include <zmu/owner/internal/OwnerStatus.h>
#include <zmu/platform/EntryPoint.h>

#include <utility>

using namespace zmu;

namespace {

constexpr wchar_t branderModuleName[] = L"zbr4u.dll";
constexpr wchar_t branderName[] = L"zbr4";
constexpr int branderKind = 2;

struct Entries {
    brander::GetProductBrander getProductBrander = nullptr;
    brander::Create create = nullptr;
    brander::GetSelfDX_Code getSelfDX_Code = nullptr;
    brander::Destroy destroy = nullptr;
};

template <class Entry>
bool findEntry(HMODULE module, const char* name, Entry& entry)
{
    entry = entryPoint<Entry>(module, name);
    return entry != nullptr;
}

/// The module's entries; null if it cannot be loaded or lacks one, with the last error.
const Entries* loadedEntries()
{
    static Entries entries;
    if (entries.destroy)
        return &entries;
    const HMODULE module = LoadLibraryW(branderModuleName);
    if (!module)
        return nullptr;
    Entries found;
    if (findEntry(module, brander::GetProductBranderEntry, found.getProductBrander) &&
        findEntry(module, brander::CreateEntry, found.create) &&
        findEntry(module, brander::GetSelfDX_CodeEntry, found.getSelfDX_Code) &&
        findEntry(module, brander::DestroyEntry, found.destroy)) {
        entries = found;
        return &entries;
    }
    const DWORD error = GetLastError();
    FreeLibrary(module);
    SetLastError(error);
    return nullptr;
}

} // namespace

// ---- The module ------------------------------------------------------------------------------------------

ZRpbr* BranderModule::getProductBrander()
{
    const Entries* entries = loadedEntries();
    return entries ? entries->getProductBrander() : nullptr;
}

ZRpbr* BranderModule::create(int kind)
{
    const Entries* entries = loadedEntries();
    return entries ? entries->create(kind) : nullptr;
}

int BranderModule::getSelfDX_Code()
{
    const Entries* entries = loadedEntries();
    return entries ? entries->getSelfDX_Code() : static_cast<int>(GetLastError());
}

void BranderModule::destroy()
{
    if (const Entries* entries = loadedEntries())
        entries->destroy();
}

// ---- Obtaining -------------------------------------------------------------------------------------------

bool ZarnDataZGW::obtainProductBrander(ZRpbr*& brander, UTL_String*& moduleName, bool& createdHere)
{
    const Synchronized guard(ownersMutex());
    code2() = 0;
    OwnerStatus status(code1());
    if (brander && moduleName && moduleName->length() > 0)
        return status.isSelfSatisfied();
    runGuarded(status, zgw::BranderUnexpected, [&] {
        if (!brander) {
            brander = BranderModule::getProductBrander();
            createdHere = false;
        }
        if (!brander) {
            brander = BranderModule::create(branderKind);
            createdHere = brander != nullptr;
        }
        if (!brander) {
            code2() = static_cast<ulong32>(BranderModule::getSelfDX_Code());
            throw int{zgw::BranderMissing};
        }
        if (moduleName && moduleName->length() > 0)
            return;
        try {
            if (!moduleName)
                moduleName = new UTL_String;
            *moduleName = UTL_String(branderName);
        } catch (...) {
            if (moduleName)
                moduleName->clear();
        }
    });
    if (status.isSelfSatisfied())
        return true;
    destroyProductBrander(brander, &moduleName);
    createdHere = false;
    return false;
}

bool ZarnDataZGW::obtainProductBrander()
{
    setMemberVarsToDefaults(1, 2);
    return obtainProductBrander(m_productBrander, m_productBranderModuleName,
                                m_productBranderIsOurs);
}

// ---- Giving back -----------------------------------------------------------------------------------------

void ZarnDataZGW::destroyProductBrander(ZRpbr*& brander, UTL_String** moduleName)
{
    const Synchronized guard(ownersMutex());
    try {
        if (brander)
            BranderModule::destroy();
    } catch (...) {
    }
    brander = nullptr;
    if (moduleName)
        delete std::exchange(*moduleName, nullptr);
}

void ZarnDataZGW::destroyProductBrander()
{
    ZRpbr* brander = m_productBranderIsOurs ? m_productBrander : nullptr;
    destroyProductBrander(brander, &m_productBranderModuleName);
    m_productBrander = nullptr;
    m_productBranderIsOurs = false;
}

void ZarnDataZGW::relinquishProductBrander(ZRpbr*& brander, UTL_String** moduleName)
{
    brander = std::exchange(m_productBrander, nullptr);
    UTL_String* const name = std::exchange(m_productBranderModuleName, nullptr);
    if (moduleName)
        *moduleName = name;
    else
        delete name;
}
