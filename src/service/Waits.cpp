#include "service/Waits.h"

#include <algorithm>

namespace service {
namespace {

using std::chrono::milliseconds;

milliseconds doubled(milliseconds first, unsigned times, milliseconds most) {
    constexpr unsigned enough = 16; // doublings reach every limit here
    return std::min(most, first * (1U << std::min(times, enough)));
}

constexpr unsigned worksAtOnce = 4;
constexpr int timesTheLook = 10;

} // namespace

Waits::Duration Waits::after(Came came, Duration took) {
    using namespace std::chrono_literals;
    if (came != Came::nothing) nothings = 0;
    if (came != Came::unrest) unrests = 0;
    if (came != Came::trouble) troubles = 0;
    if (came != Came::work) works = 0;
    switch (came) {
    case Came::work:
        ++works;
        return works <= worksAtOnce ? 0ms : doubled(1s, works - worksAtOnce - 1, 300s);
    case Came::unrest:
        return std::max(doubled(2100ms, unrests++, 32s), took);
    case Came::trouble:
        return std::max(doubled(2s, troubles++, 300s), took);
    case Came::nothing:
        break;
    }
    return std::max(doubled(60s, nothings++, 900s), took * timesTheLook);
}

void Waits::reset() { *this = Waits(); }

} // namespace service
