#include "Command.h"

#include <tools/catalog/CompileCommand.h>
#include <tools/log/LogCommand.h>
#include <tools/proof/CheckCommand.h>

#include <zmu/Version.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <exception>

namespace zmu_tools {

const std::vector<AddCommand>& commands()
{
    static const std::vector<AddCommand> all = {addCompileCommand, addCheckCommand, addLogCommand};
    return all;
}

std::string& ownProgram()
{
    static std::string path;
    return path;
}

Exit runCommandLine(const std::vector<std::string>& arguments) noexcept
try {
    CLI::App app(
        "What developers and administrators do with the catalogues, forms and logs of zmu.", "zmu");
    app.require_subcommand(1);
    app.set_version_flag("--version", "zmu " ZMU_VERSION_STRING);
    app.footer(
        "Ends with 0 if all is good, 1 if something was found, 2 if the command line is wrong, "
        "3 if something cannot be read or written.");
    Run run;
    for (const AddCommand add : commands())
        add(app, run);
    std::vector<std::string> backwards(arguments.rbegin(),
                                       arguments.rend()); // as the parser wants them
    try {
        app.parse(backwards);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? Exit::Good : Exit::Usage;
    }
    return run ? run() : Exit::Good;
} catch (const std::exception& error) {
    std::fprintf(stderr, "zmu: error: %s\n", error.what());
    return Exit::Unreadable;
}

} // namespace zmu_tools
