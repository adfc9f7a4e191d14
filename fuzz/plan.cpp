// The planner of a sync. Input: what two people do with a pair, a byte for each choice. Whatever the plan, no
// step may lose a content, and planning and doing must end with both sides equal. `fuzz_plan -runs=0` with
// PLANS in the environment plays that many plans with something to do from random numbers instead, without a
// fuzzer.
#include "tests/service/PairModel.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>

namespace {

std::uint64_t play(const std::function<unsigned(unsigned)>& choose, int visits) {
    service::PairModel pair(choose);
    for (int visit = 0; visit < visits; ++visit) {
        pair.edit(1 + choose(8));
        pair.settle(); // throws: an uncaught one is what the fuzzer finds
    }
    return pair.plans;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    const char* const wanted = std::getenv("PLANS");
    if (!wanted) return 0;
    std::uint64_t plans = 0;
    std::uint64_t stories = 0;
    for (; plans < std::strtoull(wanted, nullptr, 10); ++stories) {
        std::mt19937_64 random(stories);
        plans += play([&random](unsigned below) { return static_cast<unsigned>(random() % below); }, 4);
    }
    std::printf("%llu plans in %llu stories\n", static_cast<unsigned long long>(plans),
                static_cast<unsigned long long>(stories));
    std::exit(0);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::size_t at = 0;
    play([&](unsigned below) { return at < size ? data[at++] % below : 0U; }, 4);
    return 0;
}
