#include "apps/dirsnapshot/Progress.h"

#include <sys/ioctl.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <pthread.h>
#include <unistd.h>
#include <utility>

namespace dirsnapshot_tool {

namespace {

using std::chrono::duration;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr auto kBeforeFirst = milliseconds(300);
constexpr auto kBetween = milliseconds(150);
constexpr size_t kBarWidth = 16;

// 1234567 as "1,234,567".
std::string grouped(uint64_t number) {
    std::string text = std::to_string(number);
    for (size_t at = text.size(); at > 3;)
        text.insert(at -= 3, ",");
    return text;
}

std::string minutes(double seconds) {
    const auto whole = static_cast<unsigned long long>(std::llround(seconds));
    std::array<char, 32> text;
    if (whole >= 3600)
        snprintf(text.data(), text.size(), "%llu:%02llu:%02llu", whole / 3600, whole / 60 % 60, whole % 60);
    else
        snprintf(text.data(), text.size(), "%llu:%02llu", whole / 60, whole % 60);
    return text.data();
}

size_t columns() {
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

} // namespace

std::string progressLine(uint64_t done, uint64_t expected, duration<double> elapsed, const char* unit) {
    const double rate = static_cast<double>(done) / std::max(elapsed.count(), 1e-9);
    const std::string named = std::string(" ") + unit;
    const std::string speed = grouped(static_cast<uint64_t>(rate)) + "/s";
    if (done == 0 || done > expected) return grouped(done) + named + ", " + speed;
    const double share = static_cast<double>(done) / static_cast<double>(expected);
    const auto filled = static_cast<size_t>(share * kBarWidth);
    std::array<char, 16> percent;
    snprintf(percent.data(), percent.size(), "%3.0f %%", share * 100);
    return "[" + std::string(filled, '#') + std::string(kBarWidth - filled, '-') + "] " + percent.data() +
           "  " + grouped(done) + " of about " + grouped(expected) + named + ", " + speed + ", " +
           minutes(static_cast<double>(expected - done) / rate) + " left";
}

Progress::Progress(std::function<uint64_t()> done, uint64_t expected, const char* unit)
    : _done(std::move(done)), _expected(expected), _unit(unit) {
    _thread = std::thread([this] { show(); });
    pthread_setname_np(_thread.native_handle(), "progress");
}

Progress::~Progress() {
    {
        const std::lock_guard lock(_mutex);
        _isOver = true;
    }
    _changed.notify_one();
    _thread.join();
}

void Progress::show() {
    const auto begun = steady_clock::now();
    auto next = begun + kBeforeFirst;
    bool isShown = false;
    std::unique_lock lock(_mutex);
    while (!_changed.wait_until(lock, next, [this] { return _isOver; })) {
        std::string line = progressLine(_done(), _expected, steady_clock::now() - begun, _unit);
        line.resize(std::min(line.size(), columns() - 1));
        fputs(("\r" + line + "\033[K").c_str(), stderr);
        isShown = true;
        next = steady_clock::now() + kBetween;
    }
    if (isShown) fputs("\r\033[K", stderr);
}

} // namespace dirsnapshot_tool
