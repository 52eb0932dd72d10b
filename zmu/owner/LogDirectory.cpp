// Where an owner's log lies.
#include <zmu/owner/ZarnDataZGW.h>

#include <zmu/localize/ZarnLocalizeHelpers.h>
#include <zmu/localize/internal/OwnModule.h>
#include <zmu/log/internal/DirectoryTrace.h>
#include <zmu/monitor/Trace.h>
#include <zmu/monitor/ZarnData.h>
#include <zmu/owner/ZgwCodes.h>
#include <zmu/owner/internal/OwnerStatus.h>
#include <zmu/owner/internal/PathBuffer.h>
#include <zmu/owner/internal/ProgramFile.h>
#include <zmu/platform/Win32.h>

using namespace zmu;

namespace {

constexpr unsigned short directoryBit = 0x4000;
constexpr int mayWrite = 2;

/// Cuts a separator off the end; whether there was one.
bool cutSeparator(PathBuffer& path)
{
    if (!endsInSeparator(path))
        return false;
    path.inPlace()[path.length() - 1] = L'\0';
    return true;
}

void expandReferences(PathBuffer& path)
{
    PathBuffer scratch;
    u64 length = 0;
    wchar_t* const text = path.writable();
    require(ZarnLocalizeHelpers::expandEnvironmentVarStrsW(text, text, scratch.writable(), length,
                                                           pathQty),
            zgw::DirectoryNotExpanded);
    path.setUsed(static_cast<std::size_t>(length));
}

bool isDirectory(const PathBuffer& path, int& result)
{
    struct _stat64i32 status = {};
    result = _wstat64i32(path.c_str(), &status);
    return (status.st_mode & directoryBit) != 0;
}

/// As narrow as this: only a path that may be written and yet has no status is refused. One that
/// does not exist, or is a file, passes.
void refuseBrokenDirectory(const PathBuffer& path, ulong32& code2)
{
    int result = 0;
    if (_waccess(path.c_str(), mayWrite) == 0 && !isDirectory(path, result) && result != 0) {
        code2 = ERROR_DIRECTORY;
        throw int{zgw::PathIsNoDirectory};
    }
}

/// First pass: the directory that is set, with its references expanded.
void expandDirectory(UTL_String& directory, ulong32& code2)
{
    const wchar_t* const set = ZarnData::getLogDirectory();
    require(set && *set, zgw::DirectoryNotSet);
    PathBuffer path;
    path.assign(set); // cut, if need be
    expandReferences(path);
    if (!endsInSeparator(path))
        appendSeparator(path, zgw::DirectoryNoRoom);
    PathBuffer bare(path);
    cutSeparator(bare);
    refuseBrokenDirectory(bare, code2);
    makeNative(path.inPlace());
    orRaise(zgw::DirectoryNotAssigned, [&] { directory = UTL_String(path.c_str()); });
}

/// The last resort: a folder beside that of the program.
void composeLastResort(PathBuffer& path, HINSTANCE module)
{
    UTL_String home;
    require(ZarnDataZGW::getLogTagValue(home, Zarn_FORM_TAG_HOME_DIRECTORY, 0, module, nullptr,
                                        nullptr, 0, nullptr),
            zgw::HomeDirectoryUnknown);
    PathBuffer folder;
    require(folder.assign(loadText(GetModuleHandleW(ownModuleName), text::LogFolder).c_str()),
            zgw::DirectoryTooLong);
    if (!endsInSeparator(folder))
        appendSeparator(folder, zgw::DirectoryTooLong);
    const std::wstring parent = parentOf(home.wideText());
    require(parent.size() + folder.length() + 1 < pathQty && path.assign(parent.c_str()) &&
                path.append(L"/") && path.append(folder.c_str()),
            zgw::DirectoryTooLong);
}

void makeUsable(const PathBuffer& path, ulong32& code2)
{
    if (_waccess(path.c_str(), mayWrite) == 0) {
        int result = 0;
        if (isDirectory(path, result))
            return;
        code2 = ERROR_DIRECTORY;
        throw int{zgw::PathIsNoDirectory};
    }
    constexpr int exists = 0;
    code2 = GetLastError();
    if (_waccess(path.c_str(), exists) == 0)
        throw int{code2 == ERROR_DIRECTORY ? zgw::PathIsNoDirectory : zgw::DirectoryUnusable};
    if (!CreateDirectoryW(path.c_str(), nullptr)) {
        code2 = GetLastError();
        throw int{zgw::DirectoryNotCreated};
    }
    code2 = 0;
}

/// Second pass: the directory that is set, as it stands, made if it does not exist.
void makeDirectory(PathBuffer& path, UTL_String& directory, HINSTANCE module, ulong32& code2)
{
    if (const wchar_t* set = ZarnData::getLogDirectory())
        path.assign(set); // cut, if need be
    else
        composeLastResort(path, module);
    const bool hadSeparator = cutSeparator(path);
    makeUsable(path, code2);
    if (hadSeparator) {
        constexpr wchar_t separator[] = {pathSeparator, L'\0'};
        path.append(separator);
    }
    orRaise(zgw::DirectoryNotAssigned, [&] { directory = UTL_String(path.c_str()); });
}

} // namespace

bool ZarnDataZGW::obtainLogDirectorySpecifier()
{
    return m_logDirectorySpecifier &&
           obtainLogDirectorySpecifier(*m_logDirectorySpecifier, m_resourceModuleExternal);
}

bool ZarnDataZGW::obtainLogDirectorySpecifier(UTL_String& directory, HINSTANCE module)
{
    OwnerStatus status(code1());
    clearCodes(code1(), code2());
    directory.clear();
    runGuarded(status, zgw::DirectoryFirstUnexpected, [&] { expandDirectory(directory, code2()); });
    if (!status.isSelfSatisfied()) {
        directory.clear();
        clearCodes(code1(), code2());
    }
    if (directory.length() > 0)
        return true;

    PathBuffer path;
    runGuarded(status, zgw::DirectorySecondUnexpected,
               [&] { makeDirectory(path, directory, module, code2()); });
    if (status.isSelfSatisfied())
        return true;
    directory.clear();
    Zarn_TRACE(L"Function ZarnDataZGW::obtainLogDirectorySpecifier () [1] failed in its second "
               L"pass (ZGW%d/WLE%lu).\n",
               code1(), static_cast<unsigned long>(code2()));
    traceDirectory(L"ZarnDataZGW::obtainLogDirectorySpecifier ()", path.c_str());
    return false;
}
