// The only door to the platform.
//
// The library is written against a small part of the Win32 API. On Windows this header is the
// system's own. Elsewhere it declares exactly the types, constants and functions that the library
// calls, each with what is expected of it; zmu/platform/linux/ supplies them, one source file a
// family. The functions have C++ linkage, so that no symbol meets another compatibility library's.
// What of it hosts meet stands in Host.h and HostWindows.h; this header is for
// sources, and is not installed.
//
// Wide text is wchar_t. Where wchar_t is wider than 16 bits an element holds a code point. The
// narrow code page outside Windows is UTF-8.
#pragma once

#if defined(_WIN32)

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <io.h>
#include <sys/stat.h>
#include <time.h>
#include <wchar.h>

#else

#include <zmu/platform/HostWindows.h>

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <ctime>
#include <mutex>

// ---- Types ---------------------------------------------------------------------------------

using BOOL = int;
using UINT = unsigned int;
using WORD = std::uint16_t;
using DWORD = ulong32;

struct HKEY__;
using HANDLE = void*; ///< An object of the platform's; each family says which.
using HKEY = HKEY__*; ///< A root of settings, or a key of them that is open.
using FARPROC = void (*)();

inline constexpr BOOL FALSE = 0;
inline constexpr BOOL TRUE = 1;

// ---- Last error and debug output: linux/Diagnostics.cpp ----------------------------------------

inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
inline constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
inline constexpr DWORD ERROR_TOO_MANY_OPEN_FILES = 4;
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr DWORD ERROR_WRITE_PROTECT = 19;
inline constexpr DWORD ERROR_WRITE_FAULT = 29;
inline constexpr DWORD ERROR_GEN_FAILURE = 31;
inline constexpr DWORD ERROR_NOT_SUPPORTED = 50;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_DISK_FULL = 112;
inline constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
inline constexpr DWORD ERROR_PROC_NOT_FOUND = 127;
inline constexpr DWORD ERROR_ALREADY_EXISTS = 183;
inline constexpr DWORD ERROR_FILENAME_EXCED_RANGE = 206;
inline constexpr DWORD ERROR_MORE_DATA = 234;
inline constexpr DWORD ERROR_NO_WORK_DONE = 235;
inline constexpr DWORD ERROR_DIRECTORY = 267;
inline constexpr DWORD ERROR_NOT_OWNER = 288;
inline constexpr DWORD ERROR_MR_MID_NOT_FOUND = 317;
inline constexpr DWORD ERROR_SERVICE_NOT_ACTIVE = 1062;
inline constexpr DWORD ERROR_NO_UNICODE_TRANSLATION = 1113;
inline constexpr DWORD ERROR_NO_MORE_USER_HANDLES = 1158;
inline constexpr DWORD ERROR_FILE_CORRUPT = 1392;
inline constexpr DWORD ERROR_INVALID_WINDOW_HANDLE = 1400;
inline constexpr DWORD ERROR_INVALID_MSGBOX_STYLE = 1438;
inline constexpr DWORD ERROR_REQUIRES_INTERACTIVE_WINDOWSTATION = 1459;
inline constexpr DWORD ERROR_TIMEOUT = 1460;
inline constexpr DWORD ERROR_INVALID_HANDLE_STATE = 1609;
inline constexpr DWORD RPC_S_SERVER_UNAVAILABLE = 1722;
inline constexpr DWORD ERROR_RESOURCE_DATA_NOT_FOUND = 1812;
inline constexpr DWORD ERROR_OBJECT_ALREADY_EXISTS = 5010;

/// Hands one text to the debug output channel, in one piece. Never fails, keeps the last error.
void OutputDebugStringW(const wchar_t* text);
/// Shows `text` to the operator, with the buttons and the icon of `type`, centred on `parent` or in
/// the middle of the screen, and waits for an answer, which is the number of the button. A null
/// caption is "Error". A button for help is not offered. From any thread. When it cannot be shown,
/// or goes away unanswered, caption and text are written to standard error, and the result is 0
/// with a last error: those of CreateDialogParamW, 1400 when the window's program was killed, 1460
/// when it hung, 1438 for a `type` of unknown buttons. Without a display it waits for nobody: text
/// that standard error does not take in a moment is dropped.
int MessageBoxW(HWND parent, const wchar_t* text, const wchar_t* caption, UINT type);

// ---- Message formatting: linux/MessageFormat.cpp ---------------------------------------------

