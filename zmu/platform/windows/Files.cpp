#include <zmu/platform/Files.h>
#include <zmu/platform/Win32.h>

#include <fcntl.h>

#include <algorithm>
#include <cwchar>
#include <iterator>
#include <limits>

using namespace zmu;

namespace {

/// A path in the form that has no limit of 260 elements, if it is longer than most calls take.
class LongPath {
  public:
    explicit LongPath(const wchar_t* path) : m_path(path)
    {
        constexpr DWORD longestPlain = 247;
        constexpr wchar_t prefix[] = L"\\\\?\\";
        constexpr std::size_t prefixLength = std::size(prefix) - 1;
        const DWORD length =
            GetFullPathNameW(path, static_cast<DWORD>(std::size(m_long) - prefixLength),
                             m_long + prefixLength, nullptr);
        if (length <= longestPlain || length >= std::size(m_long) - prefixLength ||
            m_long[prefixLength] == L'\\')
            return;
        std::wmemcpy(m_long, prefix, prefixLength);
        m_path = m_long;
    }
    const wchar_t* c_str() const { return m_path; }

  private:
    const wchar_t* m_path;
    wchar_t m_long[2048];
};

constexpr i64 pieceMax = 1 << 30;

HANDLE handleOf(int file)
{
    return reinterpret_cast<HANDLE>(_get_osfhandle(file));
}

/// An overlapped structure only says where.
OVERLAPPED placeOf(i64 position)
{
    OVERLAPPED place = {};
    place.Offset = static_cast<DWORD>(position);
    place.OffsetHigh = static_cast<DWORD>(position >> 32);
    return place;
}

FileIdentity identityFrom(HANDLE handle)
{
    BY_HANDLE_FILE_INFORMATION known = {};
    if (!GetFileInformationByHandle(handle, &known))
        return {};
    const auto whole = [](DWORD high, DWORD low) { return u64{high} << 32 | low; };
    return {known.dwVolumeSerialNumber, whole(known.nFileIndexHigh, known.nFileIndexLow),
            known.nNumberOfLinks, static_cast<i64>(whole(known.nFileSizeHigh, known.nFileSizeLow))};
}

} // namespace

int zmu::openFile(const wchar_t* path, FileUse use)
{
    constexpr DWORD rights[] = {GENERIC_READ, GENERIC_READ | GENERIC_WRITE,
                                GENERIC_READ | GENERIC_WRITE};
    constexpr DWORD ways[] = {OPEN_EXISTING, OPEN_ALWAYS, CREATE_NEW};
    const HANDLE handle = CreateFileW(LongPath(path).c_str(), rights[static_cast<int>(use)],
                                      FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                      ways[static_cast<int>(use)], FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return -1;
    const int file = GetFileType(handle) == FILE_TYPE_DISK
                         ? _open_osfhandle(reinterpret_cast<intptr_t>(handle),
                                           _O_BINARY | _O_NOINHERIT |
                                               (use == FileUse::Read ? _O_RDONLY : _O_RDWR))
                         : -1;
    if (file < 0) {
        CloseHandle(handle);
        SetLastError(ERROR_ACCESS_DENIED);
    }
    return file;
}

void zmu::closeFile(int file)
{
    if (file >= 0)
        _close(file);
}

i64 zmu::sizeOf(int file)
{
    LARGE_INTEGER size;
    return GetFileSizeEx(handleOf(file), &size) ? size.QuadPart : -1;
}

bool zmu::resizeFile(int file, i64 size)
{
    FILE_END_OF_FILE_INFO end;
    end.EndOfFile.QuadPart = size;
    return SetFileInformationByHandle(handleOf(file), FileEndOfFileInfo, &end, sizeof end);
}

u64 zmu::fileSizeLimit()
{
    return std::numeric_limits<u64>::max(); // A write that goes too far fails, and nothing else.
}

i64 zmu::readAt(int file, i64 position, char* data, i64 size)
{
    i64 read = 0;
    while (read < size) {
        OVERLAPPED place = placeOf(position + read);
        DWORD count = 0;
        if (!ReadFile(handleOf(file), data + read,
                      static_cast<DWORD>(std::min(size - read, pieceMax)), &count, &place) &&
            GetLastError() != ERROR_HANDLE_EOF)
            return -1;
        if (count == 0)
            break;
        read += count;
    }
    return read;
}

i64 zmu::writeAt(int file, i64 position, const char* data, i64 size)
{
    i64 written = 0;
    while (written < size) {
        OVERLAPPED place = placeOf(position + written);
        DWORD count = 0;
        if (!WriteFile(handleOf(file), data + written,
                       static_cast<DWORD>(std::min(size - written, pieceMax)), &count, &place) ||
            count == 0)
            break;
        written += count;
    }
    return written;
}

FileIdentity zmu::identityOf(int file)
{
    return identityFrom(reinterpret_cast<HANDLE>(_get_osfhandle(file)));
}

FileIdentity zmu::identityOf(const wchar_t* path)
{
    const HANDLE handle = CreateFileW(LongPath(path).c_str(), FILE_READ_ATTRIBUTES,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return {};
    const FileIdentity identity = identityFrom(handle);
    CloseHandle(handle);
    return identity;
}

int zmu::duplicateFile(int file)
{
    return _dup(file);
}

const wchar_t* zmu::whyDistrusted(int /*file*/, const wchar_t* /*path*/)
{
    return nullptr;
}

bool zmu::isThere(const wchar_t* path)
{
    return GetFileAttributesW(LongPath(path).c_str()) != INVALID_FILE_ATTRIBUTES;
}

void zmu::removeIfEmpty(const wchar_t* path)
{
    const LongPath name(path);
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (GetFileAttributesExW(name.c_str(), GetFileExInfoStandard, &data) &&
        !(data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) && data.nFileSizeHigh == 0 &&
        data.nFileSizeLow == 0)
        DeleteFileW(name.c_str());
}

DirectoryState zmu::directoryState(const wchar_t* path)
{
    const LongPath name(path);
    const DWORD attributes = GetFileAttributesW(name.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return GetLastError() == ERROR_ACCESS_DENIED ? DirectoryState::NoRight
                                                     : DirectoryState::Missing;
    if (!(attributes & FILE_ATTRIBUTE_DIRECTORY))
        return DirectoryState::NoDirectory;
    // To open it for new files is what asks for the right.
    const HANDLE directory = CreateFileW(
        name.c_str(), FILE_ADD_FILE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
        nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (directory == INVALID_HANDLE_VALUE)
        return DirectoryState::NoRight;
    CloseHandle(directory);
    return DirectoryState::Usable;
}
