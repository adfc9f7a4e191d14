// The reader of flat files. Input: one byte, odd for the variant with digests, then the file. What it gives
// is written and read again: the writer's bytes always load, and come out the same.
#include "fuzz/require.h"
#include "snapshot/stores/flat_file.h"

#include <sys/mman.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <unistd.h>

namespace {

// A file in memory, under a name that can be opened.
class MemoryFile {
  public:
    MemoryFile(const void* bytes, size_t size) : _descriptor(memfd_create("fuzz", MFD_CLOEXEC)) {
        require(write(_descriptor, bytes, size) == static_cast<ssize_t>(size));
        path = "/proc/self/fd/" + std::to_string(_descriptor);
    }
    ~MemoryFile() { close(_descriptor); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string path;

  private:
    int _descriptor;
};

std::string written(const DSNode* root) {
    char* bytes = nullptr;
    size_t size = 0;
    FILE* stream = open_memstream(&bytes, &size);
    snapshot::_saveSnapshot("", root, stream);
    fclose(stream);
    std::string text(bytes, size);
    free(bytes);
    return text;
}

// Whether each path leads back to the node that it was written for, and each size reads back as itself.
bool readsBack(const DSNode* node) {
    for (uint64_t i = 0; i < node->children->count; i++) {
        const auto* child = static_cast<const DSNode*>(node->children->items[i]->value);
        if (child->_nameLength == 0 || child->size < 0) return false;
        if (child->type != DSNodeTypeDirectory && child->children->count > 0) return false;
        if (!readsBack(child)) return false;
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    bool complete = false;
    MemoryFile input(data + 1, size - 1);
    DSNode* root = snapshot::loadFlatFile(input.path.c_str(), (data[0] & 1) != 0, complete);
    require(root != nullptr || !complete);
    if (root == nullptr) return 0;
    std::string bytes = written(root);
    MemoryFile output(bytes.data(), bytes.size());
    DSNode* again = snapshot::loadFlatFile(output.path.c_str(), false, complete);
    require(again != nullptr && complete);
    if (readsBack(root)) require(written(again) == bytes);
    DSNodeDestroy(again);
    DSNodeDestroy(root);
    return 0;
}
