// Files that are only read, at any place in them.
//
//     InputFile file;
//     char mark[4];
//     if (file.open(path) && file.read(0, mark, sizeof mark)) ...
#pragma once

#include <zmu/foundation/Types.h>
#include <zmu/platform/Win32.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace zmu {

/// A regular file that is open for reading. Others are not opened: a pipe would wait for a writer,
/// and a device may act on being opened. One thread at a time; nothing throws but for a lack of
/// memory in open().
class InputFile {
  public:
    InputFile() = default;
    ~InputFile() { close(); }
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    /// Closes what is open, then opens. False when that is refused.
    bool open(const wchar_t* path);
#if !defined(_WIN32)
    bool open(const std::string& path); ///< By a name of the system's own.
#endif
    void close();
    bool isOpen() const
    {
        return m_handle != none;
    }

    u64 size() const
    {
        return m_size;
    } ///< Bytes at the time of opening.
    FILETIME lastWriteTime() const
    {
        return m_lastWriteTime;
    }

    bool holds(u64 offset, u64 size) const
    {
        return offset <= m_size && size <= m_size - offset;
    }
    /// Reads all of `size` bytes, or fails. The file may have become shorter meanwhile.
    bool read(u64 offset, void* target, std::size_t size) const;

  private:
    static constexpr std::intptr_t none = -1;

    std::intptr_t m_handle = none;
    u64 m_size = 0;
    FILETIME m_lastWriteTime{};
};

} // namespace zmu
