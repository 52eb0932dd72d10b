#include "../System.h"

#ifndef NOMINMAX
#define NOMINMAX
#endif
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <iterator>
#include <limits>
#include <string>

using namespace cs4s3;

namespace {

constexpr wchar_t settingsKey[] = L"SOFTWARE\\Quorvane\\Farrowlink\\Spool";

/// Nanoseconds since 1970 of the system's time, which counts tenths of microseconds since 1601.
i64 fromFileTime(const FILETIME& time)
{
    constexpr i64 from1601To1970 = 116'444'736'000'000'000;
    ULARGE_INTEGER ticks;
    ticks.LowPart = time.dwLowDateTime;
    ticks.HighPart = time.dwHighDateTime;
    return (static_cast<i64>(ticks.QuadPart) - from1601To1970) * 100;
}

HANDLE handleOf(File file)
{
    return reinterpret_cast<HANDLE>(file);
}

// ---- The process ---------------------------------------------------------------------------------

SRWLOCK s_lock = SRWLOCK_INIT;

/// Whether the process ends, and all its threads but this one were stopped.
bool isProcessEnding()
{
    using Question = BOOLEAN(NTAPI*)();
    static const auto ask = reinterpret_cast<Question>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlDllShutdownInProgress")));
    return ask && ask();
}

/// The module stays for as long as its process: its spool goes on where a monitor comes back.
bool pin()
{
    HMODULE self = nullptr;
    return GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                  GET_MODULE_HANDLE_EX_FLAG_PIN,
                              reinterpret_cast<const wchar_t*>(&s_lock), &self);
}
const bool isPinned = pin();

void copyName(const wchar_t* name, wchar_t (&target)[zmu_spool::longestName + 1])
{
    const std::size_t length = std::min(std::wcslen(name), zmu_spool::longestName);
    std::wmemcpy(target, name, length);
    target[length] = L'\0';
}

} // namespace

i64 cs4s3::presentTime()
{
    FILETIME time;
    GetSystemTimePreciseAsFileTime(&time);
    return fromFileTime(time);
}

u64 cs4s3::steadyMilliseconds()
{
    return GetTickCount64();
}

u64 cs4s3::threadNumber()
{
    return GetCurrentThreadId();
}

u64 cs4s3::processNumber()
{
    return GetCurrentProcessId();
}

void cs4s3::giveWay()
{
    SwitchToThread();
}

void cs4s3::describeProcess(zmu_spool::Origin& origin)
{
    wchar_t text[Settings::pathQty] = {};
    DWORD size = Settings::pathQty;
    copyName(GetComputerNameExW(ComputerNameDnsHostname, text, &size) ? text : L"", origin.host);
    size = GetModuleFileNameW(nullptr, text, Settings::pathQty - 1);
    text[size] = L'\0';
    const wchar_t* const separator = std::wcsrchr(text, L'\\');
    copyName(separator ? separator + 1 : text, origin.program);
    origin.process = processNumber();
    FILETIME start{}, end{}, kernel{}, user{};
    origin.start = GetProcessTimes(GetCurrentProcess(), &start, &end, &kernel, &user)
                       ? fromFileTime(start)
                       : presentTime();
}

Undisturbed::Undisturbed() : m_error(GetLastError()) {}

Undisturbed::~Undisturbed()
{
    SetLastError(m_error);
}

void SpoolGuard::forget()
{
    InitializeSRWLock(&s_lock);
}

SpoolGuard::SpoolGuard() : m_isHeld(TryAcquireSRWLockExclusive(&s_lock))
{
    if (m_isHeld || isProcessEnding())
        return;
    AcquireSRWLockExclusive(&s_lock);
    m_isHeld = true;
}

SpoolGuard::~SpoolGuard()
{
    if (m_isHeld)
        ReleaseSRWLockExclusive(&s_lock);
}

namespace {

/// UTF-8 as the system takes it; empty if it has no room.
struct WidePath {
    explicit WidePath(const char* text)
    {
        if (MultiByteToWideChar(CP_UTF8, 0, text, -1, path, static_cast<int>(qty)) == 0)
            path[0] = L'\0';
    }

    static constexpr std::size_t qty = Settings::pathQty + zmu_spool::fileNameQty;
    wchar_t path[qty];
};

} // namespace

void cs4s3::tell(const char* line)
{
    OutputDebugStringW(WidePath(line).path);
}

