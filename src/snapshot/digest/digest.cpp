// OpenSSL's streaming SHA-1 calls are deprecated in favour of the EVP interface, which costs several times as
// much for messages as short as these (see bench/snapshot); this folder is the only one that uses them.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "snapshot/DSDigest.h"
#include "snapshot/digest/file_digest.h"
#include "snapshot/digest/sha1_blocks.h"
#include "snapshot/tree/DigestStore.h"
#include "snapshot/tree/list_private.h"
#include "snapshot/tree/name_order.h"
#include "snapshot/tree/path_utils.h"

#include <openssl/sha.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace snapshot {

namespace {

constexpr uint32_t kAscendingFlags = kListAscending | kListAscendingSigned;

constexpr size_t kStampLength = 16;            // modifiedTime and size before the name
constexpr size_t kLongestInBlock = kBlock - 9; // beside 0x80 and the length

void storeLittleEndian(uint8_t* to, uint64_t value) {
    for (unsigned i = 0; i < 8; i++)
        to[i] = static_cast<uint8_t>(value >> (8 * i));
}

void storeStamp(uint8_t* to, const DSNode* node) {
    storeLittleEndian(to, static_cast<uint64_t>(node->modifiedTime));
    storeLittleEndian(to + 8, static_cast<uint64_t>(node->size));
}

bool isKnownItem(const DSNode* node) {
    return node->type == DSNodeTypeFile || node->type == DSNodeTypeSymlink || node->type == DSNodeTypeOther;
}

// Whether the message of an item is one block together with its padding (FIPS 180-4, 5.1.1): its bytes, 0x80,
// zeros, and its length in bits.
bool isOneBlock(const DSNode* node) { return kStampLength + node->_nameLength <= kLongestInBlock; }

void storeBlock(uint8_t (&block)[kBlock], const DSNode* node) {
    const size_t length = kStampLength + node->_nameLength;
    storeStamp(block, node);
    memcpy(block + kStampLength, node->name, node->_nameLength);
    block[length] = 0x80;
    memset(block + length + 1, 0, kBlock - length - 1);
    block[kBlock - 2] = static_cast<uint8_t>(8 * length >> 8);
    block[kBlock - 1] = static_cast<uint8_t>(8 * length);
}

void computeLongItem(DSNode* node) {
    uint8_t stamp[kStampLength];
    storeStamp(stamp, node);
    SHA_CTX context;
    SHA1_Init(&context);
    SHA1_Update(&context, stamp, sizeof(stamp));
    SHA1_Update(&context, node->name, node->_nameLength);
    SHA1_Final(node->hash, &context);
}

// Items of one directory, in order, each of which has room for its digest: they are computed two by two, and
// handed on to the directory's own digest in pieces.
class Items {
  public:
    void add(DSNode* node, SHA_CTX& directory) {
        if (isKnownItem(node) && isOneBlock(node)) {
            storeBlock(_blocks[_waiting != nullptr], node);
            if (_waiting == nullptr) {
                _waiting = node;
                return;
            }
            _pair(_blocks, _waiting->hash, node->hash);
            gather(std::exchange(_waiting, nullptr)->hash, directory);
        } else {
            computeWaiting(directory);
            if (isKnownItem(node)) computeLongItem(node); // one of a kind that is not known keeps zero bytes
        }
        gather(node->hash, directory);
    }

    // What was added is in the directory's digest afterwards.
    void flush(SHA_CTX& directory) {
        computeWaiting(directory);
        handOn(directory);
    }

  private:
    static constexpr size_t kPiece = 16 * size_t{DSNodeHashLength}; // whole blocks of SHA-1

    void computeWaiting(SHA_CTX& directory) {
        if (_waiting == nullptr) return;
        uint8_t unused[DSNodeHashLength];
        _pair(_blocks, _waiting->hash, unused);
        gather(std::exchange(_waiting, nullptr)->hash, directory);
    }
    void gather(const uint8_t* digest, SHA_CTX& directory) {
        memcpy(_gathered + _length, digest, DSNodeHashLength);
        _length += DSNodeHashLength;
        if (_length == kPiece) handOn(directory);
    }
    void handOn(SHA_CTX& directory) {
        if (_length > 0) SHA1_Update(&directory, _gathered, _length);
        _length = 0;
    }

