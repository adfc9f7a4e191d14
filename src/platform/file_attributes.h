// The keys and values of a file-attribute dictionary. Their texts equal their names, and they travel as text.
#pragma once

namespace platform {

inline constexpr const char* NSFileType = "NSFileType";
inline constexpr const char* NSFileSize = "NSFileSize";                         // bytes
inline constexpr const char* NSFileModificationDate = "NSFileModificationDate"; // seconds since 1970
inline constexpr const char* NSFileCreationDate = "NSFileCreationDate";         // seconds since 1970

// Values of NSFileType.
inline constexpr const char* NSFileTypeDirectory = "NSFileTypeDirectory";
inline constexpr const char* NSFileTypeRegular = "NSFileTypeRegular";
inline constexpr const char* NSFileTypeSymbolicLink = "NSFileTypeSymbolicLink";

} // namespace platform
