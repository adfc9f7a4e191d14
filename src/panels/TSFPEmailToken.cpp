#include "panels/TSFPEmailToken.h"

namespace panels {

void TSFPEmailToken::encodeWithCoder(platform::Array& archive) const {
    archive.push_back(name ? platform::Value(*name) : platform::Value(platform::Null{}));
}

TSFPEmailToken TSFPEmailToken::initWithCoder(const platform::Array& archive, std::size_t& position) {
    TSFPEmailToken token;
    if (position < archive.size()) {
        if (const std::string* text = archive[position].string()) token.name = *text;
        ++position;
    }
    return token;
}

} // namespace panels
