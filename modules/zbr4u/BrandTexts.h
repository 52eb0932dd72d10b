// The texts of the product, by ID.
#pragma once

#include <map>
#include <string>

namespace zbr4u {

/// UTF-8.
using BrandTexts = std::map<int, std::string>;

/// The texts that are compiled in.
const BrandTexts& builtInTexts();

/// Status of reading a file: 0, or what is wrong.
enum Status {
    Success = 0,
    Unreadable = 1, ///< The file is there and cannot be read.
    NoMemory = 2,
    LineBroken = 1000 ///< Plus the number of the line.
};

/// Replaces those of `texts` that the file gives. A file that does not exist changes nothing, and
/// so does one with any broken line.
int readTexts(const std::string& path, BrandTexts& texts);

/// Path of the file of texts beside this module; empty if that is not known.
std::string textsFile();

} // namespace zbr4u
