// The C library lets a program replace malloc, and keeps its own under these names. The C++
// library's operator new allocates by malloc.
#include "../Platform.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>

extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);
extern "C" void* __libc_realloc(void* memory, std::size_t size);

namespace {

thread_local unsigned long count = 0;

} // namespace

extern "C" void* malloc(std::size_t size)
{
    ++count;
    return __libc_malloc(size);
}

extern "C" void* calloc(std::size_t members, std::size_t size)
{
    ++count;
    return __libc_calloc(members, size);
}

extern "C" void* realloc(void* memory, std::size_t size)
{
    ++count;
    return __libc_realloc(memory, size);
}

namespace zmu_bench {

std::optional<unsigned long> allocationCount()
{
    return count;
}

std::optional<double> systemLoad()
{
    double load = 0;
    return getloadavg(&load, 1) == 1 ? std::optional(load) : std::nullopt;
}

QString memoryFolder()
{
    return QStringLiteral("/dev/shm");
}

PlainFile::PlainFile(const QString& path)
    : m_handle(open(qPrintable(path), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR))
{}

PlainFile::~PlainFile()
{
    close(static_cast<int>(m_handle));
}

bool PlainFile::writeAt(std::int64_t position, const QByteArray& bytes) const
{
    return pwrite(static_cast<int>(m_handle), bytes.constData(),
                  static_cast<std::size_t>(bytes.size()), position) == bytes.size();
}

} // namespace zmu_bench
