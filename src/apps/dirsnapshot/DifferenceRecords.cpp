#include "apps/dirsnapshot/DifferenceRecords.h"

#include "apps/dirsnapshot/output.h"
#include "platform/utf8.h"

#include <string>
#include <unistd.h>

namespace dirsnapshot_tool {

namespace {

constexpr const char* kLetters[] = {"", "A", "D", "M", "R"};
constexpr const char* kChanges[] = {"", "added", "deleted", "modified", "moved"};
constexpr const char* kMovedBy[] = {"", "inode", "content", "attributes", "name", "items"};

// Green came, red went, yellow is another, cyan is elsewhere.
std::string letters(const std::string& text, const LsColors* colours) {
    if (colours == nullptr) return text;
    const char* colour = text == "A" ? "32" : text == "D" ? "31" : text == "M" ? "33" : "36";
    return inColour(colour, text);
}

std::string shown(const Records& records, std::string_view path, uint8_t type, const LsColors* colours) {
    if (records.areNull()) return std::string(path);
    const std::string text = shownOn(STDOUT_FILENO, path);
    return colours != nullptr ? colours->painted(text, type) : text;
}

} // namespace

void DifferenceRecords::add(const DSDifference& difference) {
    if (_records.areJson()) {
        _records.add(valueOf(difference));
        return;
    }
    const DSNode* node = difference.current != nullptr ? difference.current : difference.previous;
    const uint8_t type = node->type;
    const std::string path = shown(_records, difference.path, type, _colours);
    std::string text = kLetters[difference.kind];
    if (difference.previousPath == nullptr) {
        _records.addText(letters(text, _colours) + " " + path);
        return;
    }
    if (difference.fields != 0) text += "M";
    text = letters(text, _colours) + " " + shown(_records, difference.previousPath, type, _colours);
    if (_records.areNull()) {
        _records.addText(text);
        _records.addText(path);
    } else {
        _records.addText(text + " -> " + path);
    }
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

void addChange(Records& records, char letter, std::string_view path, const platform::Value& is,
               const LsColors* colours, uint8_t type) {
    if (!records.areJson()) {
        if (records.areNull()) colours = nullptr;
        records.addText(letters(std::string(1, letter), colours) + " " + shown(records, path, type, colours));
        return;
    }
    for (int kind : {DSDifferenceAdded, DSDifferenceDeleted, DSDifferenceModified})
        if (kLetters[kind][0] == letter)
            records.add(platform::Dictionary{
                {"change", kChanges[kind]}, {"path", platform::undoableText(path)}, {"is", is}});
}

} // namespace dirsnapshot_tool
