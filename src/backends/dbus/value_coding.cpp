#include "backends/dbus/value_coding.h"

#include "backends/dbus/raw_message.h"

#include <algorithm>
#include <cstdint>
#include <string>

namespace backends::dbus {
namespace {

using platform::Array;
using platform::Dictionary;
using platform::Value;

int checked(int result) {
    if (result < 0)
        throw sdbus::Error("org.freedesktop.DBus.Error.InvalidArgs", "the message cannot be read");
    return result;
}

// Reads items one after the other, and counts the bytes that were read and those that their values take.
class Reader {
  public:
    Reader(sd_bus_message* message, std::size_t freeMemory) : source(message), allowance(freeMemory) {}

    // The recursion is bounded by the bus library, which refuses messages that nest deeper than 128
    // containers.
    std::optional<Value> read(int depth) {
        char type = 0;
        const char* contents = nullptr;
        if (checked(sd_bus_message_peek_type(source, &type, &contents)) == 0)
            throw sdbus::Error("org.freedesktop.DBus.Error.InvalidArgs", "nothing to read in the message");
        if (depth >= platform::maximumValueDepth || type == 'h') {
            checked(sd_bus_message_skip(source, nullptr));
            return std::nullopt;
        }
        switch (type) {
        case 's':
        case 'o':
        case 'g':
            return readText(type);
        case 'b':
            return readBasic<int, bool>(type);
        case 'y':
            return readBasic<std::uint8_t, std::int64_t>(type);
        case 'n':
            return readBasic<std::int16_t, std::int64_t>(type);
        case 'q':
            return readBasic<std::uint16_t, std::int64_t>(type);
        case 'i':
            return readBasic<std::int32_t, std::int64_t>(type);
        case 'u':
            return readBasic<std::uint32_t, std::int64_t>(type);
        case 'x':
            return readBasic<std::int64_t, std::int64_t>(type);
        case 't':
            return readBasic<std::uint64_t, std::uint64_t>(type);
        case 'd':
            return readBasic<double, double>(type);
        case 'v': {
            checked(sd_bus_message_enter_container(source, type, contents));
            auto value = read(depth);
            checked(sd_bus_message_exit_container(source));
            return value;
        }
        case 'a':
            return contents[0] == '{' ? readDictionary(contents, depth) : readItems(type, contents, depth);
        default:
            return readItems(type, contents, depth);
        }
    }

  private:
    void count(std::size_t wireBytes, std::size_t valueBytes) {
        wire += wireBytes;
        held += valueBytes;
        if (held > std::max(allowance, 3 * wire))
            throw sdbus::Error(limitsExceededError, "the message would take too much memory");
    }

    // What a string takes beside its own object: nothing while it is short.
    static std::size_t heapOf(std::size_t length) {
        return length < sizeof(std::string) / 2 ? 0 : length + 16;
    }

    template <typename Wire, typename Held>
    Value readBasic(char type) {
        Wire item{};
        count(sizeof item, sizeof(Value));
        checked(sd_bus_message_read_basic(source, type, &item));
        return static_cast<Held>(item);
    }

    Value readText(char type) {
        const char* text = nullptr;
        checked(sd_bus_message_read_basic(source, type, &text));
        const std::string_view view(text);
        count(sizeof(std::uint32_t) + view.size() + 1, sizeof(Value) + heapOf(view.size()));
        return view;
    }

    Value readDictionary(const char* contents, int depth) {
        // A node of the map, with the allocator's word; key and value have been counted as two values.
        constexpr std::size_t node = sizeof(Dictionary::value_type) + 5 * sizeof(void*) - 2 * sizeof(Value);
        Dictionary entries;
        checked(sd_bus_message_enter_container(source, 'a', contents));
        char type = 0;
        while (checked(sd_bus_message_peek_type(source, &type, &contents)) > 0) {
            checked(sd_bus_message_enter_container(source, type, contents));
            const auto key = read(depth + 1);
            auto entry = read(depth + 1);
            checked(sd_bus_message_exit_container(source));
            count(0, node);
            if (key && entry && key->string() != nullptr)
                entries.insert_or_assign(entries.end(), *key->string(), std::move(*entry));
        }
        checked(sd_bus_message_exit_container(source));
        return entries;
    }

    // Of an array or a structure.
    Value readItems(char container, const char* contents, int depth) {
        Array items;
        const bool holdsTexts = container == 'a' && contents[0] == 's';
        checked(sd_bus_message_enter_container(source, container, contents));
        if (holdsTexts)
            items.reserve(countTexts(source)); // a list of paths may be long, and would grow by copies
        while (checked(sd_bus_message_at_end(source, 0)) == 0) {
            if (!holdsTexts) count(0, sizeof(Value)); // by which it may have grown
            if (auto item = read(depth + 1)) items.push_back(std::move(*item));
        }
        checked(sd_bus_message_exit_container(source));
        return items;
    }

