#include "sync_daemon/State.h"

#include "platform/json.h"
#include "sync_daemon/paths.h"
#include "sync_daemon/writing.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <optional>
#include <vector>

namespace sync_daemon {
namespace {

namespace fs = std::filesystem;

constexpr std::int64_t stateVersion = 1;

// Calls the predicate with the path and then with each folder above it, "/" last, until one holds.
template <typename Predicate>
bool anyAtOrAbove(std::string_view path, Predicate holds) {
    while (!holds(path)) {
        const std::size_t separator = path.rfind('/');
        if (path.size() <= 1 || separator == std::string_view::npos) return false;
        path = path.substr(0, std::max<std::size_t>(separator, 1));
    }
    return true;
}

bool isPlainRemotePath(const std::string& path) { return plainPath(path) == path; }

bool isPlainLocalPath(const std::string& path) {
    return path.size() > 1 && path.starts_with('/') && !path.ends_with('/') && isText(path) &&
           path.find('\0') == std::string::npos && fs::path(path).lexically_normal() == path;
}

// Entries that no message could have made are left out and named.
std::optional<State> stateOf(const platform::Value& value, std::vector<std::string>& leftOut) {
    const platform::Dictionary* entries = value.dictionary();
    if (!entries) return std::nullopt;
    const platform::Value* version = find(*entries, "version");
    if (!version || *version != platform::Value(stateVersion)) return std::nullopt;
    State state;
    state.paused = platform::flagAt(*entries, "paused").value_or(state.paused);
    const platform::Dictionary* pairs = platform::dictionaryAt(*entries, "pairs");
    for (const auto& [remote, local] : pairs ? *pairs : platform::Dictionary()) {
        if (local.string() && remote != "/" && isPlainRemotePath(remote) && isPlainLocalPath(*local.string()))
            state.pairs.emplace(remote, *local.string());
        else
            leftOut.push_back(platform::jsonDescription(remote));
    }
    const platform::Array* excluded = platform::arrayAt(*entries, "excluded");
    for (const platform::Value& path : excluded ? *excluded : platform::Array()) {
        if (path.string() && isPlainRemotePath(*path.string()))
            state.excluded.insert(*path.string());
        else
            leftOut.push_back(platform::jsonDescription(path));
    }
    return state;
}

} // namespace

bool State::isExcluded(std::string_view remotePath) const {
    return anyAtOrAbove(remotePath, [this](std::string_view path) { return excluded.contains(path); });
}

bool State::isInSync(std::string_view remotePath) const {
    return anyAtOrAbove(remotePath, [this](std::string_view path) { return pairs.contains(path); });
}

State loadState(const fs::path& file, platform::ProcessLog& log) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) return {};
    const std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    const fs::path aside = file.string() + ".unreadable";
    std::error_code error;
    std::vector<std::string> leftOut;
    if (const std::optional<platform::Value> value = platform::valueOfJson(text))
        if (std::optional<State> state = stateOf(*value, leftOut)) {
            for (const std::string& entry : leftOut)
                log.error(
                    "Left out of the state, not a path in the space or not the path of a local folder: ",
                    entry, "; the file is kept as ", aside.string());
            if (!leftOut.empty()) fs::copy_file(file, aside, fs::copy_options::overwrite_existing, error);
            return *std::move(state);
        }
    fs::rename(file, aside, error);
    log.error("The state in ", file.string(), " cannot be understood; it is kept as ", aside.string(),
              " and the daemon starts without pairs");
    return {};
}

bool saveState(const State& state, const fs::path& file, platform::ProcessLog& log) {
    platform::Dictionary pairs;
    for (const auto& [remote, local] : state.pairs)
        pairs.emplace(remote, local);
    const platform::Dictionary entries{
        {"version", stateVersion},
        {"paused", state.paused},
        {"pairs", std::move(pairs)},
        {"excluded", platform::Array(state.excluded.begin(), state.excluded.end())},
    };
    // Every path in it was taken from a message, so it is UTF-8 and the text exists.
    if (!replaceOnDisk(file, platform::jsonText(entries).value() + '\n')) {
        log.error("Cannot write the state to ", file.string(), "; a restart will not know the last change");
        return false;
    }
    return true;
}

} // namespace sync_daemon
