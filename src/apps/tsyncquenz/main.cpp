// tsyncquenz: the sync service, and the commands by which a person speaks to it.
#include "apps/tsyncquenz/commands.h"
#include "apps/usage.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <iostream>

int main(int count, char** words) {
    // Before any thread starts, so that every thread leaves the signals to the one that waits for them.
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGTERM);

    CLI::App app("Keeps folders of this machine in step with a storage of yours: SFTP, WebDAV, S3, a cloud.",
                 "tsyncquenz");
    app.require_subcommand(1);
    app.set_version_flag("--version", TSYNCFINDER_VERSION);
    int exitStatus = EXIT_SUCCESS;
    const auto on = [&exitStatus](CLI::App* command, std::function<int()> act) {
        command->callback([&exitStatus, act = std::move(act)] {
            try {
                exitStatus = act();
            } catch (const std::exception& error) {
                std::cerr << "tsyncquenz: " << error.what() << '\n';
                exitStatus = apps::usageTrouble;
            }
        });
    };
    using namespace apps::tsyncquenz;

    std::string level = "info";
    CLI::App* run = app.add_subcommand("run", "The service itself");
    run->add_option("--log-level", level, "debug, info or error")
        ->check(CLI::IsMember({"debug", "info", "error"}));
    bool isAutomatic = false;
    run->add_flag("--automatic", isAutomatic, "Nobody asked for it: end at once where no storage is set up");
    unsigned haste = 1;
    run->add_option("--haste", haste,
                    "Let what changes rest for so many times less before it counts: for trying things out")
        ->check(CLI::Range(1, 100));
    on(run, [&] {
        pthread_sigmask(SIG_BLOCK, &ending, nullptr);
        return runService(level, isAutomatic, haste, ending);
    });

    std::string storage;
    CLI::App* setup =
        app.add_subcommand("setup", "Choose the storage, and try whether it does what is needed");
    setup->add_option("STORAGE", storage, "rclone's NAME:PATH; without it the known names are listed");
    on(setup, [&] { return setUp(storage); });

    std::string folder;
    std::string remote;
    CLI::App* add = app.add_subcommand("add", "Keep FOLDER in step with a folder of the storage");
    add->add_option("FOLDER", folder)->required();
    add->add_option("REMOTE", remote, "Its path in the space; without it the folder's name");
    on(add, [&] { return addFolder(folder, remote); });
    CLI::App* remove = app.add_subcommand("remove", "End that; nothing is deleted on either side");
    remove->add_option("FOLDER", folder)->required();
    on(remove, [&] { return removeFolder(folder); });

    bool isJson = false;
    bool watches = false;
    CLI::App* status = app.add_subcommand("status", "Each folder and how it stands");
    status->add_flag("--json", isJson, "For programs: one JSON object");
    status->add_flag("--watch", watches, "Go on, with each change");
    on(status, [&] { return showStatus(isJson, watches); });
    on(app.add_subcommand("pause", "Transfer nothing until resume, also over a restart"),
       [] { return apps::tsyncquenz::setPaused(true); });
    on(app.add_subcommand("resume", "Go on"), [] { return apps::tsyncquenz::setPaused(false); });
    on(app.add_subcommand("problems", "What is left out and why"), [] { return showProblems(); });
    std::string confirmed;
    bool isSure = false;
    CLI::App* confirm =
        app.add_subcommand("confirm", "Deletions wait when there are many: what waits, and that it is meant");
    confirm->add_option("FOLDER", confirmed, "Without it every synced folder");
    confirm->add_flag("--yes", isSure, "Ask no question");
    on(confirm, [&] { return confirmLosses(confirmed, isSure); });
    std::string thrown;
    CLI::App* restore = app.add_subcommand(
        "restore", "Bring an item back from the trash of the space, the latest one of that path");
    restore->add_option("PATH", thrown, "In a synced folder, or in the space")->required();
    on(restore, [&] { return restoreItem(thrown); });
    on(app.add_subcommand("log", "How to read the service's log"), [] { return showLogLine(); });
    return apps::parseAndRun(app, count, words, exitStatus);
}
