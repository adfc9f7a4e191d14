#include "apps/tsyncquenz/rclone_environment.h"

#include "apps/tsyncfinder/secret_input.h"
#include "apps/tsyncquenz/commands.h"
#include "apps/tsyncquenz/settings.h"
#include "apps/user_folders.h"
#include "backends/log/StandardErrorLog.h"
#include "backends/posix/ChildProcess.h"
#include "backends/secret/secret_service.h"
#include "keychain/keychain.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <unistd.h>

namespace apps::tsyncquenz {
namespace {

namespace fs = std::filesystem;

constexpr auto passwordVariable = "RCLONE_CONFIG_PASS=";

bool hasVariable(const std::vector<std::string>& all, std::string_view start) {
    return std::any_of(all.begin(), all.end(),
                       [start](const std::string& entry) { return entry.starts_with(start); });
}

fs::path configurationFile() {
    const char* file = std::getenv("RCLONE_CONFIG");
    return file != nullptr && *file != '\0' ? fs::path(file) : configFolder() / "rclone/rclone.conf";
}

// The mark is the first line that is no comment.
bool isEncrypted(const fs::path& configuration) {
    std::ifstream file(configuration);
    for (std::string line; std::getline(file, line);)
        if (!line.empty() && line[0] != '#' && line[0] != ';') return line.starts_with("RCLONE_ENCRYPT_V");
    return false;
}

std::unique_ptr<platform::SecretStore> secretStore() {
    auto store = backends::secret::makeSecretService();
    if (!store) throw std::runtime_error("this program was built without the desktop's secret store");
    return store;
}

// Whether rclone can read its configuration with that.
bool isRight(const std::vector<std::string>& environment) {
    backends::posix::ChildProcess rclone({rcloneProgram, environment, true, {"listremotes"}});
    while (rclone.readLine(std::nullopt)) {
    }
    return rclone.wait() == 0;
}

} // namespace

std::vector<std::string> rcloneEnvironment(platform::ProcessLog& log) {
    std::vector<std::string> all = environment();
    // With it rclone refuses every S3 storage: its HTTP client is not one that this variable could change.
    // Certificates of a person's own are RCLONE_CA_CERT's.
    std::erase_if(all, [](const std::string& entry) { return entry.starts_with("AWS_CA_BUNDLE="); });
    if (!hasVariable(all, "RCLONE_ASK_PASSWORD="))
        all.emplace_back("RCLONE_ASK_PASSWORD=false"); // of no terminal
    if (hasVariable(all, passwordVariable) || hasVariable(all, "RCLONE_PASSWORD_COMMAND=") ||
        !isEncrypted(configurationFile()))
        return all;
    const auto store = secretStore();
    const auto password = keychain::QkKeychainGetGenericPassword({*store, log}, {}, passwordEntry);
    if (!password)
        throw std::runtime_error(
            "rclone's configuration is encrypted, and the desktop's secret store does not "
            "give its password; to store it: tsyncquenz password");
    all.push_back(passwordVariable + std::string(password->view()));
    return all;
}

int storePassword() {
    const fs::path configuration = configurationFile();
    if (!isEncrypted(configuration))
        throw std::runtime_error("rclone's configuration is not encrypted: " + configuration.string());
    const auto password =
        apps::tsyncfinder::readSecret(STDIN_FILENO, "Password of rclone's configuration: ", false);
    if (!password || password->view().empty()) throw std::runtime_error("no password was given");
    std::vector<std::string> all = environment();
    std::erase_if(all, [](const std::string& entry) { return entry.starts_with(passwordVariable); });
    all.emplace_back("RCLONE_ASK_PASSWORD=false");
    all.push_back(passwordVariable + std::string(password->view()));
    if (!isRight(all)) throw std::runtime_error("rclone cannot read its configuration with this password");
    backends::log::StandardErrorLog log("tsyncquenz", platform::LogLevel::error);
    const auto store = secretStore();
    const keychain::KeychainServices services{*store, log};
    const bool isThere = keychain::QkKeychainDoesGenericEntryExist(services, {}, passwordEntry) ||
                         keychain::QkKeychainAddGenericEntry(services, {}, passwordEntry);
    if (!isThere || !keychain::QkKeychainSetGenericPassword(services, {}, passwordEntry, password->view()))
        throw std::runtime_error("the desktop's secret store does not take the password");
    std::cout << "Stored in the desktop's secret store, as \"" << passwordEntry << "\".\n";
    return EXIT_SUCCESS;
}

} // namespace apps::tsyncquenz
