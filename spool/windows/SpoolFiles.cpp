#include <spool/SpoolFiles.h>
#include <spool/UserNames.h>

#ifndef NOMINMAX
#define NOMINMAX
#endif
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <vector>

using namespace zmu_spool;
using zmu::u64;

namespace {

constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
/// With these rights somebody could change what is in a file, or its name.
constexpr DWORD changing = FILE_WRITE_DATA | FILE_APPEND_DATA | DELETE | WRITE_DAC | WRITE_OWNER |
                           GENERIC_WRITE | GENERIC_ALL;
/// With these somebody could change the name of another's file in a folder.
constexpr DWORD renaming = FILE_DELETE_CHILD | WRITE_DAC | WRITE_OWNER | GENERIC_ALL;

HANDLE handleOf(SystemFile file)
{
    return reinterpret_cast<HANDLE>(file);
}

/// A handle that is closed with the scope.
struct Handle {
    HANDLE value;
    ~Handle()
    {
        if (isOpen())
            CloseHandle(value);
    }
    bool isOpen() const { return value != INVALID_HANDLE_VALUE; }
};

std::wstring wide(std::string_view text)
{
    std::wstring result(text.size(), L'\0'); // never longer
    const int length = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                           result.data(), static_cast<int>(result.size()));
    result.resize(static_cast<std::size_t>(std::max(length, 0)));
    return result;
}

std::string narrow(std::wstring_view text)
{
    std::string result(3 * text.size(), '\0');
    const int length =
        WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), result.data(),
                            static_cast<int>(result.size()), nullptr, nullptr);
    result.resize(static_cast<std::size_t>(std::max(length, 0)));
    return result;
}

std::string reasonOf(DWORD error)
{
    wchar_t text[512];
    DWORD length =
        FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error,
                       0, text, static_cast<DWORD>(std::size(text)), nullptr);
    while (length != 0 && text[length - 1] <= L' ')
        --length;
    return length != 0 ? narrow({text, length}) : "system error " + std::to_string(error);
}

HANDLE open(const std::string& path, DWORD rights, DWORD share, DWORD way, DWORD flags = 0)
{
    return CreateFileW(wide(path).c_str(), rights, share, nullptr, way,
                       FILE_ATTRIBUTE_NORMAL | flags, nullptr);
}

u64 sizeOf(HANDLE file)
{
    LARGE_INTEGER size;
    return GetFileSizeEx(file, &size) ? static_cast<u64>(size.QuadPart) : 0;
}

bool isPlainFile(HANDLE file)
{
    BY_HANDLE_FILE_INFORMATION known = {};
    return GetFileType(file) == FILE_TYPE_DISK && GetFileInformationByHandle(file, &known) &&
           !(known.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT));
}

/// Whom something belongs to, and who may do what with it.
class Security {
  public:
    explicit Security(HANDLE file)
    {
        m_error = GetSecurityInfo(file, SE_FILE_OBJECT,
                                  OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, &m_owner,
                                  nullptr, &m_list, nullptr, &m_descriptor);
    }
    ~Security() { LocalFree(m_descriptor); }
    Security(const Security&) = delete;
    Security& operator=(const Security&) = delete;

    DWORD error() const { return m_error; }

    /// Whom it belongs to: the SID as text.
    std::string user() const
    {
        wchar_t* text = nullptr;
        if (m_error != 0 || !m_owner || !ConvertSidToStringSidW(m_owner, &text))
            return {};
        std::string number = narrow(text);
        LocalFree(text);
        return number;
    }

    /// Whether anybody else than `owner` and the system's administrators has one of the rights.
    bool isOpenToOthers(DWORD rights, PSID owner) const
    {
        if (!m_list)
            return true; // no list lets everybody
        for (DWORD i = 0; i < m_list->AceCount; ++i) {
            void* entry = nullptr;
            if (!GetAce(m_list, i, &entry))
                return true;
            const auto& header = *static_cast<const ACE_HEADER*>(entry);
            if (header.AceFlags & INHERIT_ONLY_ACE || header.AceType == ACCESS_DENIED_ACE_TYPE)
                continue;
            auto& allowed = *static_cast<ACCESS_ALLOWED_ACE*>(entry);
            if (header.AceType != ACCESS_ALLOWED_ACE_TYPE)
                return true; // of a kind that is not for files
            if ((allowed.Mask & rights) && !isTrusted(&allowed.SidStart, owner))
                return true;
        }
        return false;
    }

    PSID ownerSid() const { return m_owner; }
    static bool isTrusted(PSID sid, PSID owner)
    {
        // The creator's rights that a folder hands down are the owner's.
        return EqualSid(sid, owner) || IsWellKnownSid(sid, WinLocalSystemSid) ||
               IsWellKnownSid(sid, WinBuiltinAdministratorsSid) ||
               IsWellKnownSid(sid, WinCreatorOwnerSid) ||
               IsWellKnownSid(sid, WinCreatorOwnerRightsSid);
    }

  private:
    DWORD m_error = 0;
    PSID m_owner = nullptr;
    PACL m_list = nullptr;
    PSECURITY_DESCRIPTOR m_descriptor = nullptr;
};

