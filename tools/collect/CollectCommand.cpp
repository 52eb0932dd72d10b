#include "CollectCommand.h"

#include "JsonSink.h"
#include "OwnLog.h"
#include "ServedCollect.h"

#include <collect/Collector.h>
#include <tools/Existing.h>
#include <tools/Text.h>
#include <tools/platform/Stop.h>
#include <tools/platform/Terminal.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <memory>
#include <optional>

namespace zmu_tools {

namespace collect {

using namespace zmu_collect;

namespace {

struct Options {
    std::vector<std::string> spools;
    std::string logFolder;
    std::string form;
    unsigned logSize = OwnLog::usualSize;
    std::string positions;
    bool isJson = false;
    bool isKeeping = false;
    bool isOnce = false;
};

/// A word of up to 64 letters, digits and characters of `others`. `refusal` says what any other
/// text is not, and what to write.
CLI::Validator wordCheck(const char* type, const std::string& others, const std::string& refusal)
{
    return {[=](const std::string& text) -> std::string {
                const bool isWord =
                    !text.empty() && text.size() <= 64 &&
                    std::all_of(text.begin(), text.end(), [&others](unsigned char c) {
                        return c < 0x80 &&
                               (std::isalnum(c) || others.find(char(c)) != std::string::npos);
                    });
                return isWord ? std::string() : '"' + text + "\" " + refusal;
            },
            type};
}

CLI::Validator nameCheck()
{
    return wordCheck("NAME", "-_", "is no name; write up to 64 letters, digits, '-' and '_'");
}

CLI::Validator idCheck()
{
    return wordCheck("ID", {},
                     "is no collector's ID; write the letters and digits that the others tell");
}

void tellAmiss(const std::string& what)
{
    std::fprintf(stderr, "zmu: warning: %s\n", harmless(what).c_str());
}

Exit run(const Options& options)
{
    std::string path = options.positions;
    if (path.empty() && !options.logFolder.empty())
        path = options.logFolder + "/collect.positions";
    std::optional<OwnLog> own;
    std::optional<LogSink> log;
    JsonSink json;
    if (options.isJson)
        prepareOutput();
    else
        log.emplace(own.emplace(options.logFolder, options.form, options.logSize));
    Collector collector({.spools = options.spools,
                         .positions = path,
                         .isOnce = options.isOnce,
                         .isKeeping = options.isKeeping,
                         .tell = tellAmiss},
                        log ? static_cast<Sink&>(*log) : json, log ? &*log : nullptr);
    const StopRequest stop([&collector] { collector.stop(); });
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
    CLI::Option* const spools = command->add_option(
        "SPOOL", options->spools, "The folders that these processes' spool files are in.");
    CLI::Option* const logFolder =
        command
            ->add_option("--log-dir", options->logFolder,
                         "The folder for the logs, which exists. Each run begins a log with its "
                         "first entry; one that is full is followed by another.")
            ->check(existingFolder());
    command
        ->add_option("--form", options->form,
                     "The form of the logs. Without it that of the folder Templates in the log "
                     "folder, or the built-in one.")
        ->check(existingFile())
        ->needs(logFolder);
    constexpr double leastLog = 1 << 20, largestLog = 1 << 30;
    command
        ->add_option("--log-size", options->logSize,
                     "How large a log may become before another follows it: 20MB unless set, from "
                     "1MB to 1GB.")
        ->transform(CLI::AsSizeValue(false))
        ->check(CLI::Range(leastLog, largestLog))
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
                        "the log folder unless given, and served.positions for servers. With "
                        "--json and without this, each run "
                        "begins with the first line, and no spool file is removed.");
    const auto served = std::make_shared<collect::ServedOptions>();
    CLI::Option* const server = ship::addServerOptions(*command, served->server);
    server->excludes(spools)->excludes(json);
    command
        ->add_option("--name", served->group.name,
                     "Collectors from servers that have one name share the work: each process "
                     "comes into the log of one of them.")
        ->capture_default_str()
        ->check(collect::nameCheck())
        ->needs(server);
    command
        ->add_option("--take-over", served->group.takeOver,
                     "The ID of a collector of that name whose log folder or machine is gone for "
                     "good, as the others tell it: its processes become this one's, with what it "
                     "had not acknowledged. Refused as long as that one is there. Several have "
                     "commas between them. Leave it out at the next start.")
        ->delimiter(',')
        ->check(collect::idCheck())
        ->needs(server);
    const auto by = std::make_shared<std::string>("all");
    command
        ->add_option("--by", *by,
                     "Write all from the servers into one log, or that of each host into a folder "
                     "of its own, by a process of its own.")
        ->capture_default_str()
        ->check(CLI::IsMember({"host", "all"}))
        ->needs(server);
    command->add_option("--host", served->server.stream.host)->group("")->needs(server);
    command->add_flag("--child", served->isChild)->group("")->needs(server);
    command->add_option("--idle", served->idle)->group("")->needs(server);
    command->add_option("--places", served->placesQty)->group("")->needs(server);
    command->footer(
        "Each entry tells the situation that was reported, its time, user, host, program and "
        "process. Lines that are missing or cannot be read have an entry of their own. A kill at "
        "any moment loses nothing, and nothing is written twice, but for the last lines of --json. "
        "SIGTERM and Ctrl+C end it cleanly.\n"
        "Ends with 0 if all is good, 1 with --once if something was left out, 2 if the command "
        "line is wrong, 3 if something cannot be read or written.");
    command->callback([=, &run] {
        if (json->count() + logFolder->count() == 0)
            throw CLI::RequiredError("--log-dir or --json");
        if (spools->count() + server->count() == 0)
            throw CLI::RequiredError("SPOOL or --server");
        if (server->count() == 0) {
            run = [options] { return collect::run(*options); };
            return;
        }
        served->logFolder = options->logFolder;
        served->form = options->form;
        served->logSize = options->logSize;
        served->positions = options->positions;
        served->isOnce = options->isOnce;
        served->isByHost = *by == "host";
        run = [served] { return collect::collectServed(*served); };
    });
}

} // namespace zmu_tools
