// What must hold for every input; a breach ends the program, which the fuzzer reports with the input.
#pragma once

#include <cstdlib>

inline void require(bool condition) {
    if (!condition) abort();
}
