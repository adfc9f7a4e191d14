// Command messages: what the extension tells the daemon to do. One is a machine-wide notification under the
// command's name (protocol/names.h) whose object is a compact JSON object (RFC 8259). There is no reply:
// whoever posts one does not learn whether the daemon acted.
#pragma once

#include "platform/DistributedNotificationCenter.h"
#include "platform/ProcessLog.h"
#include "platform/Value.h"

#include <string>
#include <vector>

namespace daemon_client {

// Posts one message; whether the bus took it. A payload with a text that is not UTF-8 cannot be written as
// JSON: that is logged, and nothing is posted.
bool postCommand(platform::DistributedNotificationCenter& center, platform::ProcessLog& log,
                 const std::string& name, const platform::Dictionary& payload);

// The payload of the command that shares an item with people. The path is remote, although its key says
// otherwise.
platform::Dictionary sharePayload(const std::string& remotePath, bool isDirectory,
                                  const std::vector<std::string>& recipients);

} // namespace daemon_client
