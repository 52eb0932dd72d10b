// Between the wide text of callers and the bytes of the system, and between exceptions and the
// failures that callers know.
#pragma once

#include <zmu/platform/Threads.h>
#include <zmu/platform/Win32.h>

#include <climits>
#include <exception>
#include <string>
#include <string_view>

namespace zmu {

/// `text` in the narrow code page, which is the file system's encoding. Throws without memory, and
/// std::length_error for a text beyond what the converting calls count.
std::string narrow(std::wstring_view text);
/// The wide text of `text`; otherwise as narrow().
std::wstring widen(std::string_view text);

/// A path in the file system's encoding, in a buffer of its own. One that is too long for any file
/// is too long for the system, too.
class NarrowPath {
  public:
    explicit NarrowPath(const wchar_t* path);
    const char* c_str() const { return m_bytes; }
    char* writable() { return m_bytes; }

  private:
    char m_bytes[PATH_MAX + 1];
};

/// The last error that tells the same as `error` of the C library.
DWORD errorOf(int error);

/// The error that `body`, which goes on to its end, answers or raises. An exception is a lack of
/// memory.
template <class Body>
DWORD orError(Body&& body) noexcept
{
    const CancellationHold hold;
    try {
        return body();
    } catch (DWORD error) {
        return error;
    } catch (const std::exception&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

/// What `body` answers. An error that it raises as orError() tells becomes the last error, and 0 is
/// the answer.
template <class Body>
auto withoutThrowing(Body&& body) noexcept -> decltype(body())
{
    decltype(body()) answer{};
    const DWORD error = orError([&]() -> DWORD {
        answer = body();
        return ERROR_SUCCESS;
    });
    if (error != ERROR_SUCCESS)
        SetLastError(error);
    return answer;
}

} // namespace zmu
