// Checks of what a command line names, for CLI11.
#pragma once

#include <CLI/CLI.hpp>
#include <QFileInfo>

#include <stdexcept>

namespace zmu_tools {

/// A file that is there, so that the command does not find out late. One that is not ends it as any
/// other that cannot be read does: the line is as it should be.
inline CLI::Validator existingFile()
{
    return {[](const std::string& path) -> std::string {
                if (!QFileInfo(QString::fromStdString(path)).isFile())
                    throw std::runtime_error(path + " is no file");
                return {};
            },
            "FILE"};
}

/// Likewise a folder.
inline CLI::Validator existingFolder()
{
    return {[](const std::string& path) -> std::string {
                if (!QFileInfo(QString::fromStdString(path)).isDir())
                    throw std::runtime_error(path + " is no folder");
                return {};
            },
            "DIR"};
}

} // namespace zmu_tools
