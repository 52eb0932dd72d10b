// Where an owner's log lies and what it is called, and where its form is looked for.
#include <zmu/owner/ZarnDataZGW.h>

#include <zmu/foundation/WideBuffer.h>
#include <zmu/foundation/internal/FileNames.h>
#include <zmu/localize/ZarnLocalizeHelpers.h>
#include <zmu/monitor/Trace.h>
#include <zmu/monitor/Zarn.h>
#include <zmu/monitor/ZarnData.h>
#include <zmu/monitor/internal/Guards.h>
#include <zmu/owner/ZgwCodes.h>
#include <zmu/owner/internal/OwnerStatus.h>
#include <zmu/owner/internal/OwnerTable.h>
#include <zmu/owner/internal/ProgramFile.h>
#include <zmu/platform/Paths.h>
#include <zmu/platform/Win32.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QString>
#include <QThread>

#include <cwchar>
#include <string>

using namespace zmu;

namespace {

constexpr wchar_t libraryName[] = L"zmu.dll";
constexpr unsigned short directoryBit = 0x4000;
constexpr int mayWrite = 2;
constexpr std::size_t pathQty = 1024; ///< Every path is built in as many elements.
constexpr std::size_t programQty = 260;
using PathBuffer = WideBuffer<pathQty>;

/// Runs `body`; an exception becomes `code`.
template <class Body>
void orRaise(int code, Body body)
{
    try {
        body();
    } catch (...) {
        throw int{code};
    }
}

bool endsInSeparator(const PathBuffer& path)
{
    return path.length() > 0 && isPathSeparator(path.c_str()[path.length() - 1]);
}

void appendSeparator(PathBuffer& path, int noRoom)
{
    constexpr wchar_t separator[] = {pathSeparator, L'\0'};
    require(path.append(separator), noRoom);
}

/// Cuts a separator off the end; whether there was one.
bool cutSeparator(PathBuffer& path)
{
    if (!endsInSeparator(path))
        return false;
    const std::wstring shorter(path.c_str(), path.length() - 1);
    path.assign(shorter.c_str());
    return true;
}

void assignNative(UTL_String& target, const wchar_t* path)
{
    const QString native = QDir::toNativeSeparators(QString::fromWCharArray(path));
    target = UTL_String(native.toStdWString().c_str());
}

std::wstring loadText(HINSTANCE module, unsigned int id)
{
    return UTL_String(module, id, text::capacity).wideText();
}

// ---- The directory ---------------------------------------------------------------------------------------

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

/// As narrow as this: only a path that may be written and yet has no status is refused. One that
/// does not exist, or is a file, passes.
void refuseBrokenDirectory(const PathBuffer& path, ulong32& code2)
{
    struct _stat64i32 status = {};
    if (_waccess(path.c_str(), mayWrite) == 0 && _wstat64i32(path.c_str(), &status) != 0 &&
        !(status.st_mode & directoryBit)) {
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
    require(path.assign(set), zgw::DirectoryNotExpanded);
    expandReferences(path);
    if (!endsInSeparator(path))
        appendSeparator(path, zgw::DirectoryNoRoom);
    PathBuffer bare(path);
    cutSeparator(bare);
    refuseBrokenDirectory(bare, code2);
    orRaise(zgw::DirectoryNotAssigned, [&] { assignNative(directory, path.c_str()); });
}

/// The last resort: a folder beside that of the program.
void composeLastResort(PathBuffer& path, HINSTANCE module)
{
    UTL_String home;
    require(ZarnDataZGW::getLogTagValue(home, Zarn_FORM_TAG_HOME_DIRECTORY, 0, module, nullptr,
                                        nullptr, 0, nullptr),
            zgw::HomeDirectoryUnknown);
    const QString parent = QFileInfo(QString::fromWCharArray(home.wideText())).path();
    PathBuffer folder;
    require(folder.assign(loadText(GetModuleHandleW(libraryName), text::LogFolder).c_str()),
            zgw::DirectoryTooLong);
    if (!endsInSeparator(folder))
        appendSeparator(folder, zgw::DirectoryTooLong);
    require(path.assign(parent.toStdWString().c_str()) && path.append(L"/") &&
                path.append(folder.c_str()),
            zgw::DirectoryTooLong);
}

void makeUsable(const PathBuffer& path, ulong32& code2)
{
    const QFileInfo info(toFileName(path.c_str()));
    if (info.isWritable()) {
        if (info.isDir())
            return;
        code2 = ERROR_DIRECTORY;
        throw int{zgw::PathIsNoDirectory};
    }
    code2 = GetLastError();
    if (info.exists())
        throw int{code2 == ERROR_DIRECTORY ? zgw::PathIsNoDirectory : zgw::DirectoryUnusable};
    if (!CreateDirectoryW(path.c_str(), nullptr)) {
        code2 = GetLastError();
        throw int{zgw::DirectoryNotCreated};
    }
    code2 = 0;
}

/// Second pass: the directory that is set, as it stands, made if it does not exist.
void makeDirectory(UTL_String& directory, HINSTANCE module, ulong32& code2)
{
    PathBuffer path;
    if (const wchar_t* set = ZarnData::getLogDirectory())
        require(path.assign(set), zgw::DirectoryTooLong);
    else
        composeLastResort(path, module);
    const bool hadSeparator = cutSeparator(path);
    makeUsable(path, code2);
    if (hadSeparator)
        appendSeparator(path, zgw::DirectoryTooLong);
    orRaise(zgw::DirectoryNotAssigned, [&] { directory = UTL_String(path.c_str()); });
}

// ---- The file --------------------------------------------------------------------------------------------

std::wstring programName()
{
    WideBuffer<programQty> name;
    name.assign(QFileInfo(programFilePath()).fileName().toStdWString().c_str());
    std::wstring result(name.c_str());
    if (result.ends_with(L".exe"))
        result.resize(result.size() - 4);
    return result;
}

std::wstring stampOf(const QDateTime& moment)
{
    const QDate date = moment.date();
    const QTime time = moment.time();
    wchar_t stamp[64] = {};
    std::swprintf(stamp, std::size(stamp), L"%4d-%02d-%02d_%02d-%02d-%02d-%03d", date.year(),
                  date.month(), date.day(), time.hour(), time.minute(), time.second(), time.msec());
    return stamp;
}

enum class Claim { Made, Taken, Impossible };

/// Makes the file of that name, which nobody else can then do. Impossible where no file can be made
/// at all; whoever opens the log will tell.
Claim claim(const QString& name)
{
    constexpr int attempts = 2; // what was there may have gone when it is looked at
    for (int i = 0; i < attempts; ++i) {
        QFile file(name);
        if (file.open(QIODevice::WriteOnly | QIODevice::NewOnly))
            return Claim::Made;
        const QFileInfo info(name);
        if (info.exists() || info.isSymLink())
            return Claim::Taken;
    }
    return Claim::Impossible;
}

/// A path as far as it has room.
struct Name {
    QString path;
    bool isCut = false;
};

/// Composes names until one is free; empty if none is. A name that is cut may lack the moment, and
/// then stays the same: it is used as it is.
template <class Compose>
QString claimName(Compose compose, bool& wasMade)
{
    constexpr int attempts = 1000;
    constexpr unsigned long untilNextMillisecond = 1;
    for (int i = 0; i < attempts; ++i) {
        const Name name = compose(QDateTime::currentDateTime());
        const Claim result = claim(toFileName(name.path));
        wasMade = result == Claim::Made;
        if (result != Claim::Taken || name.isCut)
            return name.path;
        QThread::msleep(untilNextMillisecond);
    }
    return {};
}

} // namespace

// ---- Log directory ---------------------------------------------------------------------------------------

bool ZarnDataZGW::obtainLogDirectorySpecifier()
{
    return m_logDirectorySpecifier &&
           obtainLogDirectorySpecifier(*m_logDirectorySpecifier, m_resourceModuleExternal);
}

bool ZarnDataZGW::obtainLogDirectorySpecifier(UTL_String& directory, HINSTANCE module)
{
    OwnerStatus status(code1());
    const auto forget = [&] {
        code1() = zgw::Success;
        code2() = 0;
        SetLastError(ERROR_SUCCESS);
    };
    forget();
    directory.clear();
    runGuarded(status, zgw::DirectoryFirstUnexpected, [&] { expandDirectory(directory, code2()); });
    if (!status.isSelfSatisfied()) {
        directory.clear();
        forget();
    }
    if (directory.length() > 0)
        return true;

    runGuarded(status, zgw::DirectorySecondUnexpected,
               [&] { makeDirectory(directory, module, code2()); });
    if (status.isSelfSatisfied())
        return true;
    directory.clear();
    Zarn_TRACE(L"Function ZarnDataZGW::obtainLogDirectorySpecifier () [1] failed in its second "
               L"pass (ZGW%d/WLE%lu).\n",
               code1(), static_cast<unsigned long>(code2()));
    return false;
}

// ---- Log file --------------------------------------------------------------------------------------------

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
        const auto compose = [&](const QDateTime& moment) {
            const std::wstring whole = beginning + stampOf(moment) + L'.' + extension;
            const std::wstring fitting = whole.substr(0, pathQty - 1);
            return Name{QDir::toNativeSeparators(QString::fromStdWString(fitting)),
                        fitting.size() < whole.size()};
        };
        bool wasMade = false;
        const QString name = claimName(compose, wasMade);
        try {
            path = UTL_String(name.toStdWString().c_str());
        } catch (...) {
            path.clear();
            if (wasMade)
                QFile::remove(toFileName(name));
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

// ---- Log form --------------------------------------------------------------------------------------------

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
