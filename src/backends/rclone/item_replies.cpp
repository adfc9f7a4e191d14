// Lists of items. A look at a large pair reads a hundred thousand of them, so they are taken from the text as
// it is parsed, without a tree of values between.
#include "backends/rclone/replies.h"
#include "platform/Value.h"

#include <nlohmann/json.hpp>

#include <utility>

namespace backends::rclone {
namespace {

using service::Failure;
using service::RemoteItem;
using service::Trouble;

// What the parser tells, call by call; a call that returns false ends the parsing.
class ItemReader {
  public:
    using number_integer_t = nlohmann::json::number_integer_t;
    using number_unsigned_t = nlohmann::json::number_unsigned_t;
    using number_float_t = nlohmann::json::number_float_t;
    using string_t = nlohmann::json::string_t;
    using binary_t = nlohmann::json::binary_t;

    // The items lie in a list, or there is one of them, in the reply's entry of that key.
    ItemReader(std::string_view wantedKey, bool inList) : wanted(wantedKey), itemDepth(inList ? 3 : 2) {}

    bool null() {
        if (depth == 1 && isWanted) isFound = true; // an empty folder of some storages; no item
        return plain();
    }
    bool boolean(bool value) {
        if (field == Field::isFolder) isFolder = value;
        return plain();
    }
    bool number_integer(number_integer_t value) {
        if (field == Field::size) size = value;
        return plain();
    }
    bool number_unsigned(number_unsigned_t value) {
        if (field == Field::size && std::in_range<std::int64_t>(value))
            size = static_cast<std::int64_t>(value);
        return plain();
    }
    bool number_float(number_float_t, const string_t&) { return plain(); }
    bool string(string_t& value) {
        if (field == Field::name)
            item.name = std::move(value);
        else if (field == Field::time)
            modified = readTime(value);
        else if (field == Field::id)
            item.id = std::move(value);
        else if (field == Field::digest && !value.empty())
            item.digests[algorithm] = std::move(value);
        return plain();
    }
    bool binary(binary_t&) { return false; }

    bool start_object(std::size_t) {
        if (isWanted && depth + 1 == itemDepth) {
            item = {};
            modified.reset();
            size.reset();
            isFolder = false;
        } else if (isWanted && depth < itemDepth && depth > 0) {
            return false;
        }
        isInDigests = field == Field::digests;
        return open();
    }
    bool key(string_t& name) {
        if (depth == 1) isWanted = name == wanted;
        if (depth == 1 && isWanted && isFound) return false; // which of two counts, nobody knows
        field = fieldOf(name);
        if (field == Field::digest) algorithm = std::move(name);
        return true;
    }
    bool end_object() {
        field = Field::other;
        isInDigests = false;
        return depth-- != itemDepth || !isWanted || takeItem();
    }
    bool start_array(std::size_t) {
        if (depth == 0 || (isWanted && depth == 1 && itemDepth == 2)) return false;
        if (isWanted && depth == 2 && itemDepth == 3) return false; // a list in place of an item
        if (isWanted && depth == 1) isFound = true;
        return open();
    }
    bool end_array() {
        field = Field::other;
        --depth;
        return true;
    }
    bool parse_error(std::size_t, const std::string&, const nlohmann::json::exception&) { return false; }

    bool isFound = false;
    std::vector<RemoteItem> items;

  private:
    enum class Field { other, name, time, size, isFolder, id, digests, digest };

    Field fieldOf(std::string_view name) const {
        if (!isWanted) return Field::other;
        if (isInDigests && depth == itemDepth + 1) return Field::digest;
        if (depth != itemDepth) return Field::other;
        if (name == "Name") return Field::name;
        if (name == "ModTime") return Field::time;
        if (name == "Size") return Field::size;
        if (name == "IsDir") return Field::isFolder;
        if (name == "ID") return Field::id;
        return name == "Hashes" ? Field::digests : Field::other;
    }
    bool open() {
        field = Field::other;
        return ++depth <= platform::maximumValueDepth;
    }
    // Where an item is expected nothing else may be.
    bool plain() {
        const bool isItem = isWanted && depth + 1 == itemDepth && !(depth == 1 && isFound);
        field = Field::other;
        return depth > 0 && !isItem;
    }
    bool takeItem() {
        // A name with a separator would lead elsewhere.
        if (item.name.empty() || item.name.find('/') != std::string::npos || !modified) return false;
        item.modified = *modified;
        if (isFolder) {
            item.kind = RemoteItem::Kind::folder;
        } else if (!size || *size < 0) {
            item.kind = RemoteItem::Kind::sizeless;
        } else {
            item.size = static_cast<std::uint64_t>(*size);
        }
        isFound = true;
        items.push_back(std::move(item));
        return true;
    }

    const std::string_view wanted;
    const int itemDepth; // of what stands in an item; 1 is what stands in the reply
    int depth = 0;
    bool isWanted = false; // what is read is the entry of that key
    bool isInDigests = false;
    Field field = Field::other; // whose value comes next
    std::string algorithm;
    RemoteItem item; // the one in hand, with what its fields said
    std::optional<std::int64_t> modified;
    std::optional<std::int64_t> size;
    bool isFolder = false;
};

bool isRead(std::string_view body, ItemReader& reader) {
    return nlohmann::json::sax_parse(body.begin(), body.end(), &reader) && reader.isFound;
}

} // namespace

Outcome<std::vector<RemoteItem>> readList(std::string_view body) {
    ItemReader reader("list", true);
    if (!isRead(body, reader)) // half a list would look like deletions
        return Failure{Trouble::other, "rclone answered something else than a list of items"};
    return std::move(reader.items);
}

Outcome<std::optional<RemoteItem>> readItem(std::string_view body) {
    ItemReader reader("item", false);
    if (!isRead(body, reader)) return Failure{Trouble::other, "rclone answered something else than an item"};
    if (reader.items.empty()) return std::optional<RemoteItem>();
    return std::optional<RemoteItem>(std::move(reader.items.back()));
}

} // namespace backends::rclone