inline constexpr DWORD FORMAT_MESSAGE_ALLOCATE_BUFFER = 0x100;
inline constexpr DWORD FORMAT_MESSAGE_FROM_STRING = 0x400;
inline constexpr DWORD FORMAT_MESSAGE_ARGUMENT_ARRAY = 0x2000;
inline constexpr DWORD FORMAT_MESSAGE_MAX_WIDTH_MASK = 0xff;

/// Fills the format `source` with the 64-bit slots that `arguments` points to (a `u64*`, passed as
/// the platform's argument list pointer). `flags` must hold FORMAT_MESSAGE_FROM_STRING and
/// FORMAT_MESSAGE_ARGUMENT_ARRAY; the low byte is the line width: 0 keeps the text's line breaks,
/// 1 to 254 wraps there at white space, 255 keeps only hard breaks. Returns the number of elements
/// written without the terminator, or 0 with the last error: 87 for a format that is cut short or
/// has no slots to read, 122 when `size` elements are too few, 235 when there is nothing to write.
///
/// With FORMAT_MESSAGE_ALLOCATE_BUFFER `output` is the address of a `wchar_t*` that receives a
/// buffer of `size` elements, to be released with LocalFree; this is the only allocation.
DWORD FormatMessageW(DWORD flags, const void* source, DWORD messageID, DWORD languageID,
                     wchar_t* output, DWORD size, void* arguments);
/// Releases what FormatMessageW allocated. Returns null.
void* LocalFree(void* memory);

// ---- Modules and their strings: linux/Modules.cpp --------------------------------------------
//
// How modules are named is told in Host.h.

HMODULE GetModuleHandleA(const char* name);
/// The same as LoadLibraryW: `flags` are for what modules have elsewhere. `file` must be null.
HMODULE LoadLibraryExW(const wchar_t* name, void* file, DWORD flags);
/// An exported function of `module` itself, never of a module that it depends on. Null with
/// ERROR_PROC_NOT_FOUND when there is none.
FARPROC GetProcAddress(HMODULE module, const char* name);
/// String `id` of a module's string table. Modules have no string tables here: answers 0 and
/// leaves the last error as it is.
int LoadStringW(HINSTANCE module, UINT id, wchar_t* buffer, int bufferMax);
int LoadStringA(HINSTANCE module, UINT id, char* buffer, int bufferMax);
/// Path of a module's file, null being the process's own image. Returns the elements written
/// without the terminator; with too small a `size` the path is cut and terminated, the result is
/// `size` and the last error 122. 0 with ERROR_MOD_NOT_FOUND for a handle of no module.
DWORD GetModuleFileNameW(HMODULE module, wchar_t* output, DWORD size);

// ---- Version data of modules: linux/VersionData.cpp --------------------------------------------
//
// A file is named as a module is ("pv.dll"), and looked for in the folders of the program, of the
// library and of the loader's own list; a name with a path is taken as it is. It is read, never
// loaded, and nothing in it is trusted.

/// Bytes of the version data of a file; 0 with the last error 1812 when it has none or is no module
/// in the word size and byte order of this process, 2 when there is no such file. `*handle` becomes
/// 0; it may be null.
DWORD GetFileVersionInfoSizeW(const wchar_t* file, DWORD* handle);
/// Copies the version data of a file into the `size` bytes of `block`, which must be aligned for
/// any type. False with a last error as above, or 122 when they are too few. `handle` is ignored.
BOOL GetFileVersionInfoW(const wchar_t* file, DWORD handle, DWORD size, void* block);
/// Finds one value in version data, without regard to case: "\VarFileInfo\Translation" gives pairs
/// of 16-bit words, language and code page, and their bytes; "\StringFileInfo\KEY\NAME" a text and
/// its elements, terminator included. `*value` points into `block`. False when there is none.
BOOL VerQueryValueW(const void* block, const wchar_t* address, void** value, UINT* length);

// ---- Threads, processes and locks: linux/Threads.cpp -----------------------------------------

/// Identity of the calling thread: never 0, stable while the thread lives.
DWORD GetCurrentThreadId();
DWORD GetCurrentProcessId();
void Sleep(DWORD milliseconds);

