#include "platform/json.h"

#include <nlohmann/json.hpp>

namespace platform {
namespace {

using Json = nlohmann::json;

Json toJson(const Value& value);

struct ToJson {
    Json operator()(Null) const { return nullptr; }
    Json operator()(const Array& items) const {
        Json json = Json::array();
        for (const Value& item : items)
            json.push_back(toJson(item));
        return json;
    }
    Json operator()(const Dictionary& entries) const {
        Json json = Json::object();
        for (const auto& [key, entry] : entries)
            json[key] = toJson(entry);
        return json;
    }
    template <typename Plain>
    Json operator()(const Plain& plain) const {
        return plain;
    }
};

Json toJson(const Value& value) { return std::visit(ToJson{}, value.content()); }

Value fromJson(const Json& json) {
    switch (json.type()) {
    case Json::value_t::boolean:
        return json.get<bool>();
    case Json::value_t::number_integer:
        return json.get<std::int64_t>();
    case Json::value_t::number_unsigned: {
        // A literal without a sign is "unsigned" to the parser; a value that fits is kept signed, so that
        // equal numbers are equal values however they were written.
        const auto number = json.get<std::uint64_t>();
        if (number <= static_cast<std::uint64_t>(INT64_MAX)) return static_cast<std::int64_t>(number);
        return number;
    }
    case Json::value_t::number_float:
        return json.get<double>();
    case Json::value_t::string:
        return json.get<std::string>();
    case Json::value_t::array: {
        Array items;
        for (const Json& item : json)
            items.push_back(fromJson(item));
        return items;
    }
    case Json::value_t::object: {
        Dictionary entries;
        for (const auto& [key, entry] : json.items())
            entries.insert_or_assign(key, fromJson(entry));
        return entries;
    }
    default:
        return Null{};
    }
}

} // namespace

std::optional<std::string> jsonText(const Value& value) {
    try {
        return toJson(value).dump();
    } catch (const Json::type_error&) {
        return std::nullopt;
    }
}

std::string jsonDescription(const Value& value) {
    return toJson(value).dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::optional<Value> valueOfJson(std::string_view text) {
    bool tooDeep = false;
    const auto watchDepth = [&tooDeep](int depth, Json::parse_event_t, Json&) {
        tooDeep = tooDeep || depth > maximumValueDepth;
        return !tooDeep; // what lies below is dropped as it is read, so the text's depth never costs memory
    };
    const Json json = Json::parse(text.begin(), text.end(), watchDepth, false);
    if (tooDeep || json.is_discarded()) return std::nullopt;
    return fromJson(json);
}

} // namespace platform
