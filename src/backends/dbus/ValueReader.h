// Reads one value from a message of the bus, after it has been measured.
//
// Nothing is built before the whole value has been walked once and its memory counted, so that a refused
// message costs no memory, and what is built has its final size at once. Both walks are linear in the
// message's bytes.
//
// Source: D-Bus Specification 0.41, "Marshaling", for the bytes that things take on the wire.
#pragma once

#include "platform/Value.h"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>

namespace backends::dbus {

// The memory that one block of that size takes of the C library's allocator.
constexpr std::size_t blockOf(std::size_t bytes) {
    constexpr std::size_t word = sizeof(void*), smallest = 4 * word, step = 2 * word;
    return bytes == 0 ? 0 : std::max(smallest, (bytes + word + step - 1) / step * step);
}

// What a string takes beside its own object: nothing while it is short.
constexpr std::size_t heapOfText(std::size_t length) {
    return length < sizeof(std::string) / 2 ? 0 : blockOf(length + 1);
}

// Counts what the wire and the values take, and ends with sdbus::Error (LimitsExceeded) when these are out of
// proportion (value_coding.h) or more than `most`.
struct MemoryCount {
    std::size_t wire = 0; // bytes, with the gaps between them
    std::size_t held = 0; // bytes of memory

    void pass(std::size_t alignment, std::size_t bytes) {
        wire = (wire + alignment - 1) / alignment * alignment + bytes;
    }
    void require(std::size_t most) const;
};

class ValueReader {
  public:
    // The message is borrowed. Whoever may read only little says how much memory it may take at most.
    explicit ValueReader(sd_bus_message* message, std::size_t mostMemory = SIZE_MAX)
        : source(message), most(mostMemory) {}

    // The next complete item: an array, a dictionary, or a basic one but no file descriptor.
    std::optional<platform::Value> read();

  private:
    struct Item {
        char type = 0;
        const char* contents = nullptr;
    };
    Item next() const;
    bool isLeftOut(Item item, int depth) const;

    // Whether the item comes to a value.
    bool measure(int depth);
    void measureText(char type);
    void measureNumbers(char type, int depth);
    std::size_t measureEntries(int depth);
    void measureContainer(Item item, int depth);
    std::size_t measureItems(int depth);

    std::optional<platform::Value> build(int depth);
    platform::Value buildContainer(Item item, int depth);
    platform::Value buildDictionary(int depth);
    platform::Value buildArray(int depth);
    std::size_t takeSize(); // of the container that begins

    sd_bus_message* source;
    std::size_t most;
    MemoryCount count;
    std::deque<std::uint32_t> sizes; // of the containers, in the order in which they begin
};

} // namespace backends::dbus
