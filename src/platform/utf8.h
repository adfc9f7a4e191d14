// Whether bytes are text, and bytes as text.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace platform {

// Bytes of the character that begins at a place, which must be within the text; 0 where no well-formed one
// does (RFC 3629, section 4).
std::size_t characterLength(std::string_view bytes, std::size_t at);

// Whether it is well-formed UTF-8, as the empty text is. Copies nothing.
bool isUtf8(std::string_view bytes);

// Bytes as a JSON string can hold them: what is UTF-8 stays; each byte that is not becomes U+0000 and its two
// lowercase hexadecimal digits. No path holds a NUL, so for a path this can be undone.
std::string undoableText(std::string_view bytes);

} // namespace platform
