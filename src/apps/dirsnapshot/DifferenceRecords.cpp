#include "apps/dirsnapshot/DifferenceRecords.h"

#include "apps/dirsnapshot/output.h"
#include "platform/utf8.h"

#include <string>

namespace dirsnapshot_tool {

namespace {

constexpr const char* kLetters[] = {"", "A", "D", "M", "R"};
constexpr const char* kChanges[] = {"", "added", "deleted", "modified", "moved"};
constexpr const char* kMovedBy[] = {"", "inode", "content", "attributes", "name", "items"};

} // namespace

void DifferenceRecords::add(const DSDifference& difference) {
    if (_records.areJson()) {
        _records.add(valueOf(difference));
        return;
    }
    std::string text = kLetters[difference.kind];
    if (difference.previousPath != nullptr) {
        if (difference.fields != 0) text += "M";
        text += std::string(" ") + difference.previousPath;
        if (!_records.areNull()) {
            _records.addText(text + " -> " + difference.path);
            return;
        }
        _records.addText(text);
        _records.addText(difference.path);
        return;
    }
    _records.addText(text + " " + difference.path);
}

platform::Value DifferenceRecords::fieldsOf(const DSNode* node) const {
    platform::Dictionary fields{{"type", node->type}, {"size", node->size}, {"mtime", node->modifiedTime}};
    if (const uint8_t* content = _contentOf(node)) fields.emplace("content", hexDigest(content));
    return fields;
}

platform::Value DifferenceRecords::valueOf(const DSDifference& difference) const {
    platform::Dictionary value{{"change", kChanges[difference.kind]},
                               {"path", platform::undoableText(difference.path)}};
    if (difference.previous != nullptr) value.emplace("was", fieldsOf(difference.previous));
    if (difference.current != nullptr) value.emplace("is", fieldsOf(difference.current));
    if (difference.previousPath != nullptr) {
        value.emplace("from", platform::undoableText(difference.previousPath));
        value.emplace("by", kMovedBy[difference.movedBy]);
    }
    if (difference.previous != nullptr && difference.current != nullptr) {
        platform::Array names;
        for (const Field& field : kFields)
            if ((difference.fields & field.bit) != 0) names.emplace_back(field.name);
        value.emplace("fields", names);
    }
    return value;
}

void addChange(Records& records, char letter, std::string_view path, const platform::Value& is) {
    if (!records.areJson()) {
        records.addText(std::string(1, letter) + " " + std::string(path));
        return;
    }
    for (int kind : {DSDifferenceAdded, DSDifferenceDeleted, DSDifferenceModified})
        if (kLetters[kind][0] == letter)
            records.add(platform::Dictionary{
                {"change", kChanges[kind]}, {"path", platform::undoableText(path)}, {"is", is}});
}

} // namespace dirsnapshot_tool
