// Between the wide text of callers and the bytes of the system, and between exceptions and the
// failures that callers know.
#pragma once

#include <zmu/platform/Win32.h>

#include <exception>
#include <string>
#include <string_view>

namespace zmu {

/// `text` in the narrow code page, which is the file system's encoding. Throws without memory, and
/// std::length_error for a text beyond what the converting calls count.
std::string narrow(std::wstring_view text);
/// The wide text of `text`; otherwise as narrow().
std::wstring widen(std::string_view text);

/// What `body` answers. An exception, which is a lack of memory, becomes the last error, and 0 is
/// the answer.
template <class Body>
auto withoutThrowing(Body&& body) noexcept -> decltype(body())
{
    try {
        return body();
    } catch (const std::exception&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return {};
    }
}

} // namespace zmu
