// Evidence as a file; docs/formats/evidence.md has the bytes.
#include "snapshot/DSQuickLook.h"
#include "snapshot/stores/ReplacedFile.h"
#include "snapshot/stores/item_counts.h"
#include "snapshot/tree/Evidence.h"
#include "snapshot/tree/list_private.h"

#include <array>
#include <cstring>
#include <memory>
#include <vector>

using namespace snapshot;

namespace {

constexpr std::array<char, 8> kMagic = {'d', 's', 'e', 'v', 'i', 'd', '2', '\n'};
constexpr size_t kHeaderBytes = 24; // the magic, the time, the number of records
constexpr size_t kRecordBytes = 48;

void put(uint8_t*& at, uint64_t value, unsigned bytes) {
    for (unsigned i = 0; i < bytes; i++)
        *at++ = static_cast<uint8_t>(value >> (8 * i));
}

uint64_t get(const uint8_t*& at, unsigned bytes) {
    uint64_t value = 0;
    for (unsigned i = 0; i < bytes; i++)
        value |= uint64_t{*at++} << (8 * i);
    return value;
}

struct CloseFile {
    void operator()(FILE* file) const { fclose(file); }
};

bool readHeader(FILE* file, int64_t& begun, uint64_t& count) {
    std::array<uint8_t, kHeaderBytes> header;
    if (fread(header.data(), 1, header.size(), file) != header.size()) return false;
    if (memcmp(header.data(), kMagic.data(), kMagic.size()) != 0) return false;
    const uint8_t* at = header.data() + kMagic.size();
    begun = static_cast<int64_t>(get(at, 8));
    count = get(at, 8);
    return true;
}

bool readRecords(FILE* file, DSEvidence& evidence) {
    uint64_t count = 0;
    if (!readHeader(file, evidence.begun, count)) return false;
    std::vector<uint8_t> piece(kRecordBytes << 12);
    for (size_t got = 1; evidence.records.size() < count && got > 0;) { // no memory for what is not there
        got = fread(piece.data(), kRecordBytes, piece.size() / kRecordBytes, file);
        const uint8_t* at = piece.data();
        for (size_t i = 0; i < got; i++) {
            EvidenceRecord& record = evidence.records.emplace_back();
            const uint64_t device = get(at, 8);
            record.device = static_cast<uint32_t>(device);
            if (record.device != device) return false;
            record.inode = get(at, 8);
            record.modified = static_cast<int64_t>(get(at, 8));
            record.changed = static_cast<int64_t>(get(at, 8));
            record.born = static_cast<int64_t>(get(at, 8));
            record.count = static_cast<uint32_t>(get(at, 4));
            record.check = static_cast<uint32_t>(get(at, 4));
        }
    }
    return evidence.records.size() == count;
}

// Whether the records are of the tree's nodes, one for each, and know how many lie below each. They learn
// which are directories.
bool isOf(const DSNode* root, std::vector<EvidenceRecord>& records) {
    struct Level {
        const DSNode* node;
        uint64_t next;
        size_t record;
    };
    size_t used = 0;
    const auto take = [&](const DSNode* node) {
        if (used == records.size()) return false;
        EvidenceRecord& record = records[used++];
        record.isDirectory = node->type == DSNodeTypeDirectory;
        return record.check == checkOfNode(*node);
    };
    if (!take(root)) return false;
    std::vector<Level> levels{{root, 0, 0}};
    while (!levels.empty()) {
        Level& level = levels.back();
        if (level.next == level.node->children->count) {
            if (used - level.record != records[level.record].count) return false;
            levels.pop_back();
            continue;
        }
        const DSNode* child = childAt(level.node, level.next++);
        const size_t record = used;
        if (!take(child)) return false;
        levels.push_back({child, 0, record});
    }
    return used == records.size();
}

} // namespace

uint64_t snapshot::itemsInEvidence(const char* path) {
    const std::unique_ptr<FILE, CloseFile> file(fopen(path, "rbe"));
    int64_t begun = 0;
    uint64_t count = 0;
    if (file == nullptr || !readHeader(file.get(), begun, count) || count == 0) return 0;
    return count - 1; // without the root
}

DSEvidence* DSEvidenceLoad(const char* path, const DSNode* root) noexcept {
    auto evidence = std::make_unique<DSEvidence>();
    const std::unique_ptr<FILE, CloseFile> file(path != nullptr ? fopen(path, "rbe") : nullptr);
    if (file == nullptr || root == nullptr || !readRecords(file.get(), *evidence) ||
        !isOf(root, evidence->records))
        *evidence = {};
    return evidence.release();
}

int DSEvidenceSave(const DSEvidence* evidence, const char* path) noexcept {
    if (evidence == nullptr || path == nullptr) return -1;
    ReplacedFile target(path);
    if (target.file() == nullptr) return -1;
    std::array<uint8_t, kHeaderBytes> header;
    memcpy(header.data(), kMagic.data(), kMagic.size());
    uint8_t* at = header.data() + kMagic.size();
    put(at, static_cast<uint64_t>(evidence->begun), 8);
    put(at, evidence->records.size(), 8);
    fwrite(header.data(), 1, header.size(), target.file());
    std::array<uint8_t, kRecordBytes> bytes;
    for (const EvidenceRecord& record : evidence->records) {
        at = bytes.data();
        put(at, record.device, 8);
        put(at, record.inode, 8);
        put(at, static_cast<uint64_t>(record.modified), 8);
        put(at, static_cast<uint64_t>(record.changed), 8);
        put(at, static_cast<uint64_t>(record.born), 8);
        put(at, record.count, 4);
        put(at, record.check, 4);
        fwrite(bytes.data(), 1, bytes.size(), target.file());
    }
    return target.close() == 0 ? 0 : -1;
}
