#include "apps/tsyncquenz/commands.h"

#include "apps/tsyncquenz/settings.h"
#include "apps/usage.h"
#include "backends/dbus/Bus.h"
#include "backends/dbus/DistributedCenter.h"
#include "backends/dbus/SyncServiceInterface.h"
#include "backends/log/StandardErrorLog.h"
#include "platform/json.h"
#include "protocol/names.h"
#include "sync_daemon/paths.h"

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <unistd.h>
#include <vector>

namespace apps::tsyncquenz {
namespace {

namespace fs = std::filesystem;
using platform::Dictionary;

// The bus would start a service that ends at once.
backends::dbus::SyncServiceClient connected() {
    if (!storage()) throw std::runtime_error(notSetUp);
    return backends::dbus::SyncServiceClient();
}

std::string localPathOf(const std::string& folder) {
    return sync_daemon::plainLocalPath(fs::absolute(folder).string());
}

std::vector<Dictionary> pairsIn(const Dictionary& status) {
    std::vector<Dictionary> pairs;
    const platform::Array* all = platform::arrayAt(status, "pairs");
    for (const platform::Value& pair : all != nullptr ? *all : platform::Array())
        if (pair.dictionary() != nullptr) pairs.push_back(*pair.dictionary());
    return pairs;
}

std::string textIn(const Dictionary& entries, const char* key) {
    const std::string* text = platform::textAt(entries, key);
    return text != nullptr ? *text : std::string();
}

// For a terminal: a name must not steer it.
std::string printable(std::string text) {
    for (char& byte : text)
        if (static_cast<unsigned char>(byte) < ' ' || byte == '\x7f') byte = '?';
    return text;
}

// "12.3 MB"
std::string amount(double bytes) {
    const char* const units[] = {"bytes", "kB", "MB", "GB", "TB"};
    constexpr double step = 1000;
    std::size_t unit = 0;
    while (bytes >= step && unit + 1 < std::size(units)) {
        bytes /= step;
        ++unit;
    }
    char text[32];
    std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", bytes, units[unit]);
    return text;
}

// "" when nothing waits for a word.
std::string sentenceOfWaiting(const Dictionary& pair) {
    const Dictionary* waiting = platform::dictionaryAt(pair, "waiting");
    if (waiting == nullptr) return {};
    const std::string count = std::to_string(platform::numberAt(*waiting, "count").value_or(0));
    const std::int64_t toRead = platform::numberAt(*waiting, "toRead").value_or(0);
    if (toRead > 0)
        return count + " files wait for your word, " + amount(static_cast<double>(toRead)) +
               " of them to be read from the storage and compared: tsyncquenz confirm";
    return count + " files would be lost and wait for your word: tsyncquenz confirm";
}

void printWaiting(const Dictionary& pair, const Dictionary& waiting) {
    const std::string local = textIn(pair, "localPath");
    const std::string remote = textIn(pair, "remotePath");
    const platform::Array* files = platform::arrayAt(waiting, "files");
    std::int64_t shown = 0;
    for (const platform::Value& file : files != nullptr ? *files : platform::Array()) {
        const Dictionary* entry = file.dictionary();
        if (entry == nullptr) continue;
        ++shown;
        const bool isReplaced = platform::flagAt(*entry, "isReplaced").value_or(false);
        const bool isRead = platform::numberAt(*entry, "toRead").value_or(0) > 0;
        std::cout << (isRead       ? "read and compare  "
                      : isReplaced ? "replace by an older version  "
                                   : "delete  ")
                  << printable((textIn(*entry, "side") == "here" ? local : remote) + "/" +
                               textIn(*entry, "path"))
                  << '\n';
    }
    const std::int64_t all = platform::numberAt(waiting, "count").value_or(shown);
    if (all > shown) std::cout << "and " << all - shown << " more\n";
}

// Whether a person types that it is meant.
bool isMeant() {
    std::cout << "Is that meant? [y/N] " << std::flush;
    std::string answer;
    return std::getline(std::cin, answer) && (answer == "y" || answer == "Y" || answer == "yes");
}

// A bar of what is being transferred now; "" when nothing is. What waits behind it is not known in bytes.
std::string progressLine(const Dictionary& status) {
    const platform::Value* value = platform::find(status, "inHand");
    const Dictionary* inHand = value != nullptr ? value->dictionary() : nullptr;
    if (inHand == nullptr) return {};
    const auto number = [inHand](const char* key) {
        return static_cast<double>(platform::numberAt(*inHand, key).value_or(0));
    };
    const double share = number("size") > 0 ? number("bytes") / number("size") : 0;
    constexpr int width = 24;
    const auto full = static_cast<std::size_t>(share * width);
    std::string line = "[" + std::string(full, '#') + std::string(width - full, '.') + "] ";
    line += std::to_string(static_cast<int>(share * 100)) + " %, " + amount(number("bytes")) + " of " +
            amount(number("size"));
    if (number("bytesPerSecond") > 0) line += ", " + amount(number("bytesPerSecond")) + "/s";
    line += ", " + std::to_string(static_cast<int>(number("files"))) + " in hand";
    return line;
}

void print(const Dictionary& status, std::ostream& output) {
    output << "Storage: " << printable(textIn(status, "storage")) << '\n';
    if (platform::flagAt(status, "isPaused").value_or(false)) output << "Paused: tsyncquenz resume\n";
    const auto pairs = pairsIn(status);
    if (pairs.empty()) output << "No folder is synced yet: tsyncquenz add FOLDER\n";
    for (const Dictionary& pair : pairs) {
        std::string line =
            textIn(pair, "localPath") + " <-> " + textIn(pair, "remotePath") + ": " + textIn(pair, "state");
        if (const std::string reason = textIn(pair, "reason"); !reason.empty()) line += ", " + reason;
        for (const char* key : {"uploading", "downloading"})
            if (const std::string path = textIn(pair, key); !path.empty())
                line += std::string(", ") + key + " " + path;
        const platform::Array* problems = platform::arrayAt(pair, "problems");
        if (problems != nullptr && !problems->empty())
            line += ", " + std::to_string(problems->size()) + " not synced: tsyncquenz problems";
        if (const std::string waiting = sentenceOfWaiting(pair); !waiting.empty()) line += ", " + waiting;
        output << printable(line) << '\n';
    }
    if (const std::string line = progressLine(status); !line.empty()) output << line << '\n';
}

// Whether something is transferred.
bool show(backends::dbus::SyncServiceClient& client, bool isJson, std::ostream& output) {
    const Dictionary status = client.status();
    if (isJson)
        output << platform::jsonDescription(status) << '\n';
    else
        print(status, output);
    return status.contains("inHand");
}

// Until the service goes or nobody reads any more.
int watch(backends::dbus::SyncServiceClient& client, bool isJson) {
    backends::log::StandardErrorLog log("tsyncquenz", platform::LogLevel::error);
    backends::dbus::Bus bus("status");
    backends::dbus::DistributedCenter center(bus, log);
    std::mutex lock;
    std::condition_variable changed;
    bool isNew = false;
    bool isLost = false;
    const auto tell = [&](bool& what) {
        const std::lock_guard guard(lock);
        what = true;
        changed.notify_all();
    };
    const auto subscription =
        center.addObserver(TSYNC_NOTE_SYNC_REFRESH, [&](const platform::Notification&) { tell(isNew); });
    bus.start([&] { tell(isLost); });
    const bool redraws = !isJson && ::isatty(STDOUT_FILENO) != 0;
    for (;;) {
        std::ostringstream text;
        const bool isMoving = show(client, isJson, text);
        if (redraws) std::cout << "\x1b[H\x1b[2J"; // to the top of an empty screen
        std::cout << text.str();
        if (!flushOutput("tsyncquenz")) return usageTrouble;
        std::unique_lock guard(lock);
        // Bytes come without being told; nothing is asked while nothing moves.
        if (isMoving)
            changed.wait_for(guard, std::chrono::seconds(1), [&] { return isNew || isLost; });
        else
            changed.wait(guard, [&] { return isNew || isLost; });
        if (isLost) throw std::runtime_error("the session bus has gone");
        isNew = false;
    }
}

} // namespace

int addFolder(const std::string& folder, const std::string& remote) {
    const std::string local = localPathOf(folder);
    std::string place = remote.empty() ? fs::path(local).filename().string() : remote;
    if (!place.starts_with('/')) place.insert(0, 1, '/');
    connected().add(local, place);
    std::cout << printable(local) << " is kept in step with " << printable(place) << '\n';
    return EXIT_SUCCESS;
}

int removeFolder(const std::string& folder) {
    auto client = connected();
    const std::string local = localPathOf(folder);
    for (const Dictionary& pair : pairsIn(client.status())) {
        if (textIn(pair, "localPath") != local) continue;
        client.remove(textIn(pair, "remotePath"));
        std::cout << printable(local) << " is no longer synced; nothing was deleted\n";
        return EXIT_SUCCESS;
    }
    throw std::runtime_error("no synced folder: " + local);
}

int showStatus(bool isJson, bool watches) {
    auto client = connected();
    if (watches) return watch(client, isJson);
    show(client, isJson, std::cout);
    return EXIT_SUCCESS;
}

int setPaused(bool pause) {
    connected().setPaused(pause);
    return EXIT_SUCCESS;
}

int showProblems() {
    auto client = connected();
    for (const Dictionary& pair : pairsIn(client.status())) {
        const std::string local = textIn(pair, "localPath");
        if (const std::string reason = textIn(pair, "reason"); !reason.empty())
            std::cout << printable(local) << ": " << printable(reason) << '\n';
        if (const std::string waiting = sentenceOfWaiting(pair); !waiting.empty())
            std::cout << printable(local) << ": " << printable(waiting) << '\n';
        const platform::Array* problems = platform::arrayAt(pair, "problems");
        for (const platform::Value& problem : problems != nullptr ? *problems : platform::Array())
            if (const Dictionary* entry = problem.dictionary())
                std::cout << printable(local) << '/' << printable(textIn(*entry, "path")) << ": "
                          << printable(textIn(*entry, "reason")) << '\n';
    }
    return EXIT_SUCCESS;
}

int confirmLosses(const std::string& folder, bool isSure) {
    auto client = connected();
    const std::string local = folder.empty() ? std::string() : localPathOf(folder);
    bool isFound = false;
    for (const Dictionary& pair : pairsIn(client.status())) {
        if (!local.empty() && textIn(pair, "localPath") != local) continue;
        isFound = true;
        const Dictionary* waiting = platform::dictionaryAt(pair, "waiting");
        if (waiting == nullptr) continue;
        printWaiting(pair, *waiting);
        if (!isSure && !isMeant()) {
            std::cout << "Left as it is\n";
            continue;
        }
        client.confirm(textIn(pair, "remotePath"), textIn(*waiting, "list"));
        std::cout << "Confirmed\n";
    }
    if (!isFound && !local.empty()) throw std::runtime_error("no synced folder: " + local);
    return EXIT_SUCCESS;
}

int restoreItem(const std::string& path) {
    auto client = connected();
    std::string remote = path;
    const std::string local = localPathOf(path);
    for (const Dictionary& pair : pairsIn(client.status())) {
        const std::string root = textIn(pair, "localPath");
        if (sync_daemon::isAtOrBelow(local, root))
            remote = textIn(pair, "remotePath") + local.substr(root.size());
    }
    const std::string place = client.restore(remote);
    std::cout << printable(place) << " is in the space again; a synced folder gets it from there\n";
    return EXIT_SUCCESS;
}

int configure(const std::string& key, const std::string& value) {
    if (!value.empty()) setOption(key, value);
    const Options now = options();
    bool isKnown = false;
    for (const auto& [name, text] :
         {std::pair("bandwidth", now.bandwidth), {"transfers", std::to_string(now.transfers)}})
        if (key.empty() || key == name) {
            std::cout << name << ": " << text << '\n';
            isKnown = true;
        }
    if (!isKnown) throw std::runtime_error("there is no setting \"" + key + "\"");
    return EXIT_SUCCESS;
}

int showLogLine() {
    std::cout << "journalctl --user --unit tsyncquenz.service --follow\n";
    return EXIT_SUCCESS;
}

} // namespace apps::tsyncquenz
