// A disk that is slow to answer: in the program that this is linked into, each call by which a scan asks the
// file system (opening a directory, reading a piece of its names, examining an item) sleeps before it is
// made. Like a server far away, it answers any number of questions at a time.
#pragma once

#include <chrono>

namespace bench {

// Of every thread of this process, from now on.
void setTimeOfAnswer(std::chrono::nanoseconds time);

} // namespace bench
