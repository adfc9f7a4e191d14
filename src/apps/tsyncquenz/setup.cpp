// Choosing a storage: it is tried with a small file in a folder of the try's own.
#include "apps/tsyncquenz/commands.h"
#include "apps/tsyncquenz/rclone_environment.h"
#include "apps/tsyncquenz/settings.h"
#include "backends/dbus/BusNames.h"
#include "backends/log/StandardErrorLog.h"
#include "backends/posix/ChildProcess.h"
#include "backends/rclone/RcloneSpace.h"
#include "protocol/names.h"
#include "service/names.h"

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <random>
#include <stdexcept>

namespace apps::tsyncquenz {
namespace {

namespace fs = std::filesystem;

int listStorages() {
    backends::log::StandardErrorLog log("tsyncquenz", platform::LogLevel::error);
    backends::posix::ChildProcess rclone({rcloneProgram, rcloneEnvironment(log), true, {"listremotes"}});
    std::cout << "Storages that rclone knows; choose one with: tsyncquenz setup NAME:PATH\n";
    while (const auto line = rclone.readLine(std::nullopt))
        std::cout << "  " << *line << '\n';
    if (rclone.wait() != 0) throw std::runtime_error("rclone cannot list its storages; is it installed?");
    std::cout << "A new one: rclone config\n";
    return EXIT_SUCCESS;
}

template <typename T>
T need(const char* what, service::Outcome<T> outcome) {
    if (!outcome) throw std::runtime_error(std::string(what) + ": " + outcome.failure().text);
    std::cout << "  " << what << '\n';
    return std::move(*outcome);
}

std::string contentOf(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void tryStorage(service::RemoteSpace& space, const fs::path& work) {
    const std::string text = "Written to try this storage; it may be deleted.\n";
    std::random_device random;
    const std::string folder = std::string(service::privatePrefix) + "/try-" + std::to_string(random());
    std::ofstream(work / "up", std::ios::binary) << text;
    const auto features = need("reached", space.features().wait());
    need("a folder is made", space.makeFolder(folder).wait());
    try {
        need("a file is written", space.bringUp((work / "up").string(), folder + "/one").wait());
        need("a file is moved", space.moveFile(folder + "/one", folder + "/two").wait());
        const auto items = need("a folder is listed", space.list(folder).wait());
        if (items.size() != 1 || items.front().name != "two" || items.front().size != text.size())
            throw std::runtime_error("the storage does not list what was written into it");
        need("a file is read",
             space.bringDown(folder + "/two", (work / "down").string(), text.size()).wait());
        if (contentOf(work / "down") != text)
            throw std::runtime_error("the storage does not give back what was written into it");
        need("a file is deleted", space.removeFile(folder + "/two").wait());
    } catch (const std::exception&) {
        (void)space.removeTree(folder).wait();
        throw;
    }
    (void)space.removeTree(folder).wait();
    std::cout << "  public links: " << (features.publicLink ? "yes" : "no") << '\n';
}

// Also where there is no bus to ask: then none does.
bool isServiceRunning() {
    try {
        return backends::dbus::BusNames().owner(TSYNC_SERVICE_NAME).has_value();
    } catch (const sdbus::Error&) {
        return false;
    }
}

} // namespace

int setUp(const std::string& storage) {
    if (storage.empty()) return listStorages();
    if (storage.find(':') == std::string::npos)
        throw std::runtime_error("a storage is written NAME:PATH, as rclone writes it");
    backends::log::StandardErrorLog log("tsyncquenz", platform::LogLevel::error);
    backends::rclone::RemoteControl::Settings settings;
    settings.environment = rcloneEnvironment(log);
    backends::rclone::RemoteControl control(settings, log);
    std::string pattern = (fs::temp_directory_path() / "tsyncquenz-try-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder can be made");
    const fs::path work(pattern);
    std::cout << "Trying " << storage << '\n';
    try {
        backends::rclone::RcloneSpace space(control, storage, work / "links");
        tryStorage(space, work);
    } catch (const std::exception&) {
        fs::remove_all(work);
        throw;
    }
    fs::remove_all(work);
    setStorage(storage);
    std::cout << "Chosen. ";
    if (isServiceRunning())
        std::cout << "The running service takes it at its next start: systemctl --user restart tsyncquenz\n";
    else
        std::cout << "Next: tsyncquenz add FOLDER\n";
    return EXIT_SUCCESS;
}

} // namespace apps::tsyncquenz
