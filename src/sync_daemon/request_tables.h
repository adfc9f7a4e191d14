// Which message asks the daemon for what: one table for each theme, and the typed look at arguments that they
// share. The messages arrive with arguments of the types that the protocol gives them; a missing one counts
// as "" or false.
#pragma once

#include "platform/RequestConnection.h"
#include "platform/Value.h"
#include "sync_daemon/SyncDaemon.h"

#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

namespace sync_daemon {

// What a request waits for, and so may delay: each lane is a queue (Requests.h).
enum class Lane : std::uint8_t {
    quick,   // nothing but the daemon's own state
    folders, // a folder's list, which a menu or a panel waits for
    changes, // of items of the space, in the order in which they were asked for
    slow,    // reads more than a folder, or makes something of it
};

struct RequestEntry {
    std::string_view message;
    platform::Reply (*answer)(SyncDaemon& daemon, const platform::Array& arguments);
    Lane lane = Lane::quick;
};

std::span<const RequestEntry> statusRequests(); // the client, the status and what is pending
std::span<const RequestEntry> pairRequests();   // pairs, exclusions, events
std::span<const RequestEntry> itemRequests();   // items of the space

inline std::string_view text(const platform::Array& arguments, std::size_t position) {
    const std::string* found = position < arguments.size() ? arguments[position].string() : nullptr;
    return found ? std::string_view(*found) : std::string_view();
}
inline bool flag(const platform::Array& arguments, std::size_t position) {
    const bool* found = position < arguments.size() ? arguments[position].boolean() : nullptr;
    return found && *found;
}

platform::Reply valueReply(platform::Value value);
platform::Reply listReply(const std::vector<std::string>& strings);
platform::Reply flagReply(bool answer, std::optional<bool> baseFlag = std::nullopt);
template <typename T>
platform::Reply valueOrNone(std::optional<T> value) {
    if (value) return valueReply(std::move(*value));
    return {platform::Reply::Kind::none, {}, std::nullopt};
}
// The replies to a message without a reply value: done, or refused, which only a caller that waits for the
// end learns.
platform::Reply done(bool isDone = true);

} // namespace sync_daemon
