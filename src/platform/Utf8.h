// Whether bytes are text.
#pragma once

#include <string_view>

namespace platform {

// Well-formed UTF-8 (RFC 3629, section 4); the empty text is. Copies nothing.
bool isUtf8(std::string_view bytes);

} // namespace platform
