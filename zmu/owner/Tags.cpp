// The fifteen tags of a form: where each value comes from.
#include <zmu/owner/ZarnDataZGW.h>

#include <zmu/foundation/WideBuffer.h>
#include <zmu/localize/ZarnLocalizeHelpers.h>
#include <zmu/monitor/Trace.h>
#include <zmu/monitor/Zarn.h>
#include <zmu/monitor/internal/Guards.h>
#include <zmu/owner/ZRpbr.h>
#include <zmu/owner/ZgwCodes.h>
#include <zmu/owner/internal/BranderModule.h>
#include <zmu/owner/internal/OwnerStatus.h>
#include <zmu/owner/internal/OwnerTable.h>
#include <zmu/owner/internal/ProgramFile.h>
#include <zmu/platform/Win32.h>
#include <zmu/sysinfo/ZarnSysInfoEnvOp.h>

#include <mutex>
#include <new>
#include <string>

using namespace zmu;

namespace {

enum class Source {
    Brand,        ///< The brander's text of the row's ID.
    OwnerBrand,   ///< The brander's text of the owner.
    ProductName,  ///< The brander's text of the owner, else the module's original file name.
    Version,      ///< A version of the product.
    OriginalName, ///< The module's original file name.
    ProgramFolder,
    Machine, ///< What the operating environment tells at the row's ID.
    User,
    None,
};

struct TagRow {
    Source source;
    int id = 0;
};

// By tag.
constexpr TagRow tagRows[Zarn_FORM_TAGS_QTY] = {
    {Source::Brand, 0},      // COMPANY_KNOW_BASE
    {Source::Brand, 1},      // COMPANY_NAME_LONG
    {Source::Brand, 2},      // COMPANY_NAME_SHORT
    {Source::Brand, 3},      // COMPANY_WEBSITE
    {Source::Version},       // FILE_VERSION
    {Source::ProgramFolder}, // HOME_DIRECTORY
    {Source::OriginalName},  // MODULE_FILE_NAME
    {Source::OwnerBrand},    // MODULE_NAME
    {Source::Machine, 6},    // NAME_OF_DOMAIN
    {Source::Machine, 5},    // NAME_OF_HOST
    {Source::None},          // NAME_OF_SESSION
    {Source::User},          // NAME_OF_USER
    {Source::ProductName},   // PRODUCT_NAME
    {Source::Version},       // PRODUCT_VERSION
    {Source::Brand, 29},     // SUITE_NAME
};

/// One look for a tag's value, in the caller's buffer.
class TagSource {
  public:
    TagSource(UTL_String& value, HINSTANCE module, ZRpbr* brander, ulong32& code2, wchar_t* buffer,
              u64 capacity)
        : m_value(value), m_module(module), m_brander(brander), m_code2(code2), m_buffer(buffer),
          m_capacity(capacity)
    {}

    void read(Zarn_FORM_TAG tag, i64 ownerID)
    {
        const TagRow& row = tagRows[tag];
        switch (row.source) {
        case Source::Brand:
            return readBrand(row.id);
        case Source::OwnerBrand:
            return readBrand(ownerRow(ownerID).brandText);
        case Source::ProductName:
            if (m_brander)
                readBrand(ownerRow(ownerID).brandText);
            if (m_value.length() > 0)
                return;
            return readOriginalName();
        case Source::Version:
            return take(ZarnLocalizeHelpers::obtainVersionZGW(m_buffer, m_capacity, tag, module()));
        case Source::OriginalName:
            return readOriginalName();
        case Source::ProgramFolder:
            m_value = UTL_String(programDirectory().c_str());
            return;
        case Source::Machine: {
            ZarnSysInfoEnvOp machine;
            return take(
                machine.getDataPair(row.id, nullptr, m_buffer, 0, static_cast<int>(m_capacity)));
        }
        case Source::User:
            return readUser();
        case Source::None:
            return;
        }
    }

  private:
    void readBrand(int id)
    {
        require(m_brander, zgw::BrandTextNoBrander);
        const std::lock_guard guard(branderLock());
        try {
            m_value = UTL_String(m_brander->getBrandText(id, m_buffer, m_capacity));
        } catch (...) {
            throw int{zgw::BrandTextFailed};
        }
    }

    void readOriginalName()
    {
        take(ZarnLocalizeHelpers::extractModuleVerValueSFI_OrigFNm(
            module(), m_buffer, m_capacity, nullptr, L"StringFileInfo", L'\\'));
    }

    void readUser()
    {
        auto size = static_cast<DWORD>(m_capacity);
        const bool succeeded = GetUserNameW(m_buffer, &size);
        if (!succeeded)
            m_code2 = GetLastError();
        take(succeeded);
    }

    void take(bool succeeded)
    {
        require(succeeded, zgw::TagSourceFailed);
        m_value = UTL_String(m_buffer);
    }

    HINSTANCE module()
    {
        HINSTANCE module = m_module ? m_module : GetModuleHandleW(nullptr);
        if (!module) {
            m_code2 = GetLastError();
            throw int{zgw::TagModuleUnknown};
        }
        return module;
    }

    UTL_String& m_value;
    HINSTANCE m_module;
    ZRpbr* m_brander;
    ulong32& m_code2;
    wchar_t* m_buffer;
    u64 m_capacity;
};

/// How traces show an address.
unsigned int shown(const void* address)
{
    return static_cast<unsigned int>(reinterpret_cast<u64>(address));
}

} // namespace

// ---- One tag ---------------------------------------------------------------------------------------------

