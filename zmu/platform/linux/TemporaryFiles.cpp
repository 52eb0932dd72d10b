#include <zmu/platform/TemporaryFiles.h>

#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdio>

bool zmu::makeNameless(int file)
{
    struct stat status = {};
    if (fstat(file, &status) != 0)
        return false;
    if (status.st_nlink == 0)
        return true;
    char link[64];
    char path[PATH_MAX];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", file);
    const ssize_t length = readlink(link, path, sizeof path - 1);
    if (length <= 0)
        return false;
    path[length] = '\0';
    return unlink(path) == 0;
}

void zmu::removeLeftFiles(const wchar_t*) {}
