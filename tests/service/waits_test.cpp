#include "service/Waits.h"

#include <gtest/gtest.h>

#include <vector>

namespace service {
namespace {

using namespace std::chrono_literals;
using Came = Waits::Came;

TEST(Waits, GrowWhileNothingChangesAndBeginAnew) {
    struct Case {
        Came came;
        Waits::Duration took;
        std::vector<Waits::Duration> waits;
    };
    const Case cases[] = {
        {Came::nothing, 1s, {60s, 120s, 240s, 480s, 900s, 900s}},
        {Came::nothing, 20s, {200s, 200s, 240s, 480s, 900s, 900s}},
        {Came::nothing, 100s, {1000s, 1000s}},
        {Came::unrest, 1s, {2100ms, 4200ms, 8400ms, 16800ms, 32s, 32s}},
        {Came::trouble, 0s, {2s, 4s, 8s, 16s, 32s, 64s, 128s, 256s, 300s, 300s}},
        {Came::work, 0s, {0s, 0s, 0s, 0s, 1s, 2s, 4s}},
    };
    for (const Case& each : cases) {
        Waits waits;
        for (int again = 0; again < 2; ++again) {
            for (const Waits::Duration wanted : each.waits)
                EXPECT_EQ(waits.after(each.came, each.took), wanted);
            waits.reset();
        }
        (void)waits.after(Came::trouble, 0s);
        (void)waits.after(Came::nothing, 0s);
        if (each.came != Came::nothing) {
            EXPECT_EQ(waits.after(each.came, each.took), each.waits.front());
        }
    }
}

} // namespace
} // namespace service
