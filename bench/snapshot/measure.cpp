#include "bench/snapshot/measure.h"

#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

namespace bench {

namespace {

int missedCount = 0;
Clock chosenClock = Clock::wall;

double secondsOf(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

} // namespace

void setClock(Clock clock) { chosenClock = clock; }
Clock clockInUse() { return chosenClock; }

double now() {
    timespec time;
    clock_gettime(chosenClock == Clock::wall ? CLOCK_MONOTONIC : CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

std::optional<double> inChild(const std::function<double()>& work) {
    int ends[2];
    if (pipe(ends) != 0) return std::nullopt;
    fflush(stdout);
    pid_t child = fork();
    if (child == 0) {
        double result = work();
        _exit(write(ends[1], &result, sizeof(result)) == sizeof(result) ? 0 : 1);
    }
    close(ends[1]);
    double result = 0;
    bool got = read(ends[0], &result, sizeof(result)) == sizeof(result);
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (!got || status != 0) return std::nullopt;
    return result;
}

std::optional<double> durationOf(const std::vector<std::string>& command) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& argument : command)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = 0;
    int status = 1;
    rusage usage = {};
    double start = now();
    if (posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ) == 0)
        wait4(child, &status, 0, &usage);
    double duration =
        chosenClock == Clock::wall ? now() - start : secondsOf(usage.ru_utime) + secondsOf(usage.ru_stime);
    posix_spawn_file_actions_destroy(&actions);
    if (status != 0) return std::nullopt;
    return duration;
}

bool isInstalled(const std::string& program) {
    const char* path = getenv("PATH");
    std::string rest = path != nullptr ? path : "";
    while (!rest.empty()) {
        size_t end = std::min(rest.find(':'), rest.size());
        if (access((rest.substr(0, end) + "/" + program).c_str(), X_OK) == 0) return true;
        rest.erase(0, end + 1);
    }
    return false;
}

double median(std::vector<double> values) {
    if (values.empty()) return 0;
    std::ranges::sort(values);
    return values[values.size() / 2];
}

std::vector<double> compare(const std::string& title, const std::vector<Contender>& contenders, int rounds,
                            const std::function<void()>& before) {
    std::vector<std::vector<double>> all(contenders.size());
    for (int round = 0; round <= rounds; round++) {
        for (size_t i = 0; i < contenders.size(); i++) {
            if (before) before();
            std::optional<double> measured = inChild(contenders[i].run);
            if (round > 0 && measured && *measured >= 0) all[i].push_back(*measured);
        }
    }
    std::vector<double> medians;
    medians.reserve(all.size());
    for (const std::vector<double>& values : all)
        medians.push_back(median(values));
    for (size_t i = 1; i < contenders.size(); i++) {
        const Contender& other = contenders[i];
        if (medians[i] == 0) {
            printf("%-34s %-28s failed\n", title.c_str(), other.name.c_str());
            continue;
        }
        double ratio = other.isBound ? medians[0] / medians[i] : medians[i] / medians[0];
        printRatio(title, other.name, medians[0], medians[i], ratio, other.limit, other.isBound);
    }
    return medians;
}

void printRatio(const std::string& title, const std::string& against, double engine, double other,
                double ratio, double limit, bool isBound) {
    bool isHeld = limit <= 0 || (isBound ? ratio <= limit : ratio >= limit);
    if (!isHeld) missedCount++;
    printf("%-34s %-28s %10.4f %10.4f   %s %6.3f", title.c_str(), against.c_str(), engine, other,
           isBound ? "takes" : "beats", ratio);
    if (limit > 0)
        printf("   %s %.3f  %s", isBound ? "at most" : "at least", limit, isHeld ? "held" : "MISSED");
    printf("\n");
    fflush(stdout);
}

int missed() { return missedCount; }

} // namespace bench
