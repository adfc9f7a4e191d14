// Measuring contenders side by side: each in a process of its own, so that none warms or litters another's
// heap, in turns, so that a busy moment of the machine meets them all, and by the median of several rounds.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace bench {

// Which time is measured. On a machine that is busy with other work, processor time shows what a contender on
// one thread with a warm cache would take; it says nothing about threads or waiting.
enum class Clock { wall, processor };
void setClock(Clock clock);
Clock clockInUse();

// Seconds on that clock.
double now();

struct Contender {
    std::string name;
    std::function<double()> run; // does the work once, in a child process, and returns what it measured
    double limit = 0;            // the factor of `isBound`; 0: the ratio is only shown
    bool isBound = false;        // a lower bound, of which the engine may take `limit` times as long; else a
                                 // peer, which the engine must beat by `limit`
};

// Runs one function in a child process and brings its number back; none when the child died.
std::optional<double> inChild(const std::function<double()>& work);

// The command's duration in seconds, its output thrown away; none when it fails. The first string is the
// program.
std::optional<double> durationOf(const std::vector<std::string>& command);

// Whether a program is on the path.
bool isInstalled(const std::string& program);

// Measures all, the first of which is the engine, in `rounds` turns, after one that does not count; prints a
// row for each other contender and says whether its limit holds. `before` is run before each measurement.
// Returns the medians in the order of the contenders (0 for one that failed).
std::vector<double> compare(const std::string& title, const std::vector<Contender>& contenders, int rounds,
                            const std::function<void()>& before = {});

// Prints a ratio with its limit, if it has one, and counts it as held or missed.
void printRatio(const std::string& title, const std::string& against, double engine, double other,
                double ratio, double limit, bool isBound);

// How many ratios missed their limit so far.
int missed();

double median(std::vector<double> values);

} // namespace bench