OVERLAPPED placeOf(u64 position)
{
    OVERLAPPED place = {};
    place.Offset = static_cast<DWORD>(position);
    place.OffsetHigh = static_cast<DWORD>(position >> 32);
    return place;
}

/// 0, or why fewer than all were read.
DWORD readAt(HANDLE file, u64 position, char* bytes, std::size_t size, std::size_t& got)
{
    for (got = 0; got < size;) {
        OVERLAPPED place = placeOf(position + got);
        DWORD count = 0;
        if (!ReadFile(file, bytes + got, static_cast<DWORD>(size - got), &count, &place)) {
            const DWORD error = GetLastError();
            return error == ERROR_HANDLE_EOF ? 0 : error;
        }
        if (count == 0)
            break;
        got += count;
    }
    return 0;
}

} // namespace

std::string zmu_spool::absoluteFolder(const std::string& path, std::string& why)
{
    const Handle folder{
        open(path, FILE_LIST_DIRECTORY, shareAll, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS)};
    BY_HANDLE_FILE_INFORMATION known = {};
    if (!folder.isOpen() || !GetFileInformationByHandle(folder.value, &known) ||
        !(known.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) {
        why = folder.isOpen() ? "it is no folder" : reasonOf(GetLastError());
        return {};
    }
    const std::wstring name = wide(path);
    std::wstring full(0x8000, L'\0');
    const DWORD length =
        GetFullPathNameW(name.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
    full.resize(std::min<std::size_t>(length, full.size()));
    std::replace(full.begin(), full.end(), L'\\', L'/'); // as in all paths of the reader
    while (full.size() > 3 && full.ends_with(L'/'))
        full.pop_back();
    return narrow(full);
}

std::string zmu_spool::listFolder(const std::string& folder,
                                  const std::function<void(std::string_view)>& take)
{
    WIN32_FIND_DATAW found;
    const HANDLE list = FindFirstFileW(wide(folder + "/*").c_str(), &found);
    if (list == INVALID_HANDLE_VALUE)
        return reasonOf(GetLastError());
    do {
        take(narrow(found.cFileName));
    } while (FindNextFileW(list, &found));
    const DWORD error = GetLastError();
    FindClose(list);
    return error == ERROR_NO_MORE_FILES ? std::string() : reasonOf(error);
}

bool zmu_spool::measureFile(const std::string& path, u64& size)
{
    // A folder's list may tell an older size while the file is open.
    const Handle file{
        open(path, FILE_READ_ATTRIBUTES, shareAll, OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT)};
    if (!file.isOpen())
        return false;
    size = sizeOf(file.value);
    return true;
}

bool zmu_spool::isRunning(u64 process)
{
    const HANDLE found = OpenProcess(SYNCHRONIZE, FALSE, static_cast<DWORD>(process));
    if (!found)
        return GetLastError() == ERROR_ACCESS_DENIED;
    const bool isAlive = WaitForSingleObject(found, 0) == WAIT_TIMEOUT;
    CloseHandle(found);
    return isAlive;
}

bool zmu_spool::findUserName(const std::string& user, std::string& name)
{
    PSID sid = nullptr;
    if (!ConvertStringSidToSidW(wide(user).c_str(), &sid))
        return false;
    wchar_t account[256];
    wchar_t domain[256];
    DWORD accountSize = static_cast<DWORD>(std::size(account));
    DWORD domainSize = static_cast<DWORD>(std::size(domain));
    SID_NAME_USE use;
    const bool isTold =
        LookupAccountSidW(nullptr, sid, account, &accountSize, domain, &domainSize, &use);
    LocalFree(sid);
    if (isTold)
        name = narrow(domain) + '\\' + narrow(account);
    return isTold;
}

// ---- A file that is read ---------------------------------------------------------------------------------

SpoolHandle::SpoolHandle(const std::string& path) : m_path(path)
{
    const HANDLE file = open(path, GENERIC_READ | READ_CONTROL, shareAll, OPEN_EXISTING,
                             FILE_FLAG_OPEN_REPARSE_POINT);
    if (file == INVALID_HANDLE_VALUE) {
        const DWORD error = GetLastError();
        m_isMissing = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
        m_why = reasonOf(error);
    } else if (isPlainFile(file)) {
        m_file = reinterpret_cast<SystemFile>(file);
    } else {
        CloseHandle(file);
        m_why = "it is no file";
    }
}

SpoolHandle::~SpoolHandle()
{
    if (isOpen())
        CloseHandle(handleOf(m_file));
}

u64 SpoolHandle::size() const
{
    return sizeOf(handleOf(m_file));
}

std::string SpoolHandle::user() const
{
    return Security(handleOf(m_file)).user();
}

std::string SpoolHandle::distrust(const std::string& folder) const
{
    const Security file(handleOf(m_file));
    const Handle place{
        open(folder, READ_CONTROL, shareAll, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS)};
    if (file.error() != 0 || !file.ownerSid())
        return reasonOf(file.error());
    if (file.isOpenToOthers(changing, file.ownerSid()))
        return "others than its owner, " + UserNames().of(file.user()) +
               ", may write it: take that right from them, and see what is in it";
    BY_HANDLE_FILE_INFORMATION known = {};
    if (!GetFileInformationByHandle(handleOf(m_file), &known) || known.nNumberOfLinks > 1)
        return "it has other names, too: remove those";
    if (!place.isOpen())
        return reasonOf(GetLastError());
    if (Security(place.value).isOpenToOthers(renaming, file.ownerSid()))
        return "others could change its name: take from them the right to delete what is in its "
               "folder";
    return {};
}

std::size_t SpoolHandle::read(u64 position, char* bytes, std::size_t size, std::string& why) const
{
    std::size_t got = 0;
    if (const DWORD error = readAt(handleOf(m_file), position, bytes, size, got))
        why = reasonOf(error);
    return got;
}

bool SpoolHandle::isWriterGone() const
{
    // Whoever does not share writing cannot have it while somebody writes.
    return Handle{open(m_path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, OPEN_EXISTING,
                       FILE_FLAG_OPEN_REPARSE_POINT)}
        .isOpen();
}

std::string zmu_spool::removeSpoolFile(const std::string& path, u64 size, const std::string& user)
{
    const Handle file{open(path, GENERIC_READ | READ_CONTROL | DELETE,
                           FILE_SHARE_READ | FILE_SHARE_DELETE, OPEN_EXISTING,
                           FILE_FLAG_OPEN_REPARSE_POINT)};
    if (!file.isOpen()) {
        const DWORD error = GetLastError();
        if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND)
            return {};
        return error == ERROR_SHARING_VIOLATION ? "a process still has it" : reasonOf(error);
    }
    if (!isPlainFile(file.value) || Security(file.value).user() != user)
        return "it is another file now";
    if (sizeOf(file.value) != size)
        return "it has another size now";
    FILE_DISPOSITION_INFO removal = {};
    removal.DeleteFile = TRUE;
    return SetFileInformationByHandle(file.value, FileDispositionInfo, &removal, sizeof removal)
               ? std::string()
               : reasonOf(GetLastError());
}

// ---- Files of the reader's own ---------------------------------------------------------------------------

std::string zmu_spool::replaceFile(const std::string& path, std::string_view bytes)
{
    const std::string fresh = path + ".new";
    DWORD error = 0;
    {
        const Handle file{open(fresh, GENERIC_WRITE, 0, CREATE_ALWAYS)};
        if (!file.isOpen())
            return reasonOf(GetLastError());
        for (std::string_view rest = bytes; !rest.empty() && error == 0;) {
            DWORD count = 0;
            if (WriteFile(file.value, rest.data(), static_cast<DWORD>(rest.size()), &count,
                          nullptr))
                rest.remove_prefix(count);
            else
                error = GetLastError();
        }
        if (error == 0 && !FlushFileBuffers(file.value))
            error = GetLastError();
    }
    if (error == 0 && !MoveFileExW(wide(fresh).c_str(), wide(path).c_str(),
                                   MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
        error = GetLastError();
    if (error == 0)
        return {};
    DeleteFileW(wide(fresh).c_str());
    return reasonOf(error);
}

std::string zmu_spool::readWholeFile(const std::string& path, std::size_t sizeMax,
                                     std::string& bytes, bool& isMissing)
{
    const Handle file{open(path, GENERIC_READ, shareAll, OPEN_EXISTING)};
    const DWORD error = file.isOpen() ? 0 : GetLastError();
    isMissing = error == ERROR_FILE_NOT_FOUND;
    if (error != 0)
        return isMissing ? std::string() : reasonOf(error);
    if (!isPlainFile(file.value) || sizeOf(file.value) > sizeMax)
        return "it is no file, or far too large";
    bytes.resize(sizeOf(file.value));
    std::size_t got = 0;
    if (const DWORD readError = readAt(file.value, 0, bytes.data(), bytes.size(), got))
        return reasonOf(readError);
    return got == bytes.size() ? std::string() : "it became shorter";
}

std::string zmu_spool::syncFile(const std::string& path)
{
    const Handle file{open(path, GENERIC_WRITE, shareAll, OPEN_EXISTING)};
    if (!file.isOpen())
        return GetLastError() == ERROR_FILE_NOT_FOUND ? std::string() : reasonOf(GetLastError());
    return FlushFileBuffers(file.value) ? std::string() : reasonOf(GetLastError());
}

SystemFile zmu_spool::lockFile(const std::string& path)
{
    const HANDLE file = open(path, GENERIC_READ | GENERIC_WRITE, 0, OPEN_ALWAYS);
    if (file != INVALID_HANDLE_VALUE)
        return reinterpret_cast<SystemFile>(file);
    const DWORD error = GetLastError();
    if (error != ERROR_SHARING_VIOLATION)
        throw std::runtime_error(path + " cannot be made: " + reasonOf(error));
    return noSystemFile;
}

void zmu_spool::unlockFile(SystemFile lock)
{
    if (lock != noSystemFile)
        CloseHandle(handleOf(lock));
}
