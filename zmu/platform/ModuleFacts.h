// What a module's file says of itself beyond its version data. The file is read as data, and
// nothing in it is trusted. An answer is empty where the file does not tell.
#pragma once

#include <zmu/platform/InputFile.h>

#include <string>

namespace zmu::modules {

/// What tells this build's bytes from another's: the image's checksum as "0x0001A2B3", outside
/// Windows the build ID in hexadecimal digits.
std::wstring checksum(const InputFile& file);
/// When the module was linked, as "0x4B5C6D7E". Nothing outside Windows.
std::wstring linkTime(const InputFile& file);

/// Versions of a module without version data; nothing on Windows. Elsewhere that of the product is
/// the one by which other modules ask for it ("6" of libQt6Core.so.6), and that of the file goes on
/// as the name of the file does ("6.4.2"). `path` is where the file was opened.
struct Versions {
    std::wstring file;
    std::wstring product;
};
Versions versions(const InputFile& file, const wchar_t* path);

} // namespace zmu::modules