  public:
    // In the array that the message stands in, at its beginning.
    static std::size_t countTexts(sd_bus_message* message) {
        std::size_t number = 0;
        for (; checked(sd_bus_message_at_end(message, 0)) == 0; ++number)
            checked(sd_bus_message_skip(message, "s"));
        checked(sd_bus_message_rewind(message, 0));
        return number;
    }

  private:
    sd_bus_message* source;
    std::size_t allowance;
    std::size_t wire = 0;
    std::size_t held = 0;
};

bool isDictionaryOfStrings(std::string_view signature) {
    return signature == "a{ss}" || signature == "a{sv}";
}

[[noreturn]] void refuse() {
    throw sdbus::Error("org.freedesktop.DBus.Error.InvalidArgs",
                       "the value does not have the type that the message wants");
}

bool holdsOnlyStrings(const Array& items) {
    return std::all_of(items.begin(), items.end(),
                       [](const Value& item) { return item.string() != nullptr; });
}

template <typename Item>
const Item& require(const Item* item) {
    if (item == nullptr) refuse();
    return *item;
}

void appendVariant(sdbus::Message& message, const Value& value) {
    struct SignatureOf {
        std::string operator()(platform::Null) const { return "s"; }
        std::string operator()(bool) const { return "b"; }
        std::string operator()(std::int64_t) const { return "x"; }
        std::string operator()(std::uint64_t) const { return "t"; }
        std::string operator()(double) const { return "d"; }
        std::string operator()(const std::string&) const { return "s"; }
        std::string operator()(const Array& items) const {
            return !items.empty() && holdsOnlyStrings(items) ? "as" : "av";
        }
        std::string operator()(const Dictionary&) const { return "a{sv}"; }
    };
    const std::string signature = std::visit(SignatureOf{}, value.content());
    message.openVariant(signature);
    appendValue(message, signature, value.isNull() ? Value("") : value);
    message.closeVariant();
}

} // namespace

std::optional<Value> readValue(sdbus::Message& message) {
    return Reader(rawMessage(message), freeValueMemory).read(0);
}

std::optional<Value> readValue(sdbus::Message& message, std::string_view signature, std::size_t freeMemory) {
    char type = 0;
    const char* contents = nullptr;
    if (checked(sd_bus_message_peek_type(rawMessage(message), &type, &contents)) == 0) return std::nullopt;
    std::string found(1, type);
    if (type == 'a') found += contents;
    if (found != signature && !(isDictionaryOfStrings(signature) && isDictionaryOfStrings(found)))
        return std::nullopt;
    return Reader(rawMessage(message), freeMemory).read(0);
}

std::vector<std::string> readTexts(sdbus::Message& message, std::size_t maximum) {
    sd_bus_message* const source = rawMessage(message);
    checked(sd_bus_message_enter_container(source, 'a', "s"));
    const std::size_t number = Reader::countTexts(source);
    if (number > maximum)
        throw sdbus::Error(limitsExceededError,
                           "at most " + std::to_string(maximum) + " texts are taken at once");
    std::vector<std::string> texts;
    texts.reserve(number);
    const char* text = nullptr;
    while (checked(sd_bus_message_read_basic(source, 's', &text)) > 0)
        texts.emplace_back(text);
    checked(sd_bus_message_exit_container(source));
    return texts;
}

void appendValue(sdbus::Message& message, std::string_view signature, const Value& value) {
    if (signature == "s") {
        message << require(value.string());
    } else if (signature == "b") {
        message << require(value.boolean());
    } else if (signature == "x") {
        message << require(value.signedInteger());
    } else if (signature == "t") {
        if (value.signedInteger() != nullptr && *value.signedInteger() >= 0)
            message << static_cast<std::uint64_t>(*value.signedInteger());
        else
            message << require(value.unsignedInteger());
    } else if (signature == "d") {
        message << require(value.number());
    } else if (signature == "as") {
        message.openContainer("s");
        for (const Value& item : require(value.array()))
            message << require(item.string());
        message.closeContainer();
    } else if (signature == "av") {
        message.openContainer("v");
        for (const Value& item : require(value.array()))
            appendVariant(message, item);
        message.closeContainer();
    } else if (isDictionaryOfStrings(signature)) {
        const bool plain = signature == "a{ss}";
        const std::string entry = plain ? "ss" : "sv";
        message.openContainer("{" + entry + "}");
        for (const auto& [key, item] : require(value.dictionary())) {
            message.openDictEntry(entry);
            message << key;
            if (plain)
                message << require(item.string());
            else
                appendVariant(message, item);
            message.closeDictEntry();
        }
        message.closeContainer();
    } else {
        refuse();
    }
}

} // namespace backends::dbus
