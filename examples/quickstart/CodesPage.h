// The page that the log's links to system errors lead to.
#pragma once

#include <filesystem>

/// Writes "Codes/WLE.html" under the folder of the logs: an anchor and a text for each error that
/// starting a program can give. False if that is not possible.
bool writeCodesPage(const std::filesystem::path& logFolder);
