#include "platform/Value.h"

namespace platform {

const Value* find(const Dictionary& dictionary, std::string_view key) {
    const auto entry = dictionary.find(key);
    return entry == dictionary.end() ? nullptr : &entry->second;
}

} // namespace platform
