// Which fields of two items differ, as far as they count.
#pragma once

#include "snapshot/DSDifferences.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <optional>

namespace snapshot {

class ItemFields {
  public:
    using Digest = std::array<uint8_t, DSNodeHashLength>;

    explicit ItemFields(const DSDifferenceOptions& options) : _options(options) {}

    // Without questions about contents.
    uint32_t differing(const DSNode* a, const DSNode* b) const {
        if (a->type == DSNodeTypeDirectory && b->type == DSNodeTypeDirectory) return 0;
        uint32_t fields = 0;
        if (a->type != b->type) fields |= DSFieldType;
        if (a->size != b->size) fields |= DSFieldSize;
        if (a->size != b->size && areFiles(a, b)) fields |= DSFieldContent;
        if (a->modifiedTime != b->modifiedTime) fields |= DSFieldModifiedTime;
        return fields & _options.fields;
    }

    // Whether only their contents can tell.
    bool dependOnContent(const DSNode* a, const DSNode* b) const {
        return (_options.fields & DSFieldContent) != 0 && areFiles(a, b) && a->size == b->size && a->size > 0;
    }

    // None when it is not known.
    std::optional<Digest> contentOf(const DSNode* node, bool isPrevious, const char* path) const {
        if (_options.content == nullptr) return std::nullopt;
        const uint8_t* bytes = _options.content(node, isPrevious ? 1 : 0, path, _options.contentContext);
        if (bytes == nullptr) return std::nullopt;
        Digest digest;
        memcpy(digest.data(), bytes, digest.size());
        return digest;
    }

    const DSDifferenceOptions& options() const { return _options; }

  private:
    static bool areFiles(const DSNode* a, const DSNode* b) {
        return a->type == DSNodeTypeFile && b->type == DSNodeTypeFile;
    }

    const DSDifferenceOptions& _options;
};

} // namespace snapshot
