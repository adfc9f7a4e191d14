// A text for a person: one of the system's fixed English texts with its arguments still apart, so that
// whoever shows it can put the text into the person's language. What is logged, sent or printed for programs
// is the English form.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

// The format with each "%@" replaced by the next argument; a "%@" without one stays.
inline std::string filled(std::string_view format, const std::vector<std::string>& arguments) {
    std::string text;
    std::size_t next = 0;
    for (std::size_t at = 0; at < format.size();) {
        if (next < arguments.size() && format.substr(at, 2) == "%@") {
            text += arguments[next++];
            at += 2;
        } else {
            text += format[at++];
        }
    }
    return text;
}

struct DisplayText {
    std::string format;                 // English
    std::vector<std::string> arguments; // names and paths; never translated

    std::string english() const { return filled(format, arguments); }
    friend bool operator==(const DisplayText&, const DisplayText&) = default;
};

} // namespace platform
