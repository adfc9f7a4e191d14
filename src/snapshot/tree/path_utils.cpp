#include "snapshot/tree/path_utils.h"

#include "snapshot/DSNode.h"
#include "snapshot/tree/allocation.h"
#include "snapshot/tree/list_private.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace snapshot {

namespace {

// Visits the components of a path in order.
class Components {
  public:
    explicit Components(std::string_view path) : _rest(path) {
        size_t first = path.find('/');
        _rest.remove_prefix(first == std::string_view::npos ? path.size() : first);
    }

    bool next(std::string_view& component) {
        if (_rest.size() < 2) return false; // nothing, or the last "/"
        size_t end = _rest.find('/', 1);
        component = _rest.substr(1, end == std::string_view::npos ? end : end - 1);
        _rest.remove_prefix(end == std::string_view::npos ? _rest.size() : end);
        return true;
    }

  private:
    std::string_view _rest; // empty, or begins with "/"
};

uint32_t countOf(std::string_view path) {
    uint32_t count = 0;
    std::string_view component;
    for (Components components(path); components.next(component);)
        count++;
    return count;
}

bool fits(std::string_view path) {
    if (path.size() < DSNodePathCapacity) return true;
    reportPathTooLong(path);
    return false;
}

} // namespace

void reportPathTooLong(std::string_view path) {
    constexpr int shown = 60;
    fprintf(stderr, "Path is longer than %d bytes and is refused: %.*s%s\n", DSNodePathCapacity - 1, shown,
            std::string(path.substr(0, shown)).c_str(), path.size() > shown ? "..." : "");
}

void _path_components_free(void* component) { free(component); }

DSList* pathComponentsList(const char* path) {
    std::string_view text(path);
    if (text.find('/') == std::string_view::npos) {
        fputs("Cannot look for path components on a non-absolute path.\n", stderr);
        return nullptr;
    }
    if (!fits(text)) return nullptr;
    DSList* list = DSListCreate();
    DSListSetFreeCallback(list, _path_components_free);
    std::string_view component;
    for (Components components(text); components.next(component);)
        DSListAppendValue(list, duplicate(component));
    return list;
}

char* pathFromPathComponentsList(const DSList* components) {
    if (components == nullptr || components->count == 0) return nullptr;
    std::string path;
    for (const DSListNode* link = components->head; link != nullptr; link = link->next)
        path.append("/").append(static_cast<const char*>(link->value));
    return fits(path) ? duplicate(path) : nullptr;
}

char* pathByAppendingPathComponent(const char* path, const char* component) {
    DSList* components = pathComponentsList(path);
    if (components == nullptr) return nullptr;
    DSListAppendValue(components, duplicate(component));
    char* result = pathFromPathComponentsList(components);
    DSListDestroy(components);
    return result;
}

uint32_t pathComponents(const char* path) { return fits(path) ? countOf(path) : 0; }

bool isAbsolutePath(const char* path) { return path[0] == '/'; }

int isPathUnrelated(const char* first, const char* second) {
    if (!isAbsolutePath(first) || !isAbsolutePath(second)) return -1;
    if (!fits(first) || !fits(second)) return 0;
    bool firstIsShorter = countOf(first) <= countOf(second);
    return _isChildOfPath(firstIsShorter ? first : second, firstIsShorter ? second : first) ? 0 : 1;
}

bool isChildOfPath(const char* ancestor, const char* path) {
    if (!isAbsolutePath(ancestor) || !isAbsolutePath(path) || !fits(ancestor) || !fits(path)) return false;
    return countOf(ancestor) != countOf(path) && _isChildOfPath(ancestor, path);
}

bool _isChildOfPath(const char* ancestor, const char* path) {
    return std::string_view(path).starts_with(ancestor);
}

bool isEqualToPath(const char* first, const char* second) {
    if (!isAbsolutePath(first) || !isAbsolutePath(second) || !fits(first) || !fits(second)) return false;
    Components a(first);
    Components b(second);
    std::string_view left;
    std::string_view right;
    while (a.next(left)) {
        if (!b.next(right) || left != right) return false;
    }
    return !b.next(right);
}

} // namespace snapshot
