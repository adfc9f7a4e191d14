// Copies one regular file with its permissions and its time of change: received beside, renamed when whole,
// so that nobody ever sees half of it.
#pragma once

#include "platform/ProcessLog.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

namespace sandbox {

struct FileTransfer {
    std::string source;
    std::filesystem::path incoming;    // where it is received: on the file system of the destination
    std::filesystem::path destination; // its folder exists
    bool followsLink = false;          // the source itself may be a link; else it is not opened through one
    bool replaces = true;              // what is at the destination; else it stays, and the result is `taken`
    bool removesSource = false;        // a move: once the copy is safely on the disk
};

enum class TransferResult {
    stored,
    stopped, // as `goesOn` wanted it, or the source is no longer a regular file, or is to be moved and being
             // written
    failed,  // the log says why
    taken,
};

// Told on the copying thread. `goesOn` is asked before each chunk, with the file's size; `spent` is told how
// many bytes went over. A transfer that does not end as `stored` leaves no trace.
struct TransferControl {
    std::uint64_t chunk = 0; // bytes at a time
    std::function<bool(std::uint64_t size)> goesOn;
    std::function<void(std::uint64_t bytes)> spent;
};

TransferResult transferFile(const FileTransfer& transfer, const TransferControl& control,
                            platform::ProcessLog& log);

} // namespace sandbox
