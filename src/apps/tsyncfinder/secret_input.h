// How a password gets from a person or a pipe into the process.
#pragma once

#include "platform/SecretBytes.h"

#include <optional>
#include <string>

namespace apps::tsyncfinder {

inline constexpr std::size_t longestSecret = std::size_t{1} << 20; // bytes

// One line from a terminal, after a prompt on standard error, echoed or not; from anything else all bytes up
// to the end but one final line break. None when the end or an error comes first, or when there is more than
// longestSecret. A signal that ends or stops the process finds the terminal as it was; the caller has no
// other thread that would take the signal.
std::optional<platform::SecretBytes> readSecret(int input, const std::string& prompt, bool echo);

} // namespace apps::tsyncfinder
