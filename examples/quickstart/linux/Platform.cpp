#include "../Platform.h"

#include <cerrno>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// Cuts at blanks; quotes of either kind hold a word together.
std::vector<std::string> words(const std::string& command)
{
    std::vector<std::string> result;
    bool inWord = false;
    char quote = '\0';
    for (const char c : command) {
        if (quote ? c == quote : c == '\'' || c == '"') {
            quote = quote ? '\0' : c;
            if (!inWord)
                result.emplace_back();
            inWord = true;
        } else if (!quote && (c == ' ' || c == '\t' || c == '\n')) {
            inWord = false;
        } else {
            if (!inWord)
                result.emplace_back();
            inWord = true;
            result.back() += c;
        }
    }
    return result;
}

} // namespace

platform::Launch platform::launch(const std::string& command)
{
    std::vector<std::string> arguments = words(command);
    if (arguments.empty())
        return {ENOENT};
    std::vector<char*> argv;
    for (std::string& argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    if (const int error = posix_spawn_file_actions_init(&actions))
        return {static_cast<unsigned int>(error)};
    // Several sessions at once cannot share the terminal's input.
    int error = posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);

    // posix_spawn answers for the program as well: an error of exec is its result here, and not the
    // status of a child that nobody can tell from the program's own.
    pid_t child = -1;
    if (!error)
        error = posix_spawnp(&child, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error)
        return {static_cast<unsigned int>(error)};
    return {0, static_cast<unsigned int>(child), child};
}

platform::End platform::waitFor(const Launch& started)
{
    int status = 0;
    pid_t ended = -1;
    do
        ended = waitpid(static_cast<pid_t>(started.handle), &status, 0);
    while (ended < 0 && errno == EINTR);
    if (ended < 0)
        return {false, -1};
    if (WIFSIGNALED(status))
        return {true, WTERMSIG(status)};
    return {false, WEXITSTATUS(status)};
}

std::vector<std::string> platform::defaultCommands()
{
    return {"sleep 0.3", "sh -c 'exit 3'", "/no/such/program --size <large>"};
}

std::filesystem::path platform::programPath()
{
    std::error_code ignored;
    return std::filesystem::read_symlink("/proc/self/exe", ignored);
}
