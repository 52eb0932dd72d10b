// What of the platform belongs to the interface: handles, times, the last error, and modules.
//
//     HMODULE texts = LoadLibraryW(L"server_texts.dll");     // elsewhere libserver_texts.so
//     settings.setResourceModule(texts);
//
// On Windows these are the system's own declarations once more, so that no header of ours includes
// <windows.h>; a host may include it before or after. Elsewhere the library supplies them, with C++
// linkage, so that no symbol meets another compatibility library's. There are no other names of
// the platform in a public header, and no macros.
#pragma once

#include <zmu/foundation/Export.h>
#include <zmu/foundation/Types.h>

struct HINSTANCE__;
struct HWND__;
using HINSTANCE = HINSTANCE__*; ///< A loaded module: outside Windows what dlopen returns.
using HMODULE = HINSTANCE;
using HWND = HWND__*; ///< A window of the host's.

#if defined(_WIN32)

struct _FILETIME;
struct _SYSTEMTIME;
using FILETIME = _FILETIME;
using SYSTEMTIME = _SYSTEMTIME;

extern "C" {
__declspec(dllimport) unsigned long __stdcall GetLastError();
__declspec(dllimport) void __stdcall SetLastError(unsigned long error);
__declspec(dllimport) HMODULE __stdcall GetModuleHandleW(const wchar_t* name);
__declspec(dllimport) HMODULE __stdcall LoadLibraryW(const wchar_t* name);
__declspec(dllimport) int __stdcall FreeLibrary(HMODULE module);
}

#else

/// A moment in 100 nanoseconds since 1 January 1601, UTC.
struct FILETIME {
    zmu::ulong32 dwLowDateTime;
    zmu::ulong32 dwHighDateTime;
};
/// A moment by the calendar: years 1601 to 30827, months from 1, days of the week from Sunday, 0.
struct SYSTEMTIME {
    std::uint16_t wYear;
    std::uint16_t wMonth;
    std::uint16_t wDayOfWeek;
    std::uint16_t wDay;
    std::uint16_t wHour;
    std::uint16_t wMinute;
    std::uint16_t wSecond;
    std::uint16_t wMilliseconds;
};

/// The calling thread's last error; 0 in a thread that has had none.
ZMU_API zmu::ulong32 GetLastError();
/// Sets the calling thread's last error.
ZMU_API void SetLastError(zmu::ulong32 error);

// A module name of the product maps to a file: "x.dll" is "libx.so" with any version suffix,
// "x.exe" is "x". A name with a path is taken as it is.

/// Handle of a module that is loaded already; null names the process's own image. Never loads and
/// never adds a reference. Null with the last error 126 when no such module is loaded.
ZMU_API HMODULE GetModuleHandleW(const wchar_t* name);
/// Loads a module from the program's folder, the library's own folder or the system's, never from
/// the current one. Null with the last error 126 on failure. Balance with FreeLibrary.
ZMU_API HMODULE LoadLibraryW(const wchar_t* name);
/// Gives a module back that LoadLibraryW has loaded. 0 on failure.
ZMU_API int FreeLibrary(HMODULE module);

#endif
