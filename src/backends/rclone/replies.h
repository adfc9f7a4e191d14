// What rclone's remote control answers, read into values. A reply is foreign text: whatever is missing or of
// the wrong type makes it a failure, never a guess.
//
// Source: the remote control's own help (`rclone help`, "rc"), JSON over HTTP.
#pragma once

#include "service/RemoteSpace.h"

#include <string_view>

namespace backends::rclone {

using service::Outcome;

// `status` is HTTP's. A reply that is an error becomes a failure, with rclone's own words alone: its echo of
// the question is left out, since that names the storage.
service::Failure readFailure(long status, std::string_view body);

Outcome<std::vector<service::RemoteItem>> readList(std::string_view body);
Outcome<std::optional<service::RemoteItem>> readItem(std::string_view body);
Outcome<service::Features> readFeatures(std::string_view body);
Outcome<service::Quota> readQuota(std::string_view body);
Outcome<std::string> readLink(std::string_view body);
// What is being transferred now.
struct Progress {
    std::uint64_t files = 0;
    std::uint64_t bytes = 0; // of these files, so far
    std::uint64_t size = 0;  // of these files
    double bytesPerSecond = 0;
};
Outcome<Progress> readProgress(std::string_view body);
// The version as numbers, of a text such as "v1.60.1-DEV".
Outcome<std::vector<int>> readVersion(std::string_view body);

// Nanoseconds since 1970 of a time as RFC 3339 writes it; none when it is not one.
std::optional<std::int64_t> readTime(std::string_view text);

} // namespace backends::rclone
