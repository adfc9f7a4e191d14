// tsyncfinder: the extension process, and a terminal as a file manager.
#include "apps/tsyncfinder/config_command.h"
#include "apps/tsyncfinder/doctor/doctor_command.h"
#include "apps/tsyncfinder/extension_process.h"
#include "apps/tsyncfinder/installation.h"
#include "apps/tsyncfinder/secret_command.h"
#include "apps/tsyncfinder/settings.h"
#include "apps/tsyncfinder/terminal/terminal_commands.h"
#include "apps/unit.h"
#include "apps/usage.h"
#include "backends/log/StandardErrorLog.h"
#include "backends/secret/secret_service.h"

#include <CLI/CLI.hpp>

#include <iostream>

int main(int argc, char** argv) {
    CLI::App app("Shows what the sync service does in the file manager: badges, menus and sync commands.",
                 "tsyncfinder");
    app.require_subcommand(1);
    app.set_version_flag("--version", TSYNCFINDER_VERSION);
    app.fallthrough();
    int exitStatus = EXIT_SUCCESS;

    apps::tsyncfinder::RunOptions options;
    std::string level;
    bool isAutomatic = false;
    CLI::App* run = app.add_subcommand("run", "The extension process: serves the session's file managers");
    run->add_option("--log-level", level, "debug, info or error")
        ->check(CLI::IsMember({"debug", "info", "error"}));
    run->add_flag("--automatic", isAutomatic, "Nobody asked for it: end at once when the settings say so");
    run->add_option("--resources", options.resourceFolder, "Where the images are");
    run->add_option("--panel-program", options.panelProgram, "The program that shows the panels");
    run->callback([&] {
        using namespace apps::tsyncfinder;
        if (isAutomatic && readSettings()["autostart"] == "off") {
            std::cerr << "tsyncfinder: the settings say not to start by itself\n";
            return;
        }
        if (const std::string mask = apps::maskOfUnit(unitName); isAutomatic && !mask.empty()) {
            std::cerr << "tsyncfinder: the unit is masked: " << mask << '\n';
            return;
        }
        options.logLevel = backends::log::levelNamed(level);
        if (options.resourceFolder.empty()) options.resourceFolder = resourceFolder();
        if (options.panelProgram.empty()) options.panelProgram = panelProgram();
        exitStatus = runExtension(options);
    });
    apps::tsyncfinder::addConfigCommand(app, exitStatus);
    apps::tsyncfinder::doctor::addDoctorCommand(app, exitStatus);
    apps::tsyncfinder::addTerminalCommands(app, exitStatus);
    apps::tsyncfinder::addSecretCommand(app, backends::secret::makeSecretService, exitStatus);

    return apps::parseAndRun(app, argc, argv, exitStatus);
}
