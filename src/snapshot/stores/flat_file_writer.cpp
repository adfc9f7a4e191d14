#include "snapshot/DSFlatFile.h"
#include "snapshot/stores/ReplacedFile.h"
#include "snapshot/stores/StoredItems.h"
#include "snapshot/stores/flat_file.h"

#include <charconv>
#include <memory>

namespace snapshot {

namespace {

class RecordWriter {
  public:
    explicit RecordWriter(FILE* file) : _file(file) {}

    void enter() {}

    void item(std::string_view path, const DSNode& node) {
        if (kCapacity - _used < kLongestRecord) flush();
        number(path.size());
        memcpy(_buffer.get() + _used, path.data(), path.size());
        _used += path.size();
        number(static_cast<uint64_t>(node.size));
        number(node.type);
        number(node.modifiedTime);
        number(node.startedTime);
    }

    void flush() {
        fwrite(_buffer.get(), 1, _used, _file);
        _used = 0;
    }

  private:
    static constexpr size_t kCapacity = size_t{256} << 10;
    static constexpr size_t kLongestRecord = DSNodePathCapacity + 5 * 21; // five numbers and their bars

    template <typename Number>
    void number(Number value) {
        char* at = _buffer.get() + _used;
        char* end = std::to_chars(at, at + 20, value).ptr;
        *end++ = '|';
        _used += static_cast<size_t>(end - at);
    }

    FILE* _file;
    std::unique_ptr<char[]> _buffer{new char[kCapacity]};
    size_t _used = 0;
};

} // namespace

void _saveSnapshotWithSHA1(const char* prefix, const DSNode* node, FILE* file, int /*useSHA1*/) {
    RecordWriter writer(file);
    StoredItems<RecordWriter>(writer).visitBelow(prefix, node);
    writer.flush();
}

void _saveSnapshot(const char* prefix, const DSNode* node, FILE* file) {
    _saveSnapshotWithSHA1(prefix, node, file, 0);
}

SaveResult saveFlatFile(const DSNode* root, const char* path) {
    if (root == nullptr) return SaveResult::failed;
    if (path == nullptr) return SaveResult::notCreated;
    ReplacedFile target(path);
    if (target.file() == nullptr) return target.isFull() ? SaveResult::failed : SaveResult::notCreated;
    _saveSnapshot("", root, target.file());
    return target.close() == 0 ? SaveResult::saved : SaveResult::failed;
}

} // namespace snapshot

using namespace snapshot;

int DSNodeSaveSnapshot(const DSNode* root, const char* path) noexcept {
    return DSNodeSaveSnapshotWithSHA1(root, path, 0);
}

int DSNodeSaveSnapshotWithSHA1(const DSNode* root, const char* path, int /*useSHA1*/) noexcept {
    return saveFlatFile(root, path) == SaveResult::failed ? EOF : 0;
}
