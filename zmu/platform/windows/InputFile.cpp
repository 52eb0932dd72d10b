#include <zmu/platform/InputFile.h>

#include <algorithm>

namespace {

HANDLE handleOf(std::intptr_t value)
{
    return reinterpret_cast<HANDLE>(value);
}

} // namespace

bool zmu::InputFile::open(const wchar_t* path)
{
    close();
    const HANDLE file = CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    m_handle = reinterpret_cast<std::intptr_t>(file);
    LARGE_INTEGER size = {};
    if (GetFileType(file) != FILE_TYPE_DISK || !GetFileSizeEx(file, &size) ||
        !GetFileTime(file, nullptr, nullptr, &m_lastWriteTime)) {
        close();
        return false;
    }
    m_size = static_cast<u64>(size.QuadPart);
    return true;
}

void zmu::InputFile::close()
{
    if (isOpen())
        CloseHandle(handleOf(m_handle));
    m_handle = none;
    m_size = 0;
    m_lastWriteTime = {};
}

bool zmu::InputFile::read(u64 offset, void* target, std::size_t size) const
{
    // Read and not mapped: a mapped page of a file that goes away, on a network, ends the process.
    if (!isOpen() || !holds(offset, size))
        return false;
    auto* bytes = static_cast<char*>(target);
    while (size != 0) {
        constexpr std::size_t sizeMax = 0x100000;
        OVERLAPPED place = {};
        place.Offset = static_cast<DWORD>(offset);
        place.OffsetHigh = static_cast<DWORD>(offset >> 32);
        DWORD count = 0;
        if (!ReadFile(handleOf(m_handle), bytes, static_cast<DWORD>(std::min(size, sizeMax)),
                      &count, &place) ||
            count == 0)
            return false;
        bytes += count;
        offset += count;
        size -= count;
    }
    return true;
}
