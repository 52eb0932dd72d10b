// The command line of `zmu`, and what each of its commands has to offer.
//
// A command lives in a folder of its own and adds itself with a function that is named in
// commands().
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace zmu_tools {

/// What a command ends with; documented for its users.
enum class Exit : int {
    Good = 0,
    Findings = 1,   ///< It did its work, and found something wrong with what it was given.
    Usage = 2,      ///< The command line is wrong.
    Unreadable = 3, ///< Something cannot be read or written.
};

struct ExitMeaning {
    Exit exit;
    const char* meaning;
};
/// All of them, as help and man page tell them.
const std::vector<ExitMeaning>& exitMeanings();

/// What the command line asks for. Nothing is done while it is parsed.
using Run = std::function<Exit()>;

/// Adds a command to `app`: its description, options and arguments. Once the line is parsed and
/// names this command, `run` does it.
using AddCommand = void (*)(CLI::App& app, Run& run);

/// All commands, in the order in which the help shows them.
const std::vector<AddCommand>& commands();

/// The file of the program `zmu`, for commands that start it once more. Empty in any other program,
/// and until main has set it.
std::string& ownProgram();

/// Hands on what was written to standard output. Throws std::runtime_error if it cannot be written.
/// The end of a command line does so; a command that goes on for long does meanwhile.
void flushOutput();

/// Runs a command line: `arguments` are UTF-8, without the program's name. Help goes to standard
/// output, what is wrong with the line to standard error. Throws nothing; memory that runs out ends
/// in a message and Exit::Unreadable.
Exit runCommandLine(const std::vector<std::string>& arguments) noexcept;

} // namespace zmu_tools
