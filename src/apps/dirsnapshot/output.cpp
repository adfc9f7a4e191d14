#include "apps/dirsnapshot/output.h"

#include "apps/dirsnapshot/trees.h"
#include "platform/json.h"
#include "platform/utf8.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace dirsnapshot_tool {

namespace {

constexpr char kHexDigits[] = "0123456789abcdef";

void print(std::string_view text) { fwrite(text.data(), 1, text.size(), stdout); }

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

JsonArray::JsonArray() { print("["); }

void JsonArray::add(const platform::Value& item) {
    if (!_first) print(",");
    _first = false;
    print(platform::jsonDescription(item));
}

void JsonArray::finish() { print("]\n"); }

void printJson(const platform::Value& value) { print(platform::jsonDescription(value) + "\n"); }

platform::Value itemValue(std::string_view path, const DSNode& node) {
    return platform::Dictionary{{"path", platform::undoableText(path)},
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
