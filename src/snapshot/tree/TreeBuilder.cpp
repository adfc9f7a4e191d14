#include "snapshot/tree/TreeBuilder.h"

#include "snapshot/tree/list_private.h"
#include "snapshot/tree/lookup.h"
#include "snapshot/tree/name_order.h"
#include "snapshot/tree/path_utils.h"

#include <algorithm>
#include <cstring>

namespace snapshot {

TreeBuilder::TreeBuilder(DSNode* root) : _root(root) {}

DSNode* TreeBuilder::findOrCreate(std::string_view path, uint8_t type) {
    if (!path.starts_with('/')) return nullptr;
    if (path.size() >= DSNodePathCapacity) {
        if (path.find('\0') == std::string_view::npos) reportPathTooLong(path);
        return nullptr;
    }
    bool isRoot = path.size() == 1;
    if (path.ends_with('/')) path.remove_suffix(1);

    // As much of the last path as leads the same way: whole components only.
    size_t same = commonStart(path.data(), _path, std::min(path.size(), _length));
    size_t steps = _steps.size();
    for (; steps > 0; steps--) {
        size_t end = _steps[steps - 1].end;
        if (end <= same && (end == path.size() || path[end] == '/')) break;
    }
    size_t at = steps > 0 ? _steps[steps - 1].end : 0; // of the "/" before what is left
    if (memchr(path.data() + at, '\0', path.size() - at) != nullptr) return nullptr;
    if (isRoot) return _root;
    DSNode* node = steps > 0 ? _steps[steps - 1].node : _root;
    _steps.resize(steps);
    memcpy(_path + at, path.data() + at, path.size() - at);
    _length = path.size();
    while (at < path.size() || _steps.empty()) {
        size_t end = std::min(path.find('/', at + 1), path.size());
        std::string_view name = path.substr(at + 1, end - at - 1);
        node =
            findOrAppendChild(node, name, end == path.size() ? type : uint8_t{DSNodeTypeDirectory}, &_nodes);
        _steps.push_back({end, node});
        at = end;
    }
    return node;
}

} // namespace snapshot
