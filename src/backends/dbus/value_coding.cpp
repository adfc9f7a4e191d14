#include "backends/dbus/value_coding.h"

#include "backends/dbus/ValueReader.h"
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

std::optional<Value> readValue(sdbus::Message& message, std::string_view signature, std::size_t mostMemory) {
    char type = 0;
    const char* contents = nullptr;
    if (checked(sd_bus_message_peek_type(rawMessage(message), &type, &contents)) == 0) return std::nullopt;
    std::string found(1, type);
    if (type == 'a') found += contents;
    if (found != signature && !(isDictionaryOfStrings(signature) && isDictionaryOfStrings(found)))
        return std::nullopt;
    return ValueReader(rawMessage(message), mostMemory).read();
}

std::vector<std::string> readTexts(sdbus::Message& message, std::size_t maximum) {
    sd_bus_message* const source = rawMessage(message);
    checked(sd_bus_message_enter_container(source, 'a', "s"));
    std::size_t number = 0;
    MemoryCount count;
    const char* text = nullptr;
    for (; checked(sd_bus_message_read_basic(source, 's', &text)) > 0; ++number) {
        const std::size_t length = std::string_view(text).size();
        count.pass(4, 4 + length + 1);
        count.held += sizeof(std::string) + heapOfText(length);
    }
    if (number > maximum)
        throw sdbus::Error(limitsExceededError,
                           "at most " + std::to_string(maximum) + " texts are taken at once");
    count.require(SIZE_MAX);
    checked(sd_bus_message_rewind(source, 0));
    std::vector<std::string> texts;
    texts.reserve(number);
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
