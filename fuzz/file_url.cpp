// File URLs. Input: a text, taken as a URI and as a path. What is let through must survive the way over the
// bus, byte for byte, and be as its header says.
#include "fuzz/require.h"
#include "platform/FileURL.h"

#include <cstdint>
#include <string>

using platform::FileURL;

namespace {

void check(const FileURL& url) {
    const std::string& path = url.path();
    require(path.starts_with('/') && path.size() <= FileURL::maximumPathLength);
    require(path.find('\0') == std::string::npos && (path == "/" || !path.ends_with('/')));
    const std::string uri = url.uri();
    require(uri.starts_with("file:///"));
    for (const char byte : uri)
        require(byte > ' ' && byte < '\x7f');
    const auto again = FileURL::withURI(uri);
    require(again && *again == url);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    if (const auto url = FileURL::withURI(text)) check(*url);
    if (const auto url = FileURL::withURI("file://" + text)) check(*url);
    const auto url = FileURL::withPath(text);
    require(url.has_value() == (text.starts_with('/') && text.find('\0') == std::string::npos &&
                                text.size() <= FileURL::maximumPathLength));
    if (url) check(*url);
    return 0;
}
