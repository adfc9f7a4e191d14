#include "dirsnapshot/item_kinds.h"

#include "platform/file_attributes.h"

#include <cmath>
#include <limits>

namespace dirsnapshot {

const char* fileTypeOf(std::uint8_t kind) {
    switch (kind) {
    case DSNodeTypeDirectory:
        return platform::NSFileTypeDirectory;
    case DSNodeTypeSymlink:
        return platform::NSFileTypeSymbolicLink;
    default:
        return platform::NSFileTypeRegular;
    }
}

std::uint8_t kindOf(const platform::Dictionary& fileInfo) {
    const std::string* text = platform::textAt(fileInfo, platform::NSFileType);
    if (text == nullptr) return DSNodeTypeOther;
    if (*text == platform::NSFileTypeRegular) return DSNodeTypeFile;
    if (*text == platform::NSFileTypeDirectory) return DSNodeTypeDirectory;
    if (*text == platform::NSFileTypeSymbolicLink) return DSNodeTypeSymlink;
    return DSNodeTypeOther;
}

std::int64_t wholeNumber(const platform::Dictionary& fileInfo, std::string_view key) {
    using Limits = std::numeric_limits<std::int64_t>;
    const platform::Value* value = platform::find(fileInfo, key);
    if (value == nullptr) return 0;
    if (const std::int64_t* number = value->signedInteger()) return *number;
    if (const std::uint64_t* number = value->unsignedInteger())
        return *number > static_cast<std::uint64_t>(Limits::max()) ? Limits::max()
                                                                   : static_cast<std::int64_t>(*number);
    const double* number = value->number();
    if (number == nullptr || std::isnan(*number)) return 0;
    constexpr double beyond = 9223372036854775808.0; // 2^63
    if (*number >= beyond) return Limits::max();
    return *number < -beyond ? Limits::min() : static_cast<std::int64_t>(*number);
}

} // namespace dirsnapshot
