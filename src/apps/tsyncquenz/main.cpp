// tsyncquenz: the sync service, and the commands by which a person speaks to it.
#include "apps/tsyncquenz/commands.h"
#include "apps/usage.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <iostream>

namespace apps::tsyncquenz {
namespace {

// The words of a command line, and what each command does with its own.
class CommandLine {
  public:
    CommandLine() {
        // Before any thread starts, so that every thread leaves the signals to the one that waits for them.
        sigemptyset(&ending);
        sigaddset(&ending, SIGINT);
        sigaddset(&ending, SIGTERM);
        app.require_subcommand(1);
        app.set_version_flag("--version", TSYNCFINDER_VERSION);
        addService();
        addFolders();
        addStatus();
        addLosses();
        addSettings();
    }
    int run(int count, char** words) { return parseAndRun(app, count, words, exitStatus); }

  private:
    void on(CLI::App* command, std::function<int()> act) {
        command->callback([this, act = std::move(act)] {
            try {
                exitStatus = act();
            } catch (const std::exception& error) {
                std::cerr << "tsyncquenz: " << error.what() << '\n';
                exitStatus = usageTrouble;
            }
        });
    }

    void addService() {
        CLI::App* run = app.add_subcommand("run", "The service itself");
        run->add_option("--log-level", level, "debug, info or error")
            ->check(CLI::IsMember({"debug", "info", "error"}));
        run->add_flag("--automatic", isAutomatic,
                      "Nobody asked for it: end at once where no storage is set up");
        run->add_option(
               "--haste", haste,
               "Let what changes rest for so many times less before it counts: for trying things out")
            ->check(CLI::Range(1, 100));
        on(run, [this] {
            pthread_sigmask(SIG_BLOCK, &ending, nullptr);
            return runService(level, isAutomatic, haste, ending);
        });
        CLI::App* setup =
            app.add_subcommand("setup", "Choose the storage, and try whether it does what is needed");
        setup->add_option("STORAGE", storage, "rclone's NAME:PATH; without it the known names are listed");
        on(setup, [this] { return setUp(storage); });
    }

    void addFolders() {
        CLI::App* add = app.add_subcommand("add", "Keep FOLDER in step with a folder of the storage");
        add->add_option("FOLDER", folder)->required();
        add->add_option("REMOTE", remote, "Its path in the space; without it the folder's name");
        on(add, [this] { return addFolder(folder, remote); });
        CLI::App* remove = app.add_subcommand("remove", "End that; nothing is deleted on either side");
        remove->add_option("FOLDER", folder)->required();
        on(remove, [this] { return removeFolder(folder); });
    }

    void addStatus() {
        CLI::App* status = app.add_subcommand("status", "The state of each folder");
        status->add_flag("--json", isJson, "For programs: one JSON object");
        status->add_flag("--watch", watches, "Go on, with each change");
        on(status, [this] { return showStatus(isJson, watches); });
        on(app.add_subcommand("pause", "Transfer nothing until resume, even after a restart"),
           [] { return setPaused(true); });
        on(app.add_subcommand("resume", "Go on"), [] { return setPaused(false); });
        on(app.add_subcommand("problems", "What is not synced and why"), [] { return showProblems(); });
    }

    void addLosses() {
        CLI::App* confirm = app.add_subcommand(
            "confirm", "Deletions wait when there are many: what waits, and that it is meant");
        confirm->add_option("FOLDER", confirmed, "Without it every synced folder");
        confirm->add_flag("--yes", isSure, "Ask no question");
        on(confirm, [this] { return confirmLosses(confirmed, isSure); });
        CLI::App* restore = app.add_subcommand(
            "restore", "Bring an item back from the trash of the space, the latest one of that path");
        restore->add_option("PATH", thrown, "In a synced folder, or in the space")->required();
        on(restore, [this] { return restoreItem(thrown); });
    }

    void addSettings() {
        CLI::App* config =
            app.add_subcommand("config", "Show the settings, or change one; a service that runs follows");
        config->add_option("KEY", key, "bandwidth or transfers; none: all of them")
            ->type_name("{bandwidth,transfers}");
        config->add_option("VALUE", value, "Bytes a second, as 500K or 2M, or off; files at the same time");
        on(config, [this] { return configure(key, value); });
        on(app.add_subcommand("password", "Store the password of rclone's encrypted configuration"),
           [] { return storePassword(); });
        on(app.add_subcommand("log", "How to read the service's log"), [] { return showLogLine(); });
    }

    CLI::App app{"Keeps folders of this machine in step with a storage of yours: SFTP, WebDAV, S3, a cloud.",
                 "tsyncquenz"};
    sigset_t ending{};
    int exitStatus = EXIT_SUCCESS;
    std::string level = "info";
    bool isAutomatic = false;
    unsigned haste = 1;
    std::string storage;
    std::string folder;
    std::string remote;
    bool isJson = false;
    bool watches = false;
    std::string confirmed;
    bool isSure = false;
    std::string thrown;
    std::string key;
    std::string value;
};

} // namespace
} // namespace apps::tsyncquenz

int main(int count, char** words) { return apps::tsyncquenz::CommandLine().run(count, words); }
