// Which message asks the daemon for what: one table for each theme, and the typed look at arguments that they
// share. The messages arrive with arguments of the types that the protocol gives them; a missing one counts
// as
// "" or false.
#pragma once

#include "platform/RequestConnection.h"
#include "platform/Value.h"
#include "sandbox/Daemon.h"

#include <span>
#include <string_view>
#include <utility>

namespace sandbox {

struct RequestEntry {
    std::string_view message;
    platform::Reply (*answer)(Daemon& daemon, const platform::Array& arguments);
    bool isSlow = false; // reads more than a folder: it must not delay other replies
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
// Of a message without a reply: done, or refused, of which only a caller that waits for the end learns.
platform::Reply done(bool isDone = true);

} // namespace sandbox
