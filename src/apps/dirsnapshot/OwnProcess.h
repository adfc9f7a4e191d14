// Asking the disk in a process that can be left behind.
#pragma once

#include "snapshot/scan/Asking.h"

#include <chrono>
#include <functional>
#include <initializer_list>

namespace dirsnapshot_tool {

// To be used while this process has one thread.
class OwnProcess {
  public:
    // `timeout`: seconds for which one question may be without an answer.
    explicit OwnProcess(double timeout);
    ~OwnProcess();
    OwnProcess(const OwnProcess&) = delete;
    OwnProcess& operator=(const OwnProcess&) = delete;

    // Runs the work in a child process, which says in `asking` what it is at. The child keeps the given
    // descriptors, and no other: one that stays in the kernel for ever must not keep a pipe of this process's
    // open. What it writes to standard error is passed on. Returns its result, which must be below 200; -1
    // after a message when a question had no answer in time, when the child failed or could not be made.
    //
    // The child ends with this process. One that cannot end goes when the kernel lets go of it, or with the
    // machine; nobody waits for it.
    int run(const std::function<int(snapshot::Asking& asking)>& work, std::initializer_list<int> descriptors);

  private:
    using Clock = std::chrono::steady_clock;
    struct Watched;

    [[noreturn]] void runChild(const std::function<int(snapshot::Asking& asking)>& work,
                               std::initializer_list<int> descriptors, int said) const;
    bool passOn(int from) const;
    int giveUp(const char* directory, int child) const;

    Clock::duration _timeout;
    snapshot::Asking* _asking = nullptr; // in memory that both processes see; NULL when there is none
};

} // namespace dirsnapshot_tool