/// A lock that its owner may enter again. Enter and leave must balance.
struct CRITICAL_SECTION {
    std::mutex gate;
    std::atomic<DWORD> owner = 0;     ///< Thread that holds the gate, 0 for none.
    unsigned depth = 0;               ///< How often the owner has entered.
    CRITICAL_SECTION* next = nullptr; ///< All that are in use, for a process that forks.
    CRITICAL_SECTION* previous = nullptr;
    std::atomic<zmu::ulong32>* count = nullptr; ///< Its owner's count, see ProcessLock.h.
    bool isEnteredByFork = false;               ///< The thread that forks is its owner for that.
};
void InitializeCriticalSection(CRITICAL_SECTION* section);
void DeleteCriticalSection(CRITICAL_SECTION* section);
void EnterCriticalSection(CRITICAL_SECTION* section);
/// Enters if that needs no waiting. Whether it did.
BOOL TryEnterCriticalSection(CRITICAL_SECTION* section);
/// Of another thread, which must know what it does, takes one off what the owner has entered.
void LeaveCriticalSection(CRITICAL_SECTION* section);

// ---- Events, mutexes and waiting for them: linux/Waits.cpp ------------------------------------------
//
// All of them fail with ERROR_INVALID_HANDLE for a null handle.

inline constexpr DWORD INFINITE = 0xFFFFFFFF;
inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_ABANDONED = 0x80;
inline constexpr DWORD WAIT_TIMEOUT = 258;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;

/// An event that stays set until it is reset. `security` must be null and `manualReset` true. With
/// a name, that of an event of the process which has it already: the last error is 183 then, and
/// `initiallySet` ignored. Null without memory (8), or for a name of 260 bytes or more (206).
HANDLE CreateEventA(void* security, BOOL manualReset, BOOL initiallySet, const char* name);
BOOL SetEvent(HANDLE event);
BOOL ResetEvent(HANDLE event);
/// A lock that its owner may take again. `security` and `name` must be null, and `initiallyOwned`
/// false. Null without memory (8).
HANDLE CreateMutexA(void* security, BOOL initiallyOwned, const char* name);
/// False with ERROR_NOT_OWNER for a thread that does not own it.
BOOL ReleaseMutex(HANDLE mutex);
/// Waits by a clock that nobody sets. A mutex whose owner has ended is the caller's, and the result
/// WAIT_ABANDONED. The calling thread may be cancelled here.
DWORD WaitForSingleObject(HANDLE object, DWORD milliseconds);
/// Gives up an event or a mutex, for which nobody may be waiting through this handle.
BOOL CloseHandle(HANDLE object);

// ---- Text: linux/Text.cpp ----------------------------------------------------------------------

inline constexpr UINT CP_ACP = 0; ///< The narrow code page: UTF-8.

/// Converts `sourceLength` bytes (-1: up to and with the terminator). With `outputLength` 0 only
/// counts the elements needed. An invalid sequence becomes U+FFFD. 0 on failure: 122 too small.
int MultiByteToWideChar(UINT codePage, DWORD flags, const char* source, int sourceLength,
                        wchar_t* output, int outputLength);
/// The other direction; what UTF-8 cannot hold becomes U+FFFD. The last two must be null.
int WideCharToMultiByte(UINT codePage, DWORD flags, const wchar_t* source, int sourceLength,
                        char* output, int outputLength, const char* defaultCharacter,
                        BOOL* usedDefaultCharacter);
/// Formats at most `count` elements, as by printf, and a terminator. Returns the elements without
/// it; -1 when there are more, which are cut off, or when the format cannot be filled.
int _vsnwprintf(wchar_t* output, std::size_t count, const wchar_t* format, va_list arguments);
/// Compares without regard to case, by the C library's rule for the current locale.
int _wcsicmp(const wchar_t* left, const wchar_t* right);

// ---- Environment and paths: linux/Environment.cpp --------------------------------------------

/// Copies `source` with each %NAME% replaced by that variable; an unknown name stays as it is.
/// Returns the elements needed with the terminator, also when `size` is too small; 0 on failure.
DWORD ExpandEnvironmentStringsA(const char* source, char* output, DWORD size);
DWORD ExpandEnvironmentStringsW(const wchar_t* source, wchar_t* output, DWORD size);
/// Short form of a path that exists, which here is the path itself. With too small a `size` the
/// elements needed with the terminator, else those written without it; 0 with the last error 2
/// when nothing has that name.
DWORD GetShortPathNameA(const char* path, char* output, DWORD size);
DWORD GetShortPathNameW(const wchar_t* path, wchar_t* output, DWORD size);
/// The directory for temporary files, with a separator at its end. Results as above.
DWORD GetTempPathW(DWORD size, wchar_t* output);

