// How far a scan is, on one line of standard error that is drawn again and again.
#pragma once

#include "snapshot/scan/Asking.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace dirsnapshot_tool {

// Shows while it lives what the threads of a scan have examined, from a thread of its own: the scan knows
// nothing of it. The line is gone afterwards. A scan that is over at once shows none.
class Progress {
  public:
    // `expected`: about how many items there will be; 0 when that is not known.
    Progress(const snapshot::Asking& asking, uint64_t expected);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

  private:
    void show();

    const snapshot::Asking& _asking;
    const uint64_t _expected;
    std::mutex _mutex;
    std::condition_variable _changed;
    bool _isOver = false; // guarded by the mutex
    std::thread _thread;
};

// The line after so many items in so much time: with a bar and the time left as long as the number that is
// expected is not reached, else counts.
std::string progressLine(uint64_t items, uint64_t expected, std::chrono::duration<double> elapsed);

} // namespace dirsnapshot_tool
