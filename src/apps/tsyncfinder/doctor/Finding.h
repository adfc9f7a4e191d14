// What one check of the doctor found.
#pragma once

#include <string>
#include <vector>

namespace apps::tsyncfinder::doctor {

enum class State {
    ok,
    warning, // works, but perhaps not as the person wants
    problem, // something does not work
};

struct Finding {
    State state = State::ok;
    std::string check;  // what was looked at: one word, never changes
    std::string text;   // what was found
    std::string advice; // what to do about it; empty: nothing
};

using Findings = std::vector<Finding>;

} // namespace apps::tsyncfinder::doctor
