#include "apps/dirsnapshot/size_commands.h"

#include "apps/dirsnapshot/output.h"
#include "apps/dirsnapshot/totals.h"
#include "platform/utf8.h"
#include "snapshot/stores/ReplacedFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace dirsnapshot_tool {

namespace {

// Shows an item and what is below it, or keeps the largest for the end.
class Sizes {
  public:
    Sizes(const SizeOptions& options, Records& records) : _options(options), _records(records) {}

    // The path is as before afterwards.
    void add(const DSNode* node, std::string& path, uint32_t depth) {
        if (depth > _options.depth) return;
        const std::size_t length = path.size();
        for (uint64_t i = 0; i < node->children->count; i++) {
            const DSNode* child = snapshot::childAt(node, i);
            if (child->type != DSNodeTypeDirectory && !_options.files) continue;
            path.append("/").append(child->name);
            add(child, path, depth + 1);
            path.resize(length);
        }
        const std::string_view shown = path.empty() ? "/" : std::string_view(path);
        if (_options.top > 0)
            keep(bytesOf(*node), shown);
        else
            show(bytesOf(*node), shown);
    }
    void showKept() {
        std::sort(_largest.begin(), _largest.end(), isBefore);
        for (const Item& item : _largest)
            show(item.bytes, item.path);
    }

  private:
    struct Item {
        int64_t bytes;
        std::string path;
    };
    static bool isBefore(const Item& a, const Item& b) {
        return a.bytes != b.bytes ? a.bytes > b.bytes : a.path < b.path;
    }
    // A heap: the least of them lies in front, and goes when there is one too many.
    void keep(int64_t bytes, std::string_view path) {
        const bool isFull = _largest.size() == _options.top;
        if (isFull && bytes < _largest.front().bytes) return;
        _largest.push_back({bytes, std::string(path)});
        std::push_heap(_largest.begin(), _largest.end(), isBefore);
        if (!isFull) return;
        std::pop_heap(_largest.begin(), _largest.end(), isBefore);
        _largest.pop_back();
    }
    void show(int64_t bytes, std::string_view path) {
        if (_records.areJson()) {
            _records.add(platform::Dictionary{{"path", platform::undoableText(path)}, {"size", bytes}});
        } else {
            std::string size = _options.inBytes ? std::to_string(bytes) : humanSize(bytes);
            size += '\t';
            _records.addText(_records.areNull() ? size.append(path) : size + shownOn(STDOUT_FILENO, path));
        }
    }

    const SizeOptions& _options;
    Records& _records;
    std::vector<Item> _largest;
};

} // namespace

ExitCode size(const Source& source, const std::string& path, const SizeOptions& options, Format format) {
    LoadedTree tree = scanOrLoad(source.path, source.type);
    if (tree.root == nullptr) return kTrouble;
    DSNode* node = findItem(tree, path);
    if (node == nullptr) return kTrouble;
    foldTotals(node);
    Records records(format);
    Sizes sizes(options, records);
    std::string at = pathOf(node);
    if (at == "/") at.clear();
    sizes.add(node, at, 0);
    sizes.showKept();
    records.finish();
    return tree.complete ? kSame : kTrouble;
}

ExitCode map(const Source& source, const std::string& path, const std::string& file, PictureSize size) {
    LoadedTree tree = scanOrLoad(source.path, source.type);
    if (tree.root == nullptr) return kTrouble;
    DSNode* node = findItem(tree, path);
    if (node == nullptr) return kTrouble;
    foldTotals(node);
    errno = 0;
    snapshot::ReplacedFile picture(file.c_str());
    if (picture.file() != nullptr) drawMap(picture.file(), node, pathOf(node), size);
    if (picture.file() == nullptr || picture.close() != 0) {
        complain(file, errno != 0 ? strerror(errno) : "cannot be written");
        return kTrouble;
    }
    return tree.complete ? kSame : kTrouble;
}

} // namespace dirsnapshot_tool
