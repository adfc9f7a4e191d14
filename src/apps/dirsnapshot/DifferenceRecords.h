// Differences as records on standard output.
#pragma once

#include "apps/dirsnapshot/Records.h"
#include "snapshot/DSDifferences.h"

#include <cstdint>
#include <functional>
#include <string_view>
#include <utility>

namespace dirsnapshot_tool {

// What people and JSON call the fields.
struct Field {
    uint32_t bit;
    const char* name;
};
inline constexpr Field kFields[] = {{DSFieldType, "type"},
                                    {DSFieldSize, "size"},
                                    {DSFieldModifiedTime, "mtime"},
                                    {DSFieldContent, "content"}};

class DifferenceRecords {
  public:
    // The digest of a file's content where it is known, else NULL. It shows in JSON.
    using ContentOf = std::function<const uint8_t*(const DSNode* node)>;
    // Only lines show the colours, which may be NULL.
    DifferenceRecords(Format format, const LsColors* colours, ContentOf contentOf)
        : _records(format), _colours(format == Format::lines ? colours : nullptr),
          _contentOf(std::move(contentOf)) {}

    void add(const DSDifference& difference);
    void finish() { _records.finish(); }

  private:
    platform::Value valueOf(const DSDifference& difference) const;
    platform::Value fieldsOf(const DSNode* node) const;

    Records _records;
    const LsColors* _colours;
    ContentOf _contentOf;
};

// A change without fields: a letter and a path, or {"change","path","is"}. The type is that of the item, and
// without colours may be any.
void addChange(Records& records, char letter, std::string_view path, const platform::Value& is,
               const LsColors* colours, uint8_t type);

} // namespace dirsnapshot_tool
