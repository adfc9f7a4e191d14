#define OPENSSL_SUPPRESS_DEPRECATED

#include "bench/snapshot/bound_tree.h"

#include <openssl/sha.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace bench {

namespace {

constexpr size_t kBuffer = size_t{256} << 10;
constexpr size_t kPool = 4 << 20;

// Memory that is handed out and never taken back.
class Pool {
  public:
    void* take(size_t size, size_t alignment) {
        size_t padding = -reinterpret_cast<uintptr_t>(_next) & (alignment - 1);
        if (_next == nullptr || padding + size > static_cast<size_t>(_end - _next)) {
            size_t block = std::max(kPool, size);
            _next = static_cast<char*>(
                mmap(nullptr, block, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
            _end = _next + block;
            padding = 0;
        }
        void* memory = _next + padding;
        _next += padding + size;
        return memory;
    }

  private:
    char* _next = nullptr;
    char* _end = nullptr;
};

struct Worker {
    Pool nodes;
    Pool names;
    std::unique_ptr<char[]> buffer = std::make_unique<char[]>(kBuffer);
    std::vector<BoundNode> entries = {};

    void readDirectory(int descriptor, BoundNode* directory) {
        entries.clear();
        ssize_t got = 0;
        while ((got = getdents64(descriptor, buffer.get(), kBuffer)) > 0) {
            for (const char* at = buffer.get(); at < buffer.get() + got;) {
                const auto* entry = reinterpret_cast<const dirent64*>(at);
                at += entry->d_reclen;
                const char* name = entry->d_name;
                if (strcmp(name, ".") == 0 || strcmp(name, "..") == 0) continue;
                size_t length = strlen(name);
                auto* copy = static_cast<char*>(names.take(length + 1, 1));
                memcpy(copy, name, length + 1);
                struct stat status;
                fstatat(descriptor, copy, &status, AT_SYMLINK_NOFOLLOW);
                uint16_t type = S_ISDIR(status.st_mode) ? 1 : 2;
                entries.push_back({static_cast<uint64_t>(status.st_size), status.st_mtime, status.st_atime,
                                   nullptr, copy, 0, static_cast<uint16_t>(length), type});
            }
        }
        std::ranges::sort(entries,
                          [](const BoundNode& a, const BoundNode& b) { return strcmp(a.name, b.name) < 0; });
        directory->count = static_cast<uint32_t>(entries.size());
        directory->children = static_cast<BoundNode*>(nodes.take(entries.size() * sizeof(BoundNode) + 8, 64));
        std::ranges::copy(entries, directory->children);
    }

    void walk(int descriptor, BoundNode* directory) {
        readDirectory(descriptor, directory);
        for (uint32_t i = 0; i < directory->count; i++) {
            BoundNode* child = &directory->children[i];
            if (child->type != 1) continue;
            int below = openat(descriptor, child->name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            walk(below, child);
            close(below);
        }
    }
};

// A directory's descriptor, shared by the children that are opened relative to it.
struct Parent {
    explicit Parent(int open) : descriptor(open) {}
    Parent(const Parent&) = delete;
    Parent& operator=(const Parent&) = delete;
    ~Parent() { close(descriptor); }
    int descriptor;
};

// Directories still to be read, shared by all threads.
class Queue {
  public:
    struct Item {
        BoundNode* node;
        std::shared_ptr<Parent> parent;
    };

    explicit Queue(unsigned threads) : _threads(threads) {}

    void push(const BoundNode* directory, const std::shared_ptr<Parent>& parent) {
        std::lock_guard lock(_mutex);
        for (uint32_t i = directory->count; i-- > 0;)
            if (directory->children[i].type == 1) _items.push_back({&directory->children[i], parent});
        if (_idle > 0) _wake.notify_all();
    }
    void pushFirst(Item item) { _items.push_back(std::move(item)); }

    bool pop(Item& item) {
        std::unique_lock lock(_mutex);
        while (_items.empty()) {
            if (++_idle == _threads) _wake.notify_all();
            _wake.wait(lock, [this] { return !_items.empty() || _idle == _threads; });
            if (_items.empty()) return false;
            _idle--;
        }
        item = std::move(_items.back());
        _items.pop_back();
        return true;
    }

  private:
    std::mutex _mutex;
    std::condition_variable _wake;
    std::vector<Item> _items;
    unsigned _threads;
    unsigned _idle = 0;
};

void work(Queue& queue) {
    Worker worker; // what its pools gave stays in use
    for (Queue::Item item; queue.pop(item);) {
        int at = item.parent != nullptr ? item.parent->descriptor : AT_FDCWD;
        auto own = std::make_shared<Parent>(openat(at, item.node->name, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        item.parent.reset();
        worker.readDirectory(own->descriptor, item.node);
        queue.push(item.node, own);
    }
}

// Memory for the digests of all nodes, one behind the other.
class KeptDigests {
  public:
    unsigned char* next() {
        if (_left == 0) {
            _next = new unsigned char[size_t{kPiece} * SHA_DIGEST_LENGTH]; // as long as the process
            _left = kPiece;
        }
        _left--;
        return std::exchange(_next, _next + SHA_DIGEST_LENGTH);
    }

  private:
    static constexpr unsigned kPiece = 50'000;
    unsigned char* _next = nullptr;
    unsigned _left = 0;
};

const unsigned char* hash(const BoundNode* node, std::string& path, KeptDigests& kept) {
    SHA_CTX context;
    SHA1_Init(&context);
    if (node->type == 1) {
        size_t length = path.size();
        for (uint32_t i = 0; i < node->count; i++) {
            const BoundNode* child = &node->children[i];
            if (child->type == 1) path.append("/").append(child->name, child->nameLength);
            const unsigned char* below = hash(child, path, kept);
            path.resize(length);
            SHA1_Update(&context, below, SHA_DIGEST_LENGTH);
        }
        uint64_t count = node->count;
        SHA1_Update(&context, &count, sizeof(count));
        SHA1_Update(&context, path.data(), path.size());
    } else {
        uint64_t stamp[2] = {static_cast<uint64_t>(node->modified), node->size};
        SHA1_Update(&context, stamp, sizeof(stamp));
        SHA1_Update(&context, node->name, node->nameLength);
    }
    unsigned char* digest = kept.next();
    SHA1_Final(digest, &context);
    return digest;
}

struct Merge {
    std::vector<std::string> added, deleted, modified;
    std::string path;

    void all(const BoundNode* directory, std::vector<std::string>& to) {
        for (uint32_t i = 0; i < directory->count; i++)
            one(&directory->children[i], to);
    }
    void one(const BoundNode* node, std::vector<std::string>& to) {
        size_t length = path.size();
        to.push_back(path.append("/").append(node->name));
        all(node, to);
        path.resize(length);
    }
    void walk(const BoundNode* a, const BoundNode* b) {
        uint32_t i = 0, j = 0;
        while (true) {
            const BoundNode* x = i < a->count ? &a->children[i] : nullptr;
            const BoundNode* y = j < b->count ? &b->children[j] : nullptr;
            if (x == nullptr && y == nullptr) return;
            int order = x == nullptr ? 1 : y == nullptr ? -1 : strcmp(x->name, y->name);
            if (order <= 0) i++;
            if (order >= 0) j++;
            if (order < 0) {
                one(x, added);
            } else if (order > 0) {
                one(y, deleted);
            } else {
                size_t length = path.size();
                if (x->modified > y->modified) modified.push_back(path + "/" + x->name);
                if (x->type == 1) {
                    path.append("/").append(x->name, x->nameLength);
                    walk(x, y);
                    path.resize(length);
                }
            }
        }
    }
};

} // namespace

BoundNode* boundScan(const std::string& path, unsigned threads) {
    auto* root = new BoundNode{0, 0, 0, nullptr, path.c_str(), 0, 0, 1};
    if (threads == 1) {
        int top = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        Worker().walk(top, root);
        close(top);
        return root;
    }
    Queue queue(threads);
    queue.pushFirst({root, nullptr});
    std::vector<std::thread> all;
    for (unsigned i = 1; i < threads; i++)
        all.emplace_back(work, std::ref(queue));
    work(queue);
    for (std::thread& one : all)
        one.join();
    return root;
}

unsigned boundDigests(const BoundNode* root) {
    KeptDigests kept;
    std::string path;
    return hash(root, path, kept)[0];
}

size_t boundCompare(const BoundNode* current, const BoundNode* previous) {
    Merge merge;
    merge.walk(current, previous);
    return merge.added.size() + merge.deleted.size() + merge.modified.size();
}

} // namespace bench
