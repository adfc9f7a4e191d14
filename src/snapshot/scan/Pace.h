// How many threads read a tree, by how long the disk takes to answer.
//
// A thread that waits for an answer costs nothing but itself, so one is worth having for every 4 µs that an
// answer takes: as long as there are processors on a disk that answers from memory (1 to 3 µs), 16 from 64 µs
// on. The average of at least 16 answers counts, or of fewer that took 2 ms together, so that a slow disk is
// known after its first directory. More threads are taken at once; fewer only when half of them would do,
// because answers from the disk and from memory come in turns.
#pragma once

#include <chrono>
#include <cstddef>

namespace snapshot {

class Pace {
  public:
    using Duration = std::chrono::nanoseconds;

    // Threads of a scan that goes by the answers, at most. Far more than there are processors.
    static constexpr unsigned kMostThreads = 16;

    // `threads`, the caller's included, is kept to; 0 goes by the answers.
    explicit Pace(unsigned threads);

    unsigned threads() const { return _threads; }

    // Whether an answer takes so long that several threads should share a directory.
    static bool isSlow(Duration answer) { return answer >= std::chrono::microseconds(50); }
    bool isSlow() const { return isSlow(_answer); }

    // How many entries of a shared directory a thread examines at a time: some 0.4 ms of work, at least one.
    size_t piece() const;

    // So many questions took so long, one after the other.
    void note(Duration taken, size_t questions);

  private:
    const bool _isFixed;
    const unsigned _fewest;
    unsigned _threads;
    Duration _answer{0}; // the last average
    Duration _taken{0};  // since then, and the questions of that time
    size_t _questions = 0;
};

} // namespace snapshot