bool ZarnDataZGW::obtainLogTagValue(UTL_String& value, Zarn_FORM_TAG tag, wchar_t* buffer,
                                    u64 capacity)
{
    return obtainLogTagValue(value, tag, m_ownerID, m_resourceModuleExternal, m_productBrander,
                             code1(), code2(), buffer, capacity);
}

bool ZarnDataZGW::obtainLogTagValue(UTL_String& value, Zarn_FORM_TAG tag, i64 ownerID,
                                    HINSTANCE const& module, ZRpbr* brander, int& code1,
                                    ulong32& code2, wchar_t* buffer, u64 capacity)
{
    clearCodes(code1, code2);
    value.clear();
    OwnerStatus status(code1);
    runGuarded(status, zgw::TagValueUnexpected, [&] {
        WideBuffer<text::capacity> own;
        require(!buffer || capacity > 0, zgw::TagBufferEmpty);
        if (tag < 0 || tag >= Zarn_FORM_TAGS_QTY)
            return;
        wchar_t* const work = buffer ? buffer : own.writable();
        work[0] = L'\0';
        TagSource(value, module, brander, code2, work, buffer ? capacity : own.capacity)
            .read(tag, ownerID);
    });
    if (!status.isSelfSatisfied()) {
        Zarn_TRACE(L"Function ZarnDataZGW::obtainLogTagValue (tag, %d, 0x%08x, 0x%08x, 0x%08x, et "
                   L"alia) [1] failed (ZGW%d/WLE%lu).\n",
                   static_cast<int>(tag), static_cast<unsigned int>(ownerID), shown(module),
                   shown(brander), code1, static_cast<unsigned long>(code2));
        value.clear();
        SetLastError(ERROR_SUCCESS);
    }
    return value.length() > 0;
}

// ---- All of them -----------------------------------------------------------------------------------------

bool ZarnDataZGW::obtainLogTagValues()
{
    return obtainLogTagValues(m_logTagValues, m_logTagValuesQty, m_ownerID,
                              m_resourceModuleExternal, m_productBrander, code1(), code2());
}

bool ZarnDataZGW::obtainLogTagValues(UTL_String*& values, int& quantity, i64 ownerID,
                                     HINSTANCE const& module, ZRpbr* brander, int& code1,
                                     ulong32& code2)
{
    clearCodes(code1, code2);
    OwnerStatus status(code1);
    runGuarded(status, zgw::TagValuesUnexpected, [&] {
        require(brander, zgw::TagValuesNoBrander);
        UTL_String unknown;
        try {
            unknown = UTL_String(m_resourceModuleInternal, text::Unknown, text::capacity);
        } catch (...) {
            unknown.clear();
        }
        require(unknown.length() > 0, zgw::UnknownTextEmpty);

        freeLogTagValues(values, quantity);
        values = new (std::nothrow) UTL_String[Zarn_FORM_TAGS_QTY];
        require(values, zgw::TagValuesNoMemory);
        quantity = Zarn_FORM_TAGS_QTY;
        wchar_t buffer[text::capacity];
        for (int tag = 0; tag < Zarn_FORM_TAGS_QTY; ++tag) {
            buffer[0] = L'\0';
            UTL_String value;
            // Each call forgets the code of the one before: only the last tag's failure is one.
            const bool found = obtainLogTagValue(value, Zarn_FORM_TAG(tag), ownerID, module,
                                                 brander, code1, code2, buffer, text::capacity);
            values[tag] = found ? value : unknown;
        }
    });
    if (status.isSelfSatisfied())
        return true;
    Zarn_TRACE(L"Function ZarnDataZGW::obtainLogTagValues (0x%08x, %d, 0x%08x, 0x%08x, 0x%08x, %d, "
               L"%lu) [1] failed.\n",
               shown(values), quantity, static_cast<unsigned int>(ownerID), shown(module),
               shown(brander), code1, static_cast<unsigned long>(code2));
    freeLogTagValues(values, quantity);
    SetLastError(ERROR_SUCCESS);
    return false;
}

void ZarnDataZGW::freeLogTagValues()
{
    freeLogTagValues(m_logTagValues, m_logTagValuesQty);
}

void ZarnDataZGW::freeLogTagValues(UTL_String*& values, int& quantity)
{
    delete[] values;
    values = nullptr;
    quantity = 0;
}

// ---- Looking one up --------------------------------------------------------------------------------------

bool ZarnDataZGW::getLogTagValue(UTL_String& value, Zarn_FORM_TAG tag)
{
    return getLogTagValue(value, tag, m_ownerID, m_resourceModuleExternal, m_productBrander,
                          m_logTagValues, m_logTagValuesQty, nullptr);
}

bool ZarnDataZGW::getLogTagValue(UTL_String& value, Zarn_FORM_TAG tag, i64 ownerID,
                                 HINSTANCE module, ZRpbr* brander, const UTL_String* values,
                                 int quantity, Zarn* monitor)
{
    value.clear();
    try {
        const wchar_t* const recorded = monitor ? monitor->getTag(tag) : nullptr;
        if (recorded && *recorded) {
            value = UTL_String(recorded);
        } else if (values && tag >= 0 && quantity > tag && values[tag].length() > 0) {
            value = values[tag];
        } else if (!obtainLogTagValue(value, tag, ownerID, module, brander, code1(), code2(),
                                      nullptr, 0)) {
            try {
                value = UTL_String(m_resourceModuleInternal, text::Unknown, text::capacity);
            } catch (...) {
                value.clear();
            }
            clearCodes(code1(), code2());
        }
    } catch (...) {
        value.clear();
    }
    return value.length() > 0;
}
