// How far a long work is, on one line of standard error that is drawn again and again.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace dirsnapshot_tool {

// Shows while it lives how much is done, from a thread of its own: the work itself knows nothing of it. The
// line is gone afterwards. What is over at once shows none.
class Progress {
  public:
    // `done` says how much, in units of this name. `expected`: about how much there will be; 0 when that is
    // not known.
    Progress(std::function<uint64_t()> done, uint64_t expected, const char* unit);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

  private:
    void show();

    const std::function<uint64_t()> _done;
    const uint64_t _expected;
    const char* const _unit;
    std::mutex _mutex;
    std::condition_variable _changed;
    bool _isOver = false; // guarded by the mutex
    std::thread _thread;
};

// The line when so much was done in so much time: with a bar and the time left as long as what is expected is
// not reached, else counts.
std::string progressLine(uint64_t done, uint64_t expected, std::chrono::duration<double> elapsed,
                         const char* unit);

} // namespace dirsnapshot_tool
