#include "CollectCommand.h"

#include "Collector.h"
#include "JsonSink.h"

#include <tools/platform/Stop.h>
#include <tools/platform/Terminal.h>

#include <CLI/CLI.hpp>

#include <memory>
#include <optional>

namespace zmu_tools {

namespace collect {

namespace {

struct Options {
    std::vector<std::string> spools;
    std::string logFolder;
    std::string form;
    std::string positions;
    bool isJson = false;
    bool isKeeping = false;
    bool isOnce = false;
};

Exit run(const Options& options)
{
    std::string path = options.positions;
    if (path.empty() && !options.logFolder.empty())
        path = options.logFolder + "/collect.positions";
    std::optional<LogSink> log;
    JsonSink json;
    if (options.isJson)
        prepareOutput();
    else
        log.emplace(LogSink::Options{options.logFolder, options.form});
    const auto positions = path.empty() ? std::make_unique<zmu_spool::Positions>()
                                        : std::make_unique<zmu_spool::Positions>(path);
    Collector collector(
        options.spools, *positions, log ? static_cast<Sink&>(*log) : json, log ? &*log : nullptr,
        {.isOnce = options.isOnce, .isRemoving = !options.isKeeping && !path.empty()});
    const StopRequest stop([&collector] { collector.wake(); });
    collector.run();
    return options.isOnce && collector.isAnythingAmiss() ? Exit::Findings : Exit::Good;
}

} // namespace

} // namespace collect

void addCollectCommand(CLI::App& app, Run& run)
{
    const auto options = std::make_shared<collect::Options>();
    CLI::App* const command = app.add_subcommand(
        "collect", "Write what processes without a log have reported into one log.");
    command
        ->add_option("SPOOL", options->spools,
                     "The folders that these processes' spool files are in.")
        ->required();
    CLI::Option* const logFolder =
        command
            ->add_option("--log-dir", options->logFolder,
                         "The folder for the logs, which exists. Each run begins a log with its "
                         "first entry; one that is full is followed by another.")
            ->check(CLI::ExistingDirectory);
    command
        ->add_option("--form", options->form,
                     "The form of the logs. Without it that of the folder Templates in the log "
                     "folder, or the built-in one.")
        ->check(CLI::ExistingFile)
        ->needs(logFolder);
    CLI::Option* const json =
        command
            ->add_flag("--json", options->isJson,
                       "Write a JSON object a line to standard output, and no log.")
            ->excludes(logFolder);
    command->add_flag("--keep", options->isKeeping,
                      "Do not remove spool files that were read to their end and whose process is "
                      "gone.");
    command->add_flag("--once", options->isOnce,
                      "End when all that is there was read, instead of waiting for more.");
    command->add_option("--positions", options->positions,
                        "The file that tells how far the spools were read: collect.positions in "
                        "the log folder unless given. With --json and without this, each run "
                        "begins with the first line, and no spool file is removed.");
    command->footer(
        "Each entry tells the situation that was reported, its time, user, host, program and "
        "process. Lines that are missing or cannot be read have an entry of their own. A kill at "
        "any moment loses nothing, and nothing is written twice, but for the last lines of --json. "
        "SIGTERM and Ctrl+C end it cleanly.\n"
        "Ends with 0 if all is good, 1 with --once if something was left out, 2 if the command "
        "line is wrong, 3 if something cannot be read or written.");
    command->callback([&run, options, json, logFolder] {
        if (json->count() + logFolder->count() == 0)
            throw CLI::RequiredError("--log-dir or --json");
        run = [options] { return collect::run(*options); };
    });
}

} // namespace zmu_tools
