#include "apps/tsyncfinder/doctor/checks.h"
#include "apps/tsyncfinder/doctor/run_program.h"
#include "apps/tsyncfinder/sync_service.h"
#include "apps/tsyncquenz/settings.h"
#include "platform/json.h"

#include <array>
#include <cstdio>
#include <set>

namespace apps::tsyncfinder::doctor {
namespace {

using platform::Dictionary;

constexpr std::chrono::seconds versionBound{3};
constexpr std::chrono::seconds storageBound{10};
constexpr std::array<int, 2> oldestRclone{1, 60};

std::string textIn(const Dictionary& entries, const char* key) {
    const std::string* text = platform::textAt(entries, key);
    return text != nullptr ? *text : std::string();
}

Finding checkRclone() {
    const auto answer = runProgram({"rclone", "version"}, versionBound);
    if (!answer || answer->status != 0)
        return {State::problem, "rclone",
                "rclone is missing or does not start: the service reaches no storage.",
                "Install it: apt install rclone"};
    const std::string line = answer->output.substr(0, answer->output.find('\n'));
    std::array<int, 2> version{};
    if (std::sscanf(line.c_str(), "rclone v%d.%d", &version[0], &version[1]) != 2) // NOLINT(cert-err34-c)
        return {State::warning, "rclone", "rclone does not tell its version: " + line,
                "Install the distribution's: apt install rclone"};
    if (version < oldestRclone)
        return {State::problem, "rclone", line + " is older than 1.60, the oldest that the service can use.",
                "Install a newer one: apt install rclone"};
    return {State::ok, "rclone", line, ""};
}

// What the service itself says of its storage and its folders.
Findings pairsOf(const Dictionary& status) {
    Findings findings;
    std::set<std::string> reasons; // a storage that is away fails all its folders alike
    std::size_t leftOut = 0;
    const platform::Array* pairs = platform::arrayAt(status, "pairs");
    for (const platform::Value& value : pairs != nullptr ? *pairs : platform::Array()) {
        const Dictionary* pair = value.dictionary();
        if (pair == nullptr) continue;
        if (textIn(*pair, "state") == "failed" && reasons.insert(textIn(*pair, "reason")).second)
            findings.push_back({State::problem, "storage",
                                textIn(*pair, "localPath") + ": " + textIn(*pair, "reason"),
                                "When that is mended, it goes on at once with: tsyncquenz resume"});
        if (const platform::Array* problems = platform::arrayAt(*pair, "problems"))
            leftOut += problems->size();
    }
    if (findings.empty())
        findings.push_back({State::ok, "storage", "The service uses " + textIn(status, "storage"), ""});
    if (leftOut > 0)
        findings.push_back({State::warning, "storage", std::to_string(leftOut) + " items are not synced.",
                            "See which and why: tsyncquenz problems"});
    if (pairs == nullptr || pairs->empty())
        findings.push_back(
            {State::warning, "storage", "No folder is synced yet.", "Choose one: tsyncquenz add FOLDER"});
    return findings;
}

// A storage that is written out may hold a password, which is for no command line.
Finding tryStorage(const std::string& storage) {
    if (storage.starts_with(':'))
        return {State::ok, "storage", "A storage is set up; it is not tried while the service does not run",
                ""};
    const auto answer =
        runProgram({"rclone", "lsf", "--max-depth", "1", "--ask-password=false", "--contimeout", "5s",
                    "--timeout", "5s", "--retries", "1", "--low-level-retries", "1", storage},
                   storageBound);
    if (answer && answer->status == 0) return {State::ok, "storage", storage + " can be reached", ""};
    const bool isEncrypted = answer && answer->output.find("decrypt configuration") != std::string::npos;
    if (isEncrypted)
        return {State::ok, "storage",
                storage +
                    " is set up; rclone's configuration is encrypted, so it is tried by the service only",
                ""};
    return {State::problem, "storage", storage + " cannot be reached.", "See why: rclone lsd " + storage};
}

} // namespace

Findings checkService() {
    const SyncService service = lookAtSyncService();
    if (!service.isInstalled) {
        if (service.hasOtherDaemon)
            return {{State::ok, "service", "tsyncquenz is not installed; another daemon serves this session",
                     ""}};
        return {
            {State::warning, "service", "The sync service, tsyncquenz, is not installed.", service.advice}};
    }
    Findings findings{checkRclone()};
    if (!service.storage) {
        findings.push_back({State::warning, "service", "tsyncquenz is installed, and no storage is set up.",
                            "Choose one: tsyncquenz setup"});
        return findings;
    }
    if (service.status) {
        findings.push_back({State::ok, "service", "tsyncquenz runs", ""});
        for (Finding& finding : pairsOf(*service.status))
            findings.push_back(std::move(finding));
        return findings;
    }
    if (service.hasOtherDaemon)
        findings.push_back(
            {State::warning, "service",
             "Another daemon, the stand-in perhaps, has the sync service's name: tsyncquenz cannot run.",
             service.advice});
    else
        findings.push_back(
            {State::warning, "service", "tsyncquenz is set up and does not run.", service.advice});
    findings.push_back(tryStorage(*service.storage));
    return findings;
}

} // namespace apps::tsyncfinder::doctor