// ---- Time: linux/Time.cpp ----------------------------------------------------------------------

/// The present moment in local time.
void GetLocalTime(SYSTEMTIME* time);
/// False with ERROR_INVALID_PARAMETER from 2^63 on; `*calendar` is left alone then.
BOOL FileTimeToSystemTime(const FILETIME* time, SYSTEMTIME* calendar);
/// Ignores the day of the week. False with ERROR_INVALID_PARAMETER for what is no date or time of
/// day; `*time` is left alone then.
BOOL SystemTimeToFileTime(const SYSTEMTIME* calendar, FILETIME* time);
/// Seconds since 1 January 1970, UTC; also in `*time` unless that is null.
i64 _time64(i64* time);
/// The C library's: not 0 where the local time zone has known a daylight saving time.
inline const int& _daylight = daylight;
/// Local broken-down time of a moment. 0, or EINVAL for one that has none: all fields are -1 then.
int _localtime64_s(std::tm* local, const i64* time);

// ---- Directories and the user: linux/Directories.cpp ----------------------------------------------

/// Login name of the process's effective user. `*size` is the room in `output`, terminator
/// included; afterwards the elements with the terminator, also when they were too many (122).
BOOL GetUserNameW(wchar_t* output, DWORD* size);
/// Makes one directory, with the rights that the process gives by default; `security` must be null.
/// False with 3 without a parent or a name, 5 without the right, 8 without memory, 19 on a
/// read-only file system, 112 without room, 183 when something has that name, 206 for too long a
/// name.
BOOL CreateDirectoryW(const wchar_t* path, void* security);
/// 0 when the process may use a path as `mode` asks: 0 it exists, 2 write, 4 read. -1 otherwise.
int _waccess(const wchar_t* path, int mode);
/// Kind of a file, as far as it is asked for: bit 0x4000 of `st_mode` is a directory.
struct _stat64i32 {
    unsigned short st_mode;
};
/// 0, or -1 when nothing has that name; `*status` is left alone then.
int _wstat64i32(const wchar_t* path, struct _stat64i32* status);

// ---- Settings of the machine: linux/Settings.cpp ---------------------------------------------------
//
// The key "SOFTWARE\ORGANISATION\PRODUCT\SECTION" is a section of the file ORGANISATION/PRODUCT.ini
// in the system's folder of settings: /etc/xdg, or what XDG_CONFIG_DIRS names. A whole number of 32
// bits is a DWORD, anything else a text. All results are error numbers, 0 for success.

inline HKEY__* const HKEY_LOCAL_MACHINE = reinterpret_cast<HKEY>(0x80000002UL);
inline constexpr DWORD KEY_ALL_ACCESS = 0xF003F;
inline constexpr DWORD REG_SZ = 1;
inline constexpr DWORD REG_DWORD = 4;

/// Opens a key under HKEY_LOCAL_MACHINE, of which all may be read and what the process has the
/// right for be written. What it holds is read here. Without a file the key is there and has no
/// values. 2 for another key, 5 without the right to read a file, 1392 when what it holds is no
/// settings. Balance with RegCloseKey.
long RegOpenKeyExW(HKEY root, const wchar_t* key, DWORD options, DWORD access, HKEY* opened);
/// Reads a value into the `*size` bytes of `data`; `*type` and `*size` become those of the value,
/// also when it has no room (234). 2 when there is none. Where there is no file at all, and the
/// process may not make one, each value is the number 0.
long RegQueryValueExW(HKEY key, const wchar_t* name, DWORD* reserved, DWORD* type, u8* data,
                      DWORD* size);
/// Writes a REG_DWORD at once, unless another process has written that value since the key was
/// opened, which then counts as the later one. 5 without the right to, and while another process
/// has held the file for more than a second; 29 when the file does not hold the value then.
long RegSetValueExW(HKEY key, const wchar_t* name, DWORD reserved, DWORD type, const u8* data,
                    DWORD size);
long RegCloseKey(HKEY key);

// ---- Event log: linux/EventLog.cpp -------------------------------------------------------------------
//
// Which is the systemd journal. Its library is loaded by the first call.

inline constexpr WORD EVENTLOG_INFORMATION_TYPE = 4;

