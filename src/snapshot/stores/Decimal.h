// Reading decimal numbers from text as C's scanf does: white space is skipped, one sign is allowed, digits
// follow. The number ends at the first byte that is not a digit, which stays unread.
#pragma once

#include <cstdint>
#include <limits>
#include <string_view>

namespace snapshot {

// A number as it stands in the text. What is out of range reads as the nearest end of the range.
struct Decimal {
    bool negative = false;
    bool beyond = false; // the digits exceed 64 bits
    uint64_t magnitude = 0;

    int64_t asSigned() const {
        constexpr auto largest = static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
        if (beyond || magnitude > largest + (negative ? 1 : 0))
            return negative ? std::numeric_limits<int64_t>::min() : std::numeric_limits<int64_t>::max();
        return static_cast<int64_t>(negative ? 0 - magnitude : magnitude);
    }

    // A negative number wraps, as C's conversion does: -1 is the largest number.
    uint64_t asUnsigned() const {
        if (beyond) return std::numeric_limits<uint64_t>::max();
        return negative ? 0 - magnitude : magnitude;
    }
};

enum class Scan {
    number,   // a number was read
    mismatch, // something else stands there
    end       // the text ended before a number was complete enough to be one
};

inline bool isWhiteSpace(int byte) { return byte == ' ' || (byte >= '\t' && byte <= '\r'); }
inline bool isDigit(int byte) { return byte >= '0' && byte <= '9'; }

// Source: int peek() gives the next byte or -1 at the end; void skip() passes it.
template <typename Source>
Scan scanDecimal(Source& source, Decimal& result) {
    result = {};
    int byte = source.peek();
    while (isWhiteSpace(byte)) {
        source.skip();
        byte = source.peek();
    }
    if (byte == '+' || byte == '-') {
        result.negative = byte == '-';
        source.skip();
        byte = source.peek();
    }
    if (!isDigit(byte)) return byte < 0 ? Scan::end : Scan::mismatch;
    constexpr uint64_t largest = std::numeric_limits<uint64_t>::max();
    for (; isDigit(byte); byte = source.peek()) {
        auto digit = static_cast<uint64_t>(byte - '0');
        if (result.magnitude > (largest - digit) / 10)
            result.beyond = true;
        else
            result.magnitude = 10 * result.magnitude + digit;
        source.skip();
    }
    return Scan::number;
}

// The number at the beginning of a text; 0 when there is none.
inline Decimal decimalOf(std::string_view text) {
    struct Text {
        std::string_view rest;
        int peek() const { return rest.empty() ? -1 : static_cast<unsigned char>(rest.front()); }
        void skip() { rest.remove_prefix(1); }
    } source{text};
    Decimal number;
    if (scanDecimal(source, number) != Scan::number) return {};
    return number;
}

} // namespace snapshot
