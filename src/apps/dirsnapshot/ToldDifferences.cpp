#include "apps/dirsnapshot/ToldDifferences.h"

#include "snapshot/stores/StoredItems.h"

#include <algorithm>
#include <filesystem>
#include <utility>

namespace dirsnapshot_tool {

void tellWhole(int32_t kind, std::string_view item, const DSNode* node,
               const std::function<void(const DSDifference& difference)>& tell) {
    struct Visitor {
        const std::function<void(const DSDifference& difference)>& tell;
        int32_t kind;
        void enter() {}
        void item(std::string_view path, const DSNode& each) const {
            const std::string text(path);
            DSDifference difference{};
            difference.kind = kind;
            (kind == DSDifferenceAdded ? difference.current : difference.previous) = &each;
            difference.path = text.c_str();
            tell(difference);
        }
    } visitor{tell, kind};
    visitor.item(item, *node);
    if (node->type == DSNodeTypeDirectory)
        snapshot::StoredItems<Visitor>(visitor).visitBelow(std::string(item), node);
}

ToldDifferences::ToldDifferences(const std::string& directory, const std::vector<std::string>& exclusions,
                                 uint32_t fields, Tell tell)
    : _fields(fields), _tell(std::move(tell)) {
    const std::string above = directory == "/" ? "" : directory;
    for (const std::string& entry : exclusions) {
        if (!entry.starts_with('/')) {
            _names.push_back(entry);
            continue;
        }
        std::string path = std::filesystem::path(entry).lexically_normal();
        if (path.ends_with('/')) path.pop_back();
        if (path.starts_with(above + "/")) _paths.push_back(path.substr(above.size()));
    }
}

bool ToldDifferences::isExcluded(std::string_view item) const {
    const auto isBelow = [item](const std::string& path) {
        return item.starts_with(path) && (item.size() == path.size() || item[path.size()] == '/');
    };
    if (std::ranges::any_of(_paths, isBelow)) return true;
    const auto isIn = [item](const std::string& name) {
        const std::string step = "/" + name;
        for (size_t at = 0; (at = item.find(step, at)) != std::string_view::npos; at += step.size()) {
            const size_t end = at + step.size();
            if (end == item.size() || item[end] == '/') return true;
        }
        return false;
    };
    return std::ranges::any_of(_names, isIn);
}

void ToldDifferences::add(const DSDifference& difference) const {
    const bool isMove = difference.kind == DSDifferenceMoved;
    const bool isGone = isExcluded(difference.path);
    const bool wasGone = isMove ? isExcluded(difference.previousPath) : isGone;
    if (isGone && wasGone) return;
    const auto tell = [this](const DSDifference& each) { add(each); };
    if (isGone) return tellWhole(DSDifferenceDeleted, difference.previousPath, difference.previous, tell);
    if (wasGone) return tellWhole(DSDifferenceAdded, difference.path, difference.current, tell);
    DSDifference told = difference;
    told.fields &= _fields;
    if (told.kind != DSDifferenceModified || told.fields != 0) _tell(told);
}

} // namespace dirsnapshot_tool
