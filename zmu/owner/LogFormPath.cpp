// Where an owner's form is looked for.
#include <zmu/owner/ZarnDataZGW.h>

#include <zmu/monitor/Trace.h>
#include <zmu/owner/ZgwCodes.h>
#include <zmu/owner/internal/OwnerStatus.h>
#include <zmu/owner/internal/PathBuffer.h>

using namespace zmu;

bool ZarnDataZGW::learnLogFormFQPath(UTL_String& path)
{
    setMemberVarsToDefaults(1, 2);
    path.clear();
    OwnerStatus status(code1());
    runGuarded(status, zgw::LogFormPathUnexpected, [&] {
        if (!m_logDirectorySpecifier || m_logDirectorySpecifier->length() == 0)
            requireOrRaiseHeld(obtainLogDirectorySpecifier(), status);
        orRaise(zgw::LogFormDirectoryNotCopied, [&] { path = *m_logDirectorySpecifier; });

        PathBuffer folder;
        bool fits = false;
        orRaise(zgw::TextNotLoaded, [&] {
            fits = folder.assign(loadText(m_resourceModuleInternal, text::FormFolder).c_str());
        });
        require(fits, zgw::LogFormFolderTooLong);
        require(!folder.isEmpty(), zgw::LogFormFolderEmpty);
        if (!endsInSeparator(folder))
            appendSeparator(folder, zgw::LogFormFolderTooLong);
        orRaise(zgw::LogFormFolderNotAppended, [&] { path += UTL_String(folder.c_str()); });

        std::wstring name;
        orRaise(zgw::LogFormNameNotLoaded,
                [&] { name = loadText(m_resourceModuleInternal, ownerRow(m_ownerID).formName); });
        require(!name.empty(), zgw::LogFormNameEmpty);
        orRaise(zgw::LogFormNameNotAppended, [&] { path += UTL_String(name.c_str()); });
    });
    if (status.isSelfSatisfied())
        return true;
    Zarn_TRACE(L"Function ZarnDataZGW::learnLogFormFQPath () failed (ZGW%d/WLE%lu).\n", code1(),
               static_cast<unsigned long>(code2()));
    path.clear();
    return false;
}
