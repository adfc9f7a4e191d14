#include "apps/dirsnapshot/SignalsAfterwards.h"

namespace dirsnapshot_tool {

namespace {

volatile sig_atomic_t first = 0;

void keep(int signal) {
    if (first == 0) first = signal;
}

} // namespace

SignalsAfterwards::SignalsAfterwards() {
    first = 0;
    struct sigaction kept {};
    kept.sa_handler = keep; // without SA_RESTART
    for (size_t i = 0; i < kSignals.size(); i++) {
        sigaction(kSignals[i], nullptr, &_before[i]);
        if (_before[i].sa_handler != SIG_IGN) sigaction(kSignals[i], &kept, nullptr); // nohup's stays
    }
}

SignalsAfterwards::~SignalsAfterwards() {
    for (size_t i = 0; i < kSignals.size(); i++)
        sigaction(kSignals[i], &_before[i], nullptr);
    if (first != 0) raise(first);
}

} // namespace dirsnapshot_tool