void cs4s3::explain(int error, char* text, std::size_t size)
{
    wchar_t words[256] = L"";
    DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS |
                                      FORMAT_MESSAGE_MAX_WIDTH_MASK,
                                  nullptr, static_cast<DWORD>(error), 0, words,
                                  static_cast<DWORD>(std::size(words)), nullptr);
    while (length != 0 && (words[length - 1] == L' ' || words[length - 1] == L'.'))
        words[--length] = L'\0';
    char narrow[3 * std::size(words)] = "";
    if (length == 0 ||
        WideCharToMultiByte(CP_UTF8, 0, words, -1, narrow, sizeof narrow, nullptr, nullptr) == 0)
        std::strcpy(narrow, "error");
    std::snprintf(text, size, "%s (%d)", narrow, error);
}

// ---- Settings ------------------------------------------------------------------------------------

namespace {

/// Empty for a variable that is not set. One that is too long for a path comes as it is.
std::wstring variable(const wchar_t* name)
{
    std::wstring value;
    DWORD size = Settings::pathQty;
    do {
        value.resize(size);
        size = GetEnvironmentVariableW(name, value.data(), size);
    } while (size > value.size());
    value.resize(size);
    return value;
}

/// A value of the machine's settings as text, be it a number; empty without one. Raises the
/// system's number for why one that is there cannot be taken.
std::wstring machineSetting(const wchar_t* name)
{
    wchar_t text[Settings::pathQty] = {};
    DWORD size = sizeof text - sizeof *text;
    LSTATUS error =
        RegGetValueW(HKEY_LOCAL_MACHINE, settingsKey, name, RRF_RT_REG_SZ, nullptr, text, &size);
    if (error == ERROR_UNSUPPORTED_TYPE) {
        u64 number = 0;
        size = sizeof number;
        error = RegGetValueW(HKEY_LOCAL_MACHINE, settingsKey, name,
                             RRF_RT_REG_DWORD | RRF_RT_REG_QWORD, nullptr, &number, &size);
        if (error == ERROR_SUCCESS)
            return std::to_wstring(number);
    }
    if (error != ERROR_SUCCESS && error != ERROR_FILE_NOT_FOUND)
        throw static_cast<int>(error);
    return error == ERROR_SUCCESS ? text : L"";
}

/// Leaves `size` as it is without a setting. Whether there is none, or it is a number.
bool takeSize(const wchar_t* name, u64& size)
{
    const std::wstring set = machineSetting(name);
    std::string text;
    for (const wchar_t c : set)
        text += c < 0x80 ? static_cast<char>(c) : '?';
    return text.empty() || readSize(text.c_str(), size);
}

/// Whether the process may make files there.
bool isUsable(const std::wstring& folder)
{
    const HANDLE directory =
        CreateFileW(folder.c_str(), FILE_LIST_DIRECTORY | FILE_ADD_FILE,
                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                    FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (directory == INVALID_HANDLE_VALUE)
        return false;
    const DWORD attributes = GetFileAttributesW(folder.c_str());
    CloseHandle(directory);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

std::wstring usersFolder()
{
    std::wstring folder = variable(L"LOCALAPPDATA");
    if (folder.empty())
        return folder;
    for (const wchar_t* part : {L"\\zmu", L"\\spool"})
        CreateDirectoryW(folder.append(part).c_str(), nullptr);
    return folder;
}

/// "C:\…" or "\\…": nothing that depends on where the process happens to be.
bool isAbsolute(const std::wstring& path)
{
    return path.starts_with(L"\\\\") ||
           (path.size() > 2 && path[1] == L':' && (path[2] == L'\\' || path[2] == L'/'));
}

} // namespace

Obstacle cs4s3::obtainSettings(Settings& settings)
try {
    if (!takeSize(L"FileSize", settings.fileSize) || !takeSize(L"FolderSize", settings.folderSize))
        return {"FileSize or FolderSize of the machine's settings is no number of bytes", 0};
    std::wstring folder = variable(L"ZMU_SPOOL");
    if (folder.empty())
        folder = machineSetting(L"Folder");
    if (folder.empty()) {
        const std::wstring shared = variable(L"ProgramData");
        folder = shared + L"\\zmu\\spool";
        if (shared.empty() || !isUsable(folder))
            folder = usersFolder();
    }
    while (folder.ends_with(L'\\') || folder.ends_with(L'/'))
        folder.pop_back();
    if (!isAbsolute(folder) || WideCharToMultiByte(CP_UTF8, 0, folder.c_str(), -1, settings.folder,
                                                   Settings::pathQty, nullptr, nullptr) == 0)
        return {"no absolute path of a spool folder is set", 0};
    return {};
} catch (int error) {
    return {"the machine's settings cannot be read", error};
}

// ---- Files ---------------------------------------------------------------------------------------

int cs4s3::measureFolder(const char* folder, FolderUse& use)
{
    constexpr i64 nanosecondsOfSecond = 1'000'000'000;
    WidePath path(folder);
    const std::size_t length = std::wcslen(path.path);
    const std::wstring_view all = L"\\*.spool";
    path.path[length + all.copy(path.path + length, all.size())] = L'\0';
    WIN32_FIND_DATAW found;
    const HANDLE list = FindFirstFileW(path.path, &found);
    if (list == INVALID_HANDLE_VALUE)
        return GetLastError() == ERROR_FILE_NOT_FOUND ? 0 : static_cast<int>(GetLastError());
    const i64 now = presentTime();
    do {
        // The list knows the size of a file that is being written from the last time it was closed.
        WIN32_FILE_ATTRIBUTE_DATA file;
        std::swprintf(path.path + length, WidePath::qty - length, L"\\%ls", found.cFileName);
        if (!GetFileAttributesExW(path.path, GetFileExInfoStandard, &file) ||
            (file.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)))
            continue;
        char name[3 * MAX_PATH] = "";
        WideCharToMultiByte(CP_UTF8, 0, found.cFileName, -1, name, sizeof name, nullptr, nullptr);
        u64 size = static_cast<u64>(file.nFileSizeHigh) << 32 | file.nFileSizeLow;
        if (file.dwFileAttributes & FILE_ATTRIBUTE_SPARSE_FILE) { // it may have holes
            DWORD high = 0;
            const DWORD low = GetCompressedFileSizeW(path.path, &high);
            if (low != INVALID_FILE_SIZE || GetLastError() == NO_ERROR)
                size = static_cast<u64>(high) << 32 | low;
        }
        use.add(name, size, (now - fromFileTime(file.ftLastWriteTime)) / nanosecondsOfSecond);
    } while (FindNextFileW(list, &found));
    const DWORD error = GetLastError();
    FindClose(list);
    return error == ERROR_NO_MORE_FILES ? 0 : static_cast<int>(error);
}

namespace {

WidePath pathOf(const char* folder, const char* name)
{
    char path[WidePath::qty];
    std::snprintf(path, sizeof path, "%s\\%s", folder, name);
    return WidePath(path);
}

} // namespace

int cs4s3::createFile(const char* folder, const char* name, std::atomic<File>& file)
{
    // Nobody else may write it, nor take it away, as long as it is open.
    const HANDLE handle =
        CreateFileW(pathOf(folder, name).path, GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_NEW,
                    FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return static_cast<int>(GetLastError());
    file = reinterpret_cast<File>(handle);
    return 0;
}

void cs4s3::closeFile(std::atomic<File>& file)
{
    if (const File closed = file.exchange(noFile); closed != noFile)
        CloseHandle(handleOf(closed));
}

void cs4s3::removeFile(const char* folder, const char* name)
{
    DeleteFileW(pathOf(folder, name).path);
}

void cs4s3::giveSign(File file)
{
    // Of a file that is being written the system may tell the time of its last close.
    FILETIME now;
    GetSystemTimePreciseAsFileTime(&now);
    SetFileTime(handleOf(file), nullptr, nullptr, &now);
}

bool cs4s3::isNameTaken(int error)
{
    return error == ERROR_FILE_EXISTS || error == ERROR_ALREADY_EXISTS;
}

bool cs4s3::isForWantOfRoom(int error)
{
    constexpr int quotaExceeded = 1295; // ERROR_DISK_QUOTA_EXCEEDED, which MinGW lacks
    return error == ERROR_DISK_FULL || error == ERROR_HANDLE_DISK_FULL || error == quotaExceeded;
}

u64 cs4s3::fileSizeLimit()
{
    return std::numeric_limits<u64>::max();
}

std::size_t cs4s3::appendTo(File file, const char* bytes, std::size_t size, int& error)
{
    OVERLAPPED end{};
    end.Offset = end.OffsetHigh = 0xFFFFFFFF;
    DWORD written = 0;
    if (WriteFile(handleOf(file), bytes, static_cast<DWORD>(size), &written, &end))
        error = ERROR_DISK_FULL; // if it is less
    else
        error = static_cast<int>(GetLastError());
    return written;
}

bool cs4s3::cutBack(File file, std::size_t size)
{
    LARGE_INTEGER end;
    if (!GetFileSizeEx(handleOf(file), &end) || end.QuadPart < static_cast<i64>(size))
        return false;
    end.QuadPart -= static_cast<i64>(size);
    return SetFilePointerEx(handleOf(file), end, nullptr, FILE_BEGIN) &&
           SetEndOfFile(handleOf(file));
}

bool cs4s3::isNamed(File)
{
    return true; // it cannot be removed while it is open
}
