#include "backends/dbus/ValueReader.h"

#include "backends/dbus/value_coding.h"

#include <algorithm>

namespace backends::dbus {
namespace {

using platform::Array;
using platform::Dictionary;
using platform::DictionaryEntry;
using platform::Value;

int checked(int result) {
    if (result < 0)
        throw sdbus::Error("org.freedesktop.DBus.Error.InvalidArgs", "the message cannot be read");
    return result;
}

bool isText(char type) { return type == 's' || type == 'o' || type == 'g'; }
bool isContainer(char type) { return type == 'a' || type == 'r' || type == 'e'; }

bool isPlainNumber(char type) { return std::string_view("ynqiuxtd").find(type) != std::string_view::npos; }

// Of a number on the wire; it is aligned to its size.
std::size_t sizeOfNumber(char type) {
    switch (type) {
    case 'y':
        return 1;
    case 'n':
    case 'q':
        return 2;
    case 'b':
    case 'i':
    case 'u':
        return 4;
    case 'x':
    case 't':
    case 'd':
        return 8;
    default:
        throw sdbus::Error("org.freedesktop.DBus.Error.InvalidArgs", "an item of no known type");
    }
}

std::size_t alignmentOf(char type) {
    if (type == 'v' || type == 'g') return 1;
    if (type == 'r' || type == '(' || type == 'e' || type == '{') return 8;
    return isText(type) || type == 'a' ? 4 : sizeOfNumber(type);
}

// What the allocator adds to a block of that size.
std::size_t addedTo(std::size_t bytes) { return blockOf(bytes) - bytes; }

template <typename Wire, typename Held>
Value readNumber(sd_bus_message* message, char type) {
    Wire item{};
    checked(sd_bus_message_read_basic(message, type, &item));
    return static_cast<Held>(item);
}

Value readNumber(sd_bus_message* message, char type) {
    switch (type) {
    case 'b':
        return readNumber<int, bool>(message, type);
    case 'y':
        return readNumber<std::uint8_t, std::int64_t>(message, type);
    case 'n':
        return readNumber<std::int16_t, std::int64_t>(message, type);
    case 'q':
        return readNumber<std::uint16_t, std::int64_t>(message, type);
    case 'i':
        return readNumber<std::int32_t, std::int64_t>(message, type);
    case 'u':
        return readNumber<std::uint32_t, std::int64_t>(message, type);
    case 'x':
        return readNumber<std::int64_t, std::int64_t>(message, type);
    case 't':
        return readNumber<std::uint64_t, std::uint64_t>(message, type);
    default:
        return readNumber<double, double>(message, type);
    }
}

std::string_view readText(sd_bus_message* message, char type) {
    const char* text = nullptr;
    checked(sd_bus_message_read_basic(message, type, &text));
    return text;
}

} // namespace

void MemoryCount::require(std::size_t most) const {
    if (held > std::min(most, std::max(freeValueMemory, valueMemoryPerByte * wire)))
        throw sdbus::Error(limitsExceededError, "the message would take too much memory");
}

ValueReader::Item ValueReader::next() const {
    Item item;
    if (checked(sd_bus_message_peek_type(source, &item.type, &item.contents)) == 0)
        throw sdbus::Error("org.freedesktop.DBus.Error.InvalidArgs", "nothing to read in the message");
    return item;
}

bool ValueReader::isLeftOut(Item item, int depth) const {
    return depth >= platform::maximumValueDepth || item.type == 'h';
}

// The message goes back only to the beginning of a container: a single item is built at once.
std::optional<Value> ValueReader::read() {
    const Item item = next();
    if (item.type != 'a') return build(0);
    checked(sd_bus_message_enter_container(source, item.type, item.contents));
    count.held += sizeof(Value);
    measureContainer(item, 0);
    count.require(most);
    checked(sd_bus_message_rewind(source, 0));
    return buildContainer(item, 0);
}

// --- measuring

bool ValueReader::measure(int depth) {
    const Item item = next();
    if (isLeftOut(item, depth)) {
        checked(sd_bus_message_skip(source, nullptr));
        return false;
    }
    if (item.type == 'v') {
        count.pass(1, std::char_traits<char>::length(item.contents) + 2);
        checked(sd_bus_message_enter_container(source, item.type, item.contents));
        const bool isKept = measure(depth);
        checked(sd_bus_message_exit_container(source));
        return isKept;
    }
    count.held += sizeof(Value);
    if (isText(item.type)) {
        measureText(item.type);
    } else if (item.type == 'a' && isPlainNumber(item.contents[0])) {
        measureNumbers(item.contents[0], depth);
    } else if (isContainer(item.type)) {
        checked(sd_bus_message_enter_container(source, item.type, item.contents));
        measureContainer(item, depth);
        checked(sd_bus_message_exit_container(source));
    } else {
        const std::size_t size = sizeOfNumber(item.type);
        count.pass(size, size);
        checked(sd_bus_message_skip(source, nullptr));
    }
    return true;
}

void ValueReader::measureText(char type) {
    const std::size_t length = readText(source, type).size();
    count.pass(alignmentOf(type), alignmentOf(type) + length + 1); // its length, and the zero behind it
    count.held += heapOfText(length);
}

// An array of them: however many there are, the library gives them at once.
void ValueReader::measureNumbers(char type, int depth) {
    const void* numbers = nullptr;
    std::size_t bytes = 0;
    checked(sd_bus_message_read_array(source, type, &numbers, &bytes));
    count.pass(4, 4);
    count.pass(sizeOfNumber(type), bytes);
    const std::size_t size = depth + 1 < platform::maximumValueDepth ? bytes / sizeOfNumber(type) : 0;
    count.held += sizeof(std::uint32_t) + blockOf(size * sizeof(Value));
    sizes.push_back(static_cast<std::uint32_t>(size));
}

// The container that was entered. The slots of its values are counted with these.
void ValueReader::measureContainer(Item item, int depth) {
    const std::size_t place = sizes.size();
    sizes.push_back(0);
    const char element = item.contents[0];
    if (item.type == 'a') {
        count.pass(4, 4);
        count.pass(alignmentOf(element), 0);
    } else {
        count.pass(8, 0);
    }
    count.held += sizeof(std::uint32_t); // in `sizes`
    const bool isDictionary = item.type == 'a' && element == '{';
    const std::size_t size = isDictionary ? measureEntries(depth) : measureItems(depth);
    count.held += addedTo(size * (isDictionary ? sizeof(DictionaryEntry) : sizeof(Value)));
    sizes[place] = static_cast<std::uint32_t>(size);
}

std::size_t ValueReader::measureItems(int depth) {
    std::size_t size = 0;
    while (checked(sd_bus_message_at_end(source, 0)) == 0)
        if (measure(depth + 1)) ++size;
    return size;
}

std::size_t ValueReader::measureEntries(int depth) {
    std::size_t size = 0;
    while (checked(sd_bus_message_at_end(source, 0)) == 0) {
        const Item entry = next();
        checked(sd_bus_message_enter_container(source, entry.type, entry.contents));
        count.pass(8, 0);
        const bool hasText = isText(entry.contents[0]) && depth + 1 < platform::maximumValueDepth;
        if (hasText) {
            measureText(entry.contents[0]);
            count.held += sizeof(DictionaryEntry) - sizeof(Value); // its value counts itself
        } else {
            measure(depth + 1);
        }
        if (measure(depth + 1) && hasText) ++size;
        checked(sd_bus_message_exit_container(source));
    }
    return size;
}

// --- building

std::optional<Value> ValueReader::build(int depth) {
    const Item item = next();
    if (isLeftOut(item, depth)) {
        checked(sd_bus_message_skip(source, nullptr));
        return std::nullopt;
    }
    if (isText(item.type)) return Value(readText(source, item.type));
    if (item.type != 'v' && !isContainer(item.type)) return readNumber(source, item.type);
    checked(sd_bus_message_enter_container(source, item.type, item.contents));
    if (isContainer(item.type)) return buildContainer(item, depth);
    auto value = build(depth);
    checked(sd_bus_message_exit_container(source));
    return value;
}

// Of the container that was entered, and is left.
Value ValueReader::buildContainer(Item item, int depth) {
    const bool isDictionary = item.type == 'a' && item.contents[0] == '{';
    Value value = isDictionary ? buildDictionary(depth) : buildArray(depth);
    checked(sd_bus_message_exit_container(source));
    return value;
}

std::size_t ValueReader::takeSize() {
    const std::size_t size = sizes.front();
    sizes.pop_front();
    return size;
}

Value ValueReader::buildDictionary(int depth) {
    std::vector<DictionaryEntry> entries;
    entries.reserve(takeSize());
    while (checked(sd_bus_message_at_end(source, 0)) == 0) {
        const Item entry = next();
        checked(sd_bus_message_enter_container(source, entry.type, entry.contents));
        auto key = build(depth + 1);
        auto value = build(depth + 1);
        checked(sd_bus_message_exit_container(source));
        if (key && value && key->string() != nullptr)
            entries.push_back({std::move(*key->string()), std::move(*value)});
    }
    return Dictionary(std::move(entries));
}

Value ValueReader::buildArray(int depth) {
    Array items;
    items.reserve(takeSize());
    while (checked(sd_bus_message_at_end(source, 0)) == 0)
        if (auto item = build(depth + 1)) items.push_back(std::move(*item));
    return items;
}

} // namespace backends::dbus