/// Makes a source of events, which the journal knows by its name. Null with 87 without a name, 1722
/// when `server` is not this machine, 126 without libsystemd, 1062 without a journal. Balance with
/// DeregisterEventSource.
HANDLE RegisterEventSourceA(const char* server, const char* source);
HANDLE RegisterEventSourceW(const wchar_t* server, const wchar_t* source);
BOOL DeregisterEventSource(HANDLE source);
/// Writes an event: the text that EventMessages.def has for it, filled with the strings, of which
/// the journal keeps at most 4096 elements each. Its severity stands for the type; category, user
/// and data are ignored. False with 317 for an unknown event, 1062 without a journal, 1460 when the
/// journal takes nothing for five seconds.
BOOL ReportEventW(HANDLE source, WORD type, WORD category, DWORD event, void* user, WORD count,
                  DWORD dataSize, const wchar_t** strings, void* data);

// ---- The machine: zmu/platform/Machine.h fills these ---------------------------------------------

struct MEMORYSTATUSEX {
    DWORD dwLength;
    u64 ullTotalPhys; ///< Bytes, like the others.
    u64 ullTotalPageFile;
    u64 ullAvailPageFile;
};
struct OSVERSIONINFOEXW {
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    wchar_t szCSDVersion[128];
    u8 wProductType;
};

// ---- Windows: linux/Windows.cpp, linux/MessageBox.cpp -------------------------------------------
//
// What of them hosts may call stands in HostWindows.h.

inline constexpr UINT WM_DESTROY = 0x0002;
inline constexpr UINT WM_INITDIALOG = 0x0110;
inline constexpr UINT WM_CTLCOLORDLG = 0x0136;
inline constexpr UINT WM_CTLCOLORSTATIC = 0x0138;
inline constexpr i64 WS_CAPTION = 0x00C00000;
inline constexpr i64 WS_MAXIMIZE = 0x01000000;
inline constexpr i64 WS_VISIBLE = 0x10000000;
inline constexpr i64 WS_MINIMIZE = 0x20000000;
inline constexpr i64 WS_CHILD = 0x40000000;
inline constexpr i64 WS_POPUP = 0x80000000;
inline constexpr int GWL_STYLE = -16;
inline constexpr int SW_HIDE = 0;
inline constexpr int SW_SHOW = 5;
inline constexpr UINT SWP_NOSIZE = 0x01;
inline constexpr UINT SWP_FRAMECHANGED = 0x20;
inline constexpr int COLOR_WINDOWTEXT = 8;
inline constexpr int COLOR_3DFACE = 15;
inline HWND__* const HWND_TOP = nullptr;
inline HWND__* const HWND_TOPMOST = reinterpret_cast<HWND>(-1L);
inline HWND__* const HWND_NOTOPMOST = reinterpret_cast<HWND>(-2L);

/// The resource of a number: no module has one here.
inline const wchar_t* MAKEINTRESOURCEW(int)
{
    return nullptr;
}
/// GWL_STYLE: the WS_ bits above that hold for the window; a control, and a dialog with a parent,
/// are children. 0 on failure.
i64 GetWindowLongPtrW(HWND window, int index);
/// The dialog of a control, the parent that a dialog was made with; null for none.
HWND GetParent(HWND window);
/// Moves a dialog. With HWND_TOPMOST it is also to stay above all others from now on, with
/// HWND_NOTOPMOST no longer. The size stays.
BOOL SetWindowPos(HWND window, HWND insertAfter, int left, int top, int width, int height,
                  UINT flags);
/// Puts a dialog above the others, as far as the desktop lets programs do that. It never takes the
/// focus.
BOOL SetForegroundWindow(HWND window);
/// Whether the window is there: it knows by itself when to draw.
BOOL InvalidateRect(HWND window, const RECT* part, BOOL erase);
/// Draws a dialog, or its control, at once.
BOOL UpdateWindow(HWND window);
/// Always successful: what a call has drawn is on its way to the screen when it returns.
BOOL GdiFlush();
/// Windows have the desktop's own colours and font. A brush stands for them, and black for the
/// colour of text.
HBRUSH GetSysColorBrush(int color);
DWORD GetSysColor(int color);
BOOL DeleteObject(HFONT font);
int GetWindowTextLengthA(HWND window);
int GetWindowTextLengthW(HWND window);
int GetWindowTextA(HWND window, char* buffer, int size);

#endif
