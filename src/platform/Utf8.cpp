#include "platform/Utf8.h"

namespace platform {

bool isUtf8(std::string_view bytes) {
    for (std::size_t at = 0; at < bytes.size();) {
        const auto byte = [&](std::size_t offset) { return static_cast<unsigned char>(bytes[at + offset]); };
        const unsigned first = byte(0);
        const std::size_t length = first < 0x80   ? 1
                                   : first < 0xC2 ? 0
                                   : first < 0xE0 ? 2
                                   : first < 0xF0 ? 3
                                   : first < 0xF5 ? 4
                                                  : 0;
        if (length == 0 || bytes.size() - at < length) return false;
        for (std::size_t i = 1; i < length; ++i)
            if ((byte(i) & 0xC0U) != 0x80) return false;
        // The second byte also bounds the character: no overlong form, no surrogate, nothing above U+10FFFF.
        if ((first == 0xE0 && byte(1) < 0xA0) || (first == 0xED && byte(1) > 0x9F) ||
            (first == 0xF0 && byte(1) < 0x90) || (first == 0xF4 && byte(1) > 0x8F))
            return false;
        at += length;
    }
    return true;
}

} // namespace platform
