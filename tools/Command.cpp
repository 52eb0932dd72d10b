#include "Command.h"

#include "Manual.h"
#include "Text.h"

#include <tools/catalog/CompileCommand.h>
#include <tools/collect/CollectCommand.h>
#include <tools/explain/ExplainCommand.h>
#include <tools/forms/FormCommand.h>
#include <tools/log/LogCommand.h>
#include <tools/proof/CheckCommand.h>
#include <tools/ship/ShipCommand.h>

#include <zmu/Version.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>

namespace zmu_tools {

const std::vector<AddCommand>& commands()
{
    static const std::vector<AddCommand> all = {
        addCompileCommand, addCheckCommand,   addFormCommand, addLogCommand,
        addCollectCommand, addExplainCommand, addShipCommand,
    };
    return all;
}

std::string& ownProgram()
{
    static std::string path;
    return path;
}

const std::vector<ExitMeaning>& exitMeanings()
{
    static const std::vector<ExitMeaning> all = {
        {Exit::Good, "all is good"},
        {Exit::Findings, "something was found"},
        {Exit::Usage, "the command line is wrong"},
        {Exit::Unreadable, "something cannot be read or written"},
    };
    return all;
}

namespace {

/// The command that the words name, as far as they name one; null, with a message, if a word is in
/// the place of a command and is none.
const CLI::App* findCommand(const CLI::App& app, const std::vector<std::string>& words)
{
    const CLI::App* command = &app;
    for (const std::string& word : words) {
        const std::vector<const CLI::App*> all = command->get_subcommands({});
        if (all.empty() || word.starts_with('-'))
            break;
        const auto named = std::find_if(all.begin(), all.end(), [&word](const CLI::App* each) {
            return each->get_name() == word;
        });
        if (named == all.end()) {
            std::vector<std::string> names;
            for (const CLI::App* each : visibleCommands(*command))
                names.push_back(each->get_name());
            const std::string nearest = nearestName(word, names);
            std::fprintf(stderr, "zmu: error: there is no command '%s'%s; see 'zmu help'\n",
                         harmless(word).c_str(),
                         nearest.empty() ? "" : (", '" + nearest + "' is one").c_str());
            return nullptr;
        }
        command = *named;
    }
    return command;
}

/// Tells of options that there are not, with the nearest one.
void suggestOptions(const CLI::App& app, const std::vector<std::string>& words)
{
    const CLI::App* const command = findCommand(app, words);
    std::vector<std::string> names;
    for (const CLI::Option* option : command->get_options()) {
        for (const std::string& name : option->get_lnames())
            names.push_back("--" + name);
    }
    for (const std::string& word : words) {
        const std::string name = word.substr(0, word.find('='));
        if (name == "--")
            return; // what follows is no option
        if (!word.starts_with("--") || std::find(names.begin(), names.end(), name) != names.end())
            continue;
        const std::string nearest = nearestName(name, names);
        std::fprintf(stderr, "zmu: there is no option '%s'%s\n", harmless(name).c_str(),
                     nearest.empty() ? "" : (", '" + nearest + "' is one").c_str());
    }
}

void addHelpCommand(CLI::App& app, Run& run)
{
    const auto words = std::make_shared<std::vector<std::string>>();
    CLI::App* const command = app.add_subcommand("help", "Show how a command is used.");
    command->add_option("COMMAND", *words, "The command; without one, all of them");
    command->callback([words, &app, &run] {
        run = [words, &app] {
            const CLI::App* const named = findCommand(app, *words);
            if (!named)
                return Exit::Usage;
            std::string path;
            for (const CLI::App* outer = named->get_parent(); outer; outer = outer->get_parent())
                path.insert(0, outer->get_name() + (path.empty() ? "" : " "));
            // The app's own help is that of the command that was parsed, which is this one.
            const auto formatter = named->get_formatter();
            std::printf("%s", formatter
                                  ->make_help(named,
                                              path.empty() ? named->get_name()
                                                           : path + ' ' + named->get_name(),
                                              CLI::AppFormatMode::Normal)
                                  .c_str());
            return Exit::Good;
        };
    });
}

/// For the build, which makes files of it.
void addManualCommand(CLI::App& app, Run& run)
{
    const auto kind = std::make_shared<std::string>();
    CLI::App* const command = app.add_subcommand("manual")->group("");
    command->add_option("KIND", *kind)->required()->check(CLI::IsMember({"man", "bash"}));
    command->callback([kind, &app, &run] {
        run = [kind, &app] {
            std::printf("%s", (*kind == "man" ? manPage(app) : bashCompletion(app)).c_str());
            return Exit::Good;
        };
    });
}

} // namespace

void flushOutput()
{
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0)
        return;
    std::clearerr(stdout); // it is told now
    throw std::runtime_error("standard output cannot be written");
}

namespace {

/// Runs a command line, and tells on standard error what is wrong with it.
Exit parseAndRun(const std::vector<std::string>& arguments)
{
    CLI::App app(
        "What developers and administrators do with the catalogues, forms and logs of zmu.", "zmu");
    app.formatter(std::make_shared<HelpFormatter>());
    app.allow_windows_style_options(false); // a path may begin with a slash everywhere
    app.require_subcommand(1);
    app.set_version_flag("--version", "zmu " ZMU_VERSION_STRING, "Show the version");
    std::string footer = "Ends with ";
    for (const ExitMeaning& each : exitMeanings())
        footer += std::to_string(static_cast<int>(each.exit)) + " if " + each.meaning +
                  (each.exit == Exit::Unreadable ? "." : ", ");
    Run run;
    for (const AddCommand add : commands())
        add(app, run);
    addHelpCommand(app, run);
    addManualCommand(app, run);
    app.footer(footer); // behind the commands, which would inherit it
    if (!findCommand(app, arguments))
        return Exit::Usage;
    std::vector<std::string> backwards(arguments.rbegin(),
                                       arguments.rend()); // as the parser wants them
    try {
        app.parse(backwards);
    } catch (const CLI::ParseError& error) {
        std::stringstream told;
        if (app.exit(error, std::cout, told) == 0)
            return Exit::Good;
        for (std::string line; std::getline(told, line);)
            std::fprintf(stderr, "%s\n", harmless(line).c_str());
        suggestOptions(app, arguments);
        return Exit::Usage;
    }
    return run ? run() : Exit::Good;
}

} // namespace

Exit runCommandLine(const std::vector<std::string>& arguments) noexcept
try {
    const Exit exit = parseAndRun(arguments);
    std::cout.flush();
    flushOutput();
    return exit;
} catch (const std::exception& error) {
    std::fprintf(stderr, "zmu: error: %s\n", harmless(error.what()).c_str());
    return Exit::Unreadable;
}

} // namespace zmu_tools
