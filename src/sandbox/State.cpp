#include "sandbox/State.h"

#include "platform/Json.h"
#include "sandbox/Space.h"

#include <fstream>
#include <iterator>
#include <optional>

namespace sandbox {
namespace {

namespace fs = std::filesystem;

constexpr std::int64_t stateVersion = 1;

// Calls the predicate with the path and then with each folder above it, "/" last, until one holds.
template <typename Predicate>
bool anyAtOrAbove(std::string_view path, Predicate holds) {
    while (true) {
        if (holds(path)) return true;
        if (path == "/") return false;
        const std::size_t separator = path.rfind('/');
        path = separator == 0 ? "/" : path.substr(0, separator);
    }
}

std::optional<State> stateOf(const platform::Value& value) {
    const platform::Dictionary* entries = value.dictionary();
    if (!entries) return std::nullopt;
    const platform::Value* version = find(*entries, "version");
    if (!version || *version != platform::Value(stateVersion)) return std::nullopt;
    State state;
    if (const platform::Value* paused = find(*entries, "paused"); paused && paused->boolean())
        state.paused = *paused->boolean();
    if (const platform::Value* pairs = find(*entries, "pairs"); pairs && pairs->dictionary())
        for (const auto& [remote, local] : *pairs->dictionary())
            if (local.string()) state.pairs.emplace(remote, *local.string());
    if (const platform::Value* excluded = find(*entries, "excluded"); excluded && excluded->array())
        for (const platform::Value& path : *excluded->array())
            if (path.string()) state.excluded.insert(*path.string());
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
    if (const std::optional<platform::Value> value = platform::valueOfJson(text))
        if (std::optional<State> state = stateOf(*value)) return *std::move(state);
    const fs::path aside = file.string() + ".unreadable";
    std::error_code error;
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
    const fs::path beside = file.string() + ".new";
    std::ofstream stream(beside, std::ios::binary | std::ios::trunc);
    // Every path in it was taken from a message, so it is UTF-8 and the text exists.
    stream << platform::jsonText(entries).value() << '\n';
    stream.close();
    std::error_code error;
    if (stream) fs::rename(beside, file, error);
    if (!stream || error) {
        log.error("Cannot write the state to ", file.string(), "; a restart will not know the last change");
        return false;
    }
    return true;
}

} // namespace sandbox
