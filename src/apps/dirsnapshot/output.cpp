#include "apps/dirsnapshot/output.h"

#include "apps/dirsnapshot/trees.h"
#include "platform/Json.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace dirsnapshot_tool {

namespace {

constexpr char kHexDigits[] = "0123456789abcdef";

void print(std::string_view text) { fwrite(text.data(), 1, text.size(), stdout); }

// Length of the UTF-8 sequence at the beginning (RFC 3629, section 4); 0 where there is none.
size_t sequenceLength(std::string_view text) {
    auto byte = [&](size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U; };
    unsigned first = byte(0);
    if (first < 0x80) return 1;
    // The second byte excludes overlong forms, surrogates and what is beyond U+10FFFF.
    unsigned low = 0x80;
    unsigned high = 0xBF;
    size_t length = 0;
    if (first >= 0xC2 && first <= 0xDF) {
        length = 2;
    } else if (first >= 0xE0 && first <= 0xEF) {
        length = 3;
        if (first == 0xE0) low = 0xA0;
        if (first == 0xED) high = 0x9F;
    } else if (first >= 0xF0 && first <= 0xF4) {
        length = 4;
        if (first == 0xF0) low = 0x90;
        if (first == 0xF4) high = 0x8F;
    } else {
        return 0;
    }
    if (byte(1) < low || byte(1) > high) return 0;
    for (size_t i = 2; i < length; i++)
        if (byte(i) < 0x80 || byte(i) > 0xBF) return 0;
    return length;
}

char letterOf(uint8_t type) {
    switch (type) {
    case DSNodeTypeDirectory:
        return 'd';
    case DSNodeTypeFile:
        return '-';
    case DSNodeTypeSymlink:
        return 'l';
    default:
        return '?';
    }
}

} // namespace

std::string jsonString(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        size_t length = sequenceLength(bytes);
        if (length > 0) {
            text += bytes.substr(0, length);
        } else {
            auto byte = static_cast<unsigned char>(bytes[0]);
            text += '\0';
            text += kHexDigits[byte >> 4];
            text += kHexDigits[byte & 15];
            length = 1;
        }
        bytes.remove_prefix(length);
    }
    return text;
}

JsonArray::JsonArray() { print("["); }

void JsonArray::add(const platform::Value& item) {
    if (!_first) print(",");
    _first = false;
    print(platform::jsonDescription(item));
}

void JsonArray::finish() { print("]\n"); }

void printJson(const platform::Value& value) { print(platform::jsonDescription(value) + "\n"); }

platform::Value itemValue(std::string_view path, const DSNode& node) {
    return platform::Dictionary{{"path", jsonString(path)},
                                {"type", node.type},
                                {"size", node.size},
                                {"modified", node.modifiedTime},
                                {"started", node.startedTime}};
}

void printItem(std::string_view path, const DSNode& node) {
    char date[64] = "?";
    time_t seconds = node.modifiedTime;
    struct tm local {};
    if (localtime_r(&seconds, &local) != nullptr) strftime(date, sizeof date, "%Y-%m-%d %H:%M:%S %z", &local);
    printf("%c %12lld %s ", letterOf(node.type), static_cast<long long>(node.size), date);
    print(path);
    print("\n");
}

std::string hexDigest(const uint8_t* digest) {
    std::string text;
    for (int i = 0; i < DSNodeHashLength; i++) {
        text += kHexDigits[digest[i] >> 4];
        text += kHexDigits[digest[i] & 15];
    }
    return text;
}

void printDigest(std::string_view digest, std::string_view name) {
    std::string escaped;
    for (char byte : name) {
        switch (byte) {
        case '\\':
            escaped += "\\\\";
            break;
        case '\n':
            escaped += "\\n";
            break;
        case '\r':
            escaped += "\\r";
            break;
        default:
            escaped += byte;
        }
    }
    if (escaped.size() != name.size()) print("\\");
    print(digest);
    print("  ");
    print(escaped + "\n");
}

bool flushOutput() {
    errno = 0;
    bool failed = fflush(stdout) != 0 || ferror(stdout) != 0;
    if (failed) complain("standard output", errno != 0 ? strerror(errno) : "cannot be written");
    return !failed;
}

} // namespace dirsnapshot_tool
