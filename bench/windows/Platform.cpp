#include "../Platform.h"

#include <zmu/platform/Win32.h>

namespace zmu_bench {

// Each library has an allocator of its own here.
std::optional<unsigned long> allocationCount()
{
    return std::nullopt;
}

std::optional<double> systemLoad()
{
    return std::nullopt;
}

QString memoryFolder()
{
    return {};
}

PlainFile::PlainFile(const QString& path)
    : m_handle(reinterpret_cast<std::intptr_t>(
          CreateFileW(path.toStdWString().c_str(), GENERIC_READ | GENERIC_WRITE,
                      FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, CREATE_ALWAYS,
                      FILE_ATTRIBUTE_NORMAL, nullptr)))
{}

PlainFile::~PlainFile()
{
    CloseHandle(reinterpret_cast<HANDLE>(m_handle));
}

bool PlainFile::writeAt(std::int64_t position, const QByteArray& bytes) const
{
    OVERLAPPED place{};
    place.Offset = static_cast<DWORD>(position);
    place.OffsetHigh = static_cast<DWORD>(position >> 32);
    DWORD written = 0;
    const auto size = static_cast<DWORD>(bytes.size());
    return WriteFile(reinterpret_cast<HANDLE>(m_handle), bytes.constData(), size, &written,
                     &place) &&
           written == size;
}

} // namespace zmu_bench
