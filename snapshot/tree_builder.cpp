#include "snapshot/tree_builder.h"

#include "snapshot/lookup.h"
#include "snapshot/path_utils.h"

#include <algorithm>

namespace snapshot {

TreeBuilder::TreeBuilder(DSNode* root) : _root(root) {}

DSNode* TreeBuilder::findOrCreate(std::string_view path, uint8_t type) {
    if (!path.starts_with('/') || path.find('\0') != std::string_view::npos) return nullptr;
    if (path.size() >= DSNodePathCapacity) {
        reportPathTooLong(path);
        return nullptr;
    }
    if (path == "/") return _root;
    if (path.ends_with('/')) path.remove_suffix(1);

    // As much of the last path as leads the same way: whole components only.
    size_t same = static_cast<size_t>(
        std::mismatch(path.begin(), path.end(), _path.begin(), _path.end()).first - path.begin());
    while (!_steps.empty()) {
        size_t end = _steps.back().end;
        if (end <= same && (end == path.size() || path[end] == '/')) break;
        _steps.pop_back();
    }
    size_t at = _steps.empty() ? 0 : _steps.back().end; // of the "/" before what is left
    DSNode* node = _steps.empty() ? _root : _steps.back().node;
    _path.replace(at, std::string::npos, path.substr(at));
    while (at < path.size() || _steps.empty()) {
        size_t end = std::min(path.find('/', at + 1), path.size());
        std::string_view name = path.substr(at + 1, end - at - 1);
        node = findOrAppendChild(node, name, end == path.size() ? type : uint8_t{DSNodeTypeDirectory});
        _steps.push_back({end, node});
        at = end;
    }
    return node;
}

} // namespace snapshot
