// What the threads that ask the disk are at, for who watches them: another thread or, where this lies in
// shared memory, another process. A question that is never answered keeps its thread in the kernel, so only
// somebody else can tell.
#pragma once

#include "snapshot/DSNode.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <string_view>

namespace snapshot {

struct Asking {
    static constexpr unsigned kMostThreads = 64;

    // Written by one thread alone.
    struct Thread {
        std::atomic<uint64_t> items{0};   // that were examined
        std::atomic<uint64_t> answers{0}; // beside those, each directory that was begun with included
        std::atomic<bool> isAsking{false};
        std::array<char, DSNodePathCapacity> directory{}; // valid while its thread is known to stand still

        void begin(std::string_view path) {
            const size_t length = std::min(path.size(), directory.size() - 1);
            std::copy_n(path.data(), length, directory.data());
            directory[length] = '\0';
            answered();
            isAsking.store(true, std::memory_order_release);
        }
        void end() { isAsking.store(false, std::memory_order_release); }
        void itemExamined() { add(items); }
        void answered() { add(answers); }

      private:
        static void add(std::atomic<uint64_t>& count) {
            count.store(count.load(std::memory_order_relaxed) + 1, std::memory_order_release);
        }
    };

    std::array<Thread, kMostThreads> threads;

    uint64_t itemsExamined() const {
        uint64_t count = 0;
        for (const Thread& thread : threads)
            count += thread.items.load(std::memory_order_relaxed);
        return count;
    }
};

} // namespace snapshot
