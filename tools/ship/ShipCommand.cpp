#include "ShipCommand.h"

#include "Ship.h"

#include <CLI/CLI.hpp>

#include <memory>

void zmu_tools::addShipCommand(CLI::App& app, Run& run)
{
    const auto options = std::make_shared<ship::ShipOptions>();
    CLI::App* const command =
        app.add_subcommand("ship", "Send what processes have spooled to NATS servers.");
    command
        ->add_option("SPOOL", options->spools,
                     "Folders in which processes without a log have their spool files.")
        ->required();
    ship::addServerOptions(*command, options->server)->required();
    command->add_option("--positions", options->positions,
                        "The file that keeps how far the spools were shipped. Unless set it is "
                        "ship.positions in the folder of $STATE_DIRECTORY, as systemd sets it, or "
                        "in that of the user's data.");
    command->add_flag("--keep", options->isKeeping,
                      "Leave files that are shipped whole, and whose processes have ended.");
    command->add_flag("--once", options->isOnce,
                      "End when all is shipped that is there. Otherwise it goes on until it is "
                      "ended, which it may be at any time.");
    command->footer("A line is gone from a spool only when the servers have acknowledged it. While "
                    "they are away it waits there. "
                    "Ends with 0 if all is good, 1 with --once if something was left out, 2 if the "
                    "command line is wrong, 3 if a file cannot "
                    "be used, or the servers will not take what is shipped.");
    command->callback([&run, options] {
        run = [options] { return ship::isClientThere() ? shipSpools(*options) : Exit::Usage; };
    });
}
