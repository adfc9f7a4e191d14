#include "backends/dbus/value_coding.h"

#include <algorithm>
#include <string>

namespace backends::dbus {
namespace {

using platform::Array;
using platform::Dictionary;
using platform::Value;

std::optional<Value> read(sdbus::Message& message, int depth);

template <typename Wire, typename Held>
Value readBasic(sdbus::Message& message) {
    Wire item{};
    message >> item;
    return static_cast<Held>(item);
}

std::optional<Value> readDictionary(sdbus::Message& message, const std::string& entryType, int depth) {
    Dictionary entries;
    message.enterContainer(entryType);
    const std::string keyAndValue = entryType.substr(1, entryType.size() - 2);
    while (message.enterDictEntry(keyAndValue)) {
        const auto key = read(message, depth + 1);
        auto entry = read(message, depth + 1);
        message.exitDictEntry();
        if (key && entry && key->string() != nullptr)
            entries.insert_or_assign(entries.end(), *key->string(), std::move(*entry));
    }
    message.clearFlags();
    message.exitContainer();
    return entries;
}

std::optional<Value> readArray(sdbus::Message& message, const std::string& itemType, int depth) {
    if (itemType.starts_with('{')) return readDictionary(message, itemType, depth);
    Array items;
    message.enterContainer(itemType);
    std::string type;
    std::string contents;
    for (message.peekType(type, contents); !type.empty() && type[0] != '\0';
         message.peekType(type, contents)) {
        if (auto item = read(message, depth + 1)) items.push_back(std::move(*item));
    }
    message.clearFlags();
    message.exitContainer();
    return items;
}

std::optional<Value> readStruct(sdbus::Message& message, const std::string& contents, int depth) {
    Array items;
    message.enterStruct(contents);
    std::string type;
    std::string inner;
    for (message.peekType(type, inner); !type.empty() && type[0] != '\0'; message.peekType(type, inner)) {
        if (auto item = read(message, depth + 1)) items.push_back(std::move(*item));
    }
    message.clearFlags();
    message.exitStruct();
    return items;
}

// The recursion is bounded by the bus library, which refuses messages that nest deeper than 128 containers.
std::optional<Value> read(sdbus::Message& message, int depth) {
    std::string type;
    std::string contents;
    message.peekType(type, contents);
    std::optional<Value> value;
    switch (type.empty() ? '\0' : type[0]) {
    case 's':
        value = readBasic<std::string, std::string>(message);
        break;
    case 'o':
        value = readBasic<sdbus::ObjectPath, std::string>(message);
        break;
    case 'g':
        value = readBasic<sdbus::Signature, std::string>(message);
        break;
    case 'b':
        value = readBasic<bool, bool>(message);
        break;
    case 'y':
        value = readBasic<std::uint8_t, std::int64_t>(message);
        break;
    case 'n':
        value = readBasic<std::int16_t, std::int64_t>(message);
        break;
    case 'q':
        value = readBasic<std::uint16_t, std::int64_t>(message);
        break;
    case 'i':
        value = readBasic<std::int32_t, std::int64_t>(message);
        break;
    case 'u':
        value = readBasic<std::uint32_t, std::int64_t>(message);
        break;
    case 'x':
        value = readBasic<std::int64_t, std::int64_t>(message);
        break;
    case 't':
        value = readBasic<std::uint64_t, std::uint64_t>(message);
        break;
    case 'd':
        value = readBasic<double, double>(message);
        break;
    case 'v':
        message.enterVariant(contents);
        value = read(message, depth);
        message.exitVariant();
        break;
    case 'a':
        value = readArray(message, contents, depth);
        break;
    case 'r':
        value = readStruct(message, contents, depth);
        break;
    case 'h': {
        sdbus::UnixFd file;
        message >> file;
        return std::nullopt;
    }
    default:
        throw sdbus::Error("org.freedesktop.DBus.Error.InvalidArgs", "nothing to read in the message");
    }
    if (depth >= platform::maximumValueDepth) return std::nullopt;
    return value;
}

bool isDictionaryOfStrings(std::string_view signature) {
    return signature == "a{ss}" || signature == "a{sv}";
}

[[noreturn]] void refuse() {
    throw sdbus::Error("org.freedesktop.DBus.Error.InvalidArgs", "the value has not the type of the message");
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

std::optional<Value> readValue(sdbus::Message& message) { return read(message, 0); }

std::optional<Value> readValue(sdbus::Message& message, std::string_view signature) {
    std::string type;
    std::string contents;
    message.peekType(type, contents);
    const std::string found = type == "a" ? type + contents : type;
    if (found != signature && !(isDictionaryOfStrings(signature) && isDictionaryOfStrings(found)))
        return std::nullopt;
    return read(message, 0);
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
