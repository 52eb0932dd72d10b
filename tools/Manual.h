// The man page of `zmu`, and its completion for bash, from the command line's own definition.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace zmu_tools {

/// A page for man(1), in roff.
std::string manPage(const CLI::App& app);

/// A script for bash: commands and options are completed, everything else as file names.
std::string bashCompletion(const CLI::App& app);

/// How help is shown: within the width of a terminal.
class HelpFormatter : public CLI::Formatter {
  public:
    std::string make_description(const CLI::App* app) const override;
    std::string make_footer(const CLI::App* app) const override;
    std::string make_option_desc(const CLI::Option* option) const override;
};

/// The subcommands that are not hidden.
std::vector<const CLI::App*> visibleCommands(const CLI::App& app);

} // namespace zmu_tools
