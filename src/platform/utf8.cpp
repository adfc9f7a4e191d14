#include "platform/utf8.h"

namespace platform {

std::size_t characterLength(std::string_view bytes, std::size_t at) {
    const auto byte = [&](std::size_t offset) { return static_cast<unsigned char>(bytes[at + offset]); };
    const unsigned first = byte(0);
    if (first < 0x80) return 1;
    const std::size_t length = first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : first < 0xF5 ? 4 : 0;
    if (length == 0 || bytes.size() - at < length) return 0;
    for (std::size_t i = 1; i < length; ++i)
        if ((byte(i) & 0xC0U) != 0x80) return 0;
    // The second byte also bounds the character: no overlong form, no surrogate, nothing above U+10FFFF.
    if ((first == 0xE0 && byte(1) < 0xA0) || (first == 0xED && byte(1) > 0x9F) ||
        (first == 0xF0 && byte(1) < 0x90) || (first == 0xF4 && byte(1) > 0x8F))
        return 0;
    return length;
}

bool isUtf8(std::string_view bytes) {
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t length = characterLength(bytes, at);
        if (length == 0) return false;
        at += length;
    }
    return true;
}

std::string undoableText(std::string_view bytes) {
    constexpr std::string_view hexDigits = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size());
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t length = characterLength(bytes, at);
        if (length > 0) {
            text += bytes.substr(at, length);
            at += length;
        } else {
            const auto byte = static_cast<unsigned char>(bytes[at++]);
            text += '\0';
            text += hexDigits[byte >> 4U];
            text += hexDigits[byte & 15U];
        }
    }
    return text;
}

} // namespace platform
