// Why no log can be made in a directory.
#pragma once

#include <zmu/monitor/Trace.h>
#include <zmu/platform/Files.h>

namespace zmu {

/// One trace line of `operation` that says what the directory is to this process, unless the
/// process may make files in it.
inline void traceDirectory(const wchar_t* operation, const wchar_t* directory)
{
    switch (directoryState(directory)) {
    case DirectoryState::Usable:
        return;
    case DirectoryState::Missing:
        return Zarn_TRACE(L"%ls: there is no directory %ls. Make it, or set another one.\n",
                          operation, directory);
    case DirectoryState::NoDirectory:
        return Zarn_TRACE(L"%ls: %ls is, or lies in, something that is no directory. Set another "
                          L"one.\n",
                          operation, directory);
    case DirectoryState::NoRight:
        return Zarn_TRACE(L"%ls: the user of this process has no right to make files in %ls. Give "
                          L"that right, or set another directory.\n",
                          operation, directory);
    }
}

} // namespace zmu
