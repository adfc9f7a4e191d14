// What rclone answers. An item's name never leads elsewhere, and half a list is none.
#include "backends/rclone/replies.h"
#include "fuzz/require.h"
#include "platform/json.h"

#include <cstdint>
#include <string>

namespace {

using namespace backends::rclone;

void check(const service::RemoteItem& item) {
    require(!item.name.empty() && item.name.find('/') == std::string::npos);
    for (const auto& [algorithm, digest] : item.digests)
        require(!digest.empty());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    if (const auto list = readList(text)) {
        const auto value = platform::valueOfJson(text);
        require(value && value->dictionary());
        const auto* items = platform::find(*value->dictionary(), "list");
        require(items && list->size() == (items->array() ? items->array()->size() : 0));
        for (const auto& item : *list)
            check(item);
    }
    if (const auto item = readItem(text); item && *item) check(**item);
    require(!readFailure(500, text).text.empty());
    static_cast<void>(readFeatures(text));
    static_cast<void>(readQuota(text));
    static_cast<void>(readLink(text));
    static_cast<void>(readProgress(text));
    static_cast<void>(readVersion(text));
    static_cast<void>(readTime(text));
    return 0;
}
