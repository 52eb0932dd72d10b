// Checks of what a command line names, for CLI11.
#pragma once

#include <CLI/CLI.hpp>
#include <QFileInfo>

#include <stdexcept>

namespace zmu_tools {

/// What is there, so that the command does not find out late. What is not ends it as anything else
/// does that cannot be read: the line is as it should be.
inline CLI::Validator existing(const char* type, const char* kind, bool (QFileInfo::*is)() const)
{
    return {[kind, is](const std::string& path) -> std::string {
                if (!(QFileInfo(QString::fromStdString(path)).*is)())
                    throw std::runtime_error(path + " is no " + kind);
                return {};
            },
            type};
}

inline CLI::Validator existingFile()
{
    return existing("FILE", "file", &QFileInfo::isFile);
}

inline CLI::Validator existingFolder()
{
    return existing("DIR", "folder", &QFileInfo::isDir);
}

} // namespace zmu_tools