    const DigestPair _pair = digestPairByInstructions() ? digestPairByInstructions() : digestPairPlainly;
    DSNode* _waiting = nullptr; // its message is the first block
    uint8_t _blocks[2][kBlock] = {};
    uint8_t _gathered[kPiece];
    size_t _length = 0; // of what is gathered
};

void sortByName(DSList* children) {
    if (children->count == 0 || (children->_flags & kListAscendingSigned) != 0) return;
    DSListSort(children, _compar);
    uint32_t order = kAscendingFlags;
    for (uint64_t i = 1; i < children->count && order != 0; i++)
        order &= orderOfNames(nameOf(nodeOf(children->items[i - 1])), nameOf(nodeOf(children->items[i])));
    children->_flags = (children->_flags & ~kAscendingFlags) | order;
}

// One computation over a sub-tree, bottom up, from a stack of its own so that depth costs none of the
// thread's.
class Computation {
  public:
    uint8_t* run(DSNode* top) {
        if (top->type != DSNodeTypeDirectory) {
            SHA_CTX none;
            SHA1_Init(&none);
            _digests.provide(top);
            _items.add(top, none);
            _items.flush(none);
            return top->hash;
        }
        enter(top, pathOf(top));
        while (true) {
            Level& level = _levels.back();
            if (level.next < level.node->children->count) {
                DSNode* child = childAt(level.node, level.next++);
                if (child->type == DSNodeTypeDirectory) {
                    _items.flush(level.context);
                    enter(child, extend(level.pathEnd, child));
                } else {
                    _digests.provide(child);
                    _items.add(child, level.context);
                }
                continue;
            }
            const uint8_t* digest = finish(level);
            _levels.pop_back();
            if (_levels.empty()) return top->hash;
            SHA1_Update(&_levels.back().context, digest, DSNodeHashLength);
        }
    }

  private:
    static constexpr size_t kTooLong = SIZE_MAX;

    struct Level {
        DSNode* node;
        uint64_t next;  // position of the next child
        size_t pathEnd; // of this directory's path in _path: 0 for the root, or kTooLong
        SHA_CTX context;
    };

    void enter(DSNode* node, size_t pathEnd) {
        sortByName(node->children);
        _levels.push_back({node, 0, pathEnd, {}});
        SHA1_Init(&_levels.back().context);
    }

    const uint8_t* finish(Level& level) {
        _items.flush(level.context);
        uint8_t count[8];
        storeLittleEndian(count, level.node->children->count);
        SHA1_Update(&level.context, count, sizeof(count));
        if (level.pathEnd == 0)
            SHA1_Update(&level.context, "/", 1);
        else if (level.pathEnd != kTooLong)
            SHA1_Update(&level.context, _path, level.pathEnd);
        _digests.provide(level.node);
        SHA1_Final(level.node->hash, &level.context);
        return level.node->hash;
    }

    size_t pathOf(const DSNode* node) {
        if (node->parent == nullptr) return 0;
        const Text path(DSNodeCreateStringWithFullPath(node));
        _reported = path == nullptr;
        if (path == nullptr) return kTooLong;
        size_t length = strlen(path.get());
        memcpy(_path, path.get(), length);
        return length;
    }

    size_t extend(size_t parentEnd, const DSNode* child) {
        if (parentEnd == kTooLong) return kTooLong;
        size_t end = parentEnd + 1 + child->_nameLength;
        if (end >= DSNodePathCapacity) {
            if (!std::exchange(_reported, true)) reportPathTooLong(nameOf(child));
            return kTooLong;
        }
        _path[parentEnd] = '/';
        memcpy(_path + parentEnd + 1, child->name, child->_nameLength);
        return end;
    }

    DigestStore _digests;
    Items _items; // of the last level
    std::vector<Level> _levels;
    char _path[DSNodePathCapacity];
    bool _reported = false;
};

} // namespace

} // namespace snapshot

using namespace snapshot;

uint8_t* DSNodeComputeHashes(DSNode* node) noexcept { return Computation().run(node); }

DSNode* DSNodeFindNodeWithHash(DSNode* node, const uint8_t* digest, int32_t recursive) noexcept {
    if (node == nullptr || digest == nullptr) return nullptr;
    std::vector<std::pair<const DSNode*, uint64_t>> levels{{node, 0}};
    while (!levels.empty()) {
        auto& [parent, next] = levels.back();
        if (next == parent->children->count) {
            levels.pop_back();
            continue;
        }
        DSNode* child = childAt(parent, next++);
        if (child->hash == nullptr) DSNodeComputeHashes(child);
        if (memcmp(child->hash, digest, DSNodeHashLength) == 0) return child;
        if (recursive == 1 && child->type == DSNodeTypeDirectory) levels.emplace_back(child, 0);
    }
    return nullptr;
}

int snapshot::sha1ForFileAtPath(const char* path, char* output, std::atomic<uint64_t>* bytesRead) {
    constexpr int kCannotRead = -0x76;
    constexpr size_t kPiece = 1 << 16;
    if (path == nullptr) return kCannotRead;
    int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0) return kCannotRead;
    auto block = std::make_unique<uint8_t[]>(kPiece);
    SHA_CTX context;
    SHA1_Init(&context);
    ssize_t got = 0;
    while ((got = read(file, block.get(), kPiece)) != 0) {
        if (got < 0 && errno != EINTR) break;
        if (got < 0) continue;
        SHA1_Update(&context, block.get(), static_cast<size_t>(got));
        if (bytesRead != nullptr) bytesRead->fetch_add(static_cast<uint64_t>(got), std::memory_order_relaxed);
    }
    close(file);
    if (got < 0) return kCannotRead;
    uint8_t digest[DSNodeHashLength];
    SHA1_Final(digest, &context);
    for (uint8_t byte : digest)
        output += snprintf(output, 3, "%02x", byte);
    return 0;
}

int SHA1ForFileAtPath(const char* path, char* output) noexcept {
    return sha1ForFileAtPath(path, output, nullptr);
}
