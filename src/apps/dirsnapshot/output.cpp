#include "apps/dirsnapshot/output.h"

#include "apps/dirsnapshot/trees.h"
#include "platform/json.h"
#include "platform/utf8.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <unistd.h>

namespace dirsnapshot_tool {

namespace {

constexpr char kHexDigits[] = "0123456789abcdef";

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

void printJson(const platform::Value& value) { puts(platform::jsonDescription(value).c_str()); }

platform::Value itemValue(std::string_view path, const DSNode& node) {
    return platform::Dictionary{{"path", platform::undoableText(path)},
                                {"type", node.type},
                                {"size", node.size},
                                {"modified", node.modifiedTime},
                                {"started", node.startedTime}};
}

std::string withoutControls(std::string_view text) {
    std::string shown;
    for (size_t at = 0; at < text.size();) {
        const size_t length = platform::characterLength(text, at);
        const auto byte = static_cast<unsigned char>(text[at]);
        // Behind C2 are U+0080 to U+00BF, of which the first half are controls as well.
        const bool isControl = length == 0 || byte < ' ' || byte == 0x7F ||
                               (byte == 0xC2 && static_cast<unsigned char>(text[at + 1]) < 0xA0);
        if (isControl)
            shown += '?';
        else
            shown.append(text, at, length);
        at += std::max<size_t>(length, 1);
    }
    return shown;
}

std::string shownOn(int descriptor, std::string_view text) {
    static const bool isTerminal[] = {false, isatty(STDOUT_FILENO) != 0, isatty(STDERR_FILENO) != 0};
    return isTerminal[descriptor] ? withoutControls(text) : std::string(text);
}

std::string itemLine(std::string_view path, const DSNode& node, const LsColors* colours) {
    char date[64] = "?";
    time_t seconds = node.modifiedTime;
    struct tm local {};
    if (localtime_r(&seconds, &local) != nullptr) strftime(date, sizeof date, "%Y-%m-%d %H:%M:%S %z", &local);
    char before[128];
    const int length = snprintf(before, sizeof before, "%c %12lld %s ", letterOf(node.type),
                                static_cast<long long>(node.size), date);
    const std::string shown = shownOn(STDOUT_FILENO, path);
    return std::string(before, static_cast<std::size_t>(length)) +
           (colours != nullptr ? colours->painted(shown, node.type) : shown);
}

std::string hexDigest(const uint8_t* digest) {
    std::string text;
    for (int i = 0; i < DSNodeHashLength; i++) {
        text += kHexDigits[digest[i] >> 4];
        text += kHexDigits[digest[i] & 15];
    }
    return text;
}

bool digestOfHex(std::string_view text, uint8_t* digest) {
    if (text.size() != size_t{2} * DSNodeHashLength) return false;
    for (size_t i = 0; i < DSNodeHashLength; i++) {
        const char* end = text.data() + 2 * i + 2;
        const auto [stop, error] = std::from_chars(end - 2, end, digest[i], 16);
        if (error != std::errc() || stop != end) return false;
    }
    return true;
}

std::string digestLine(std::string_view digest, std::string_view name) {
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
    const char* mark = escaped.size() != name.size() ? "\\" : "";
    return std::string(mark).append(digest).append("  ").append(shownOn(STDOUT_FILENO, escaped));
}

bool flushOutput() {
    errno = 0;
    bool failed = fflush(stdout) != 0 || ferror(stdout) != 0;
    if (failed) complain("standard output", errno != 0 ? strerror(errno) : "cannot be written");
    return !failed;
}

} // namespace dirsnapshot_tool
