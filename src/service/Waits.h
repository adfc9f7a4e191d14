// How long a pair waits between two looks at its sides.
//
// While nothing changes the wait doubles from one minute to a quarter of an hour, and it is never shorter
// than ten times what the last look took; trouble doubles it from two seconds to five minutes. What has to
// rest is looked at soon and then more and more seldom, and work that never comes to an end becomes slower.
#pragma once

#include <chrono>

namespace service {

class Waits {
  public:
    using Duration = std::chrono::milliseconds;
    enum class Came { work, nothing, unrest, trouble };

    // The wait after a look with that result. A wait after work is over at once: what it changed is looked at
    // again.
    Duration after(Came came, Duration took);
    // Somebody looks at the pair: the wait while nothing changes begins again.
    void observed() { nothings = 0; }
    // Somebody asks, or something has changed here: the waits begin again.
    void reset();

  private:
    unsigned nothings = 0; // in a row, as the others
    unsigned unrests = 0;
    unsigned troubles = 0;
    unsigned works = 0;
};

} // namespace service
