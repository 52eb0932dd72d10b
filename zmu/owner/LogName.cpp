// What an owner's log is called. A name is taken by making the file.
#include <zmu/owner/ZarnDataZGW.h>

#include <zmu/foundation/internal/WideFormat.h>
#include <zmu/monitor/Trace.h>
#include <zmu/monitor/Zarn.h>
#include <zmu/owner/ZgwCodes.h>
#include <zmu/owner/internal/OwnerStatus.h>
#include <zmu/owner/internal/PathBuffer.h>
#include <zmu/owner/internal/ProgramFile.h>
#include <zmu/platform/Files.h>
#include <zmu/platform/Win32.h>

#include <cwchar>
#include <string>
#include <utility>

using namespace zmu;

namespace {

std::wstring programName()
{
    constexpr std::size_t programQty = 260;
    std::wstring name = programFileName().substr(0, programQty - 1);
    if (name.ends_with(L".exe"))
        name.resize(name.size() - 4);
    return name;
}

/// The local time as it stands in names: always of the same length.
std::wstring stampOfNow()
{
    SYSTEMTIME now;
    GetLocalTime(&now);
    wchar_t stamp[64] = {};
    formatWide(stamp, std::size(stamp), L"%4d-%02d-%02d_%02d-%02d-%02d-%03d", int{now.wYear},
               int{now.wMonth}, int{now.wDay}, int{now.wHour}, int{now.wMinute}, int{now.wSecond},
               int{now.wMilliseconds});
    return stamp;
}

enum class Claim { Made, Taken, Impossible };

/// Makes the file of that name, which nobody else can then do. Impossible where no file can be made
/// at all; whoever opens the log will tell.
Claim claim(const wchar_t* name)
{
    constexpr int attempts = 2; // what was there may have gone when it is looked at
    for (int i = 0; i < attempts; ++i) {
        const int file = openFile(name, FileUse::New);
        closeFile(file);
        if (file >= 0)
            return Claim::Made;
        if (isThere(name))
            return Claim::Taken;
    }
    return Claim::Impossible;
}

/// Composes names until one is free; empty if none is. A name that is cut may lack the moment, and
/// then stays the same: it is used as it is.
std::wstring claimName(const std::wstring& beginning, const std::wstring& extension, bool& wasMade)
{
    constexpr int attempts = 1000;
    constexpr unsigned untilNextMillisecond = 1;
    for (int i = 0; i < attempts; ++i) {
        std::wstring name = beginning;
        name.append(stampOfNow()).append(1, L'.').append(extension);
        const bool isCut = name.size() >= pathQty;
        name.resize(std::min(name.size(), pathQty - 1));
        makeNative(name.data());
        const Claim result = claim(name.c_str());
        wasMade = result == Claim::Made;
        if (result != Claim::Taken || isCut)
            return name;
        Sleep(untilNextMillisecond);
    }
    return {};
}

} // namespace

bool ZarnDataZGW::learnLogFileFQPath(UTL_String& path)
{
    setMemberVarsToDefaults(1, 2);
    if (&path == m_logFileFQPath)
        removeUnusedLogFile();
    path.clear();
    OwnerStatus status(code1());
    runGuarded(status, zgw::LogFilePathUnexpected, [&] {
        if (m_logDirectorySpecifier)
            m_logDirectorySpecifier->clear();
        require(obtainLogDirectorySpecifier(), zgw::LogFileDirectoryUnknown);
        std::wstring program = programName();
        std::wstring unknown;
        orRaise(zgw::TextNotLoaded,
                [&] { unknown = loadText(m_resourceModuleInternal, text::Unknown); });
        require(!unknown.empty(), zgw::LogFileUnknownTextEmpty);
        if (program.empty())
            program = unknown;

        std::wstring beginning(m_logDirectorySpecifier->wideText());
        if (m_ownerStandalone && ownerRow(m_ownerID).namesUser) {
            UTL_String user;
            getLogTagValue(user, Zarn_FORM_TAG_NAME_OF_USER);
            if (user.length() > 0)
                beginning.append(user.wideText()).append(L"_");
        }
        beginning.append(program).append(L"_");
        const std::wstring extension = m_logType == Zarn_LOG_HTML   ? L"html"
                                       : m_logType == Zarn_LOG_TEXT ? L"txt"
                                                                    : unknown;
        bool wasMade = false;
        const std::wstring name = claimName(beginning, extension, wasMade);
        try {
            path = UTL_String(name.c_str());
        } catch (...) {
            path.clear();
            if (wasMade)
                removeIfEmpty(name.c_str());
        }
        require(path.length() > 0, zgw::LogFilePathEmpty);
        if (&path == m_logFileFQPath)
            m_logFileIsOurs = wasMade;
    });
    if (status.isSelfSatisfied())
        return true;
    Zarn_TRACE(L"Function ZarnDataZGW::learnLogFileFQPath () failed (ZGW%d).\n", code1());
    path.clear();
    return false;
}

wchar_t* ZarnDataZGW::getLogFileFQPath(wchar_t* buffer, u64 capacity)
{
    constexpr u64 leastCapacity = 260;
    if (!buffer)
        return buffer;
    buffer[0] = L'\0';
    std::wmemset(buffer, L'\0', static_cast<std::size_t>(capacity));
    if (capacity >= leastCapacity && m_logFileFQPath && m_logFileFQPath->length() > 0 &&
        m_logFileFQPath->length() < capacity) {
        std::wcscpy(buffer, m_logFileFQPath->wideText());
        m_logFileIsOurs = false;
    }
    return buffer;
}

/// The monitor may have been given another log: the file is its only if it bears that name.
void ZarnDataZGW::leaveLogFileTo(Zarn& monitor)
{
    if (!m_logFileIsOurs)
        return;
    PathBuffer name;
    if (monitor.getFileLogName(name.writable(), pathQty))
        m_logFileIsOurs = std::wcscmp(name.c_str(), m_logFileFQPath->wideText()) != 0;
    else
        monitor.forgetSelfDX_Code();
}

void ZarnDataZGW::removeUnusedLogFile()
{
    if (std::exchange(m_logFileIsOurs, false) && m_logFileFQPath)
        removeIfEmpty(m_logFileFQPath->wideText());
}
