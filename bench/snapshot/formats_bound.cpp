#include "bench/snapshot/formats_bound.h"

#include <sqlite3.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <string_view>
#include <unistd.h>
#include <unordered_map>
#include <vector>

namespace bench {

namespace {

// Memory that is handed out and never taken back.
class Pool {
  public:
    void* take(size_t size, size_t alignment) {
        _used = (_used + alignment - 1) & ~(alignment - 1);
        if (_block == nullptr || _used + size > kBlock) {
            _block = static_cast<char*>(mmap(nullptr, std::max(kBlock, size), PROT_READ | PROT_WRITE,
                                             MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
            _used = 0;
        }
        void* memory = _block + _used;
        _used += size;
        return memory;
    }

  private:
    static constexpr size_t kBlock = 4 << 20;
    char* _block = nullptr;
    size_t _used = 0;
};

int64_t number(const char*& at) {
    int64_t value = 0;
    for (unsigned digit = 0; (digit = static_cast<unsigned char>(*at) - unsigned{'0'}) < 10; at++)
        value = value * 10 + digit;
    at++; // the bar
    return value;
}

char* digits(char* at, uint64_t value) {
    char reversed[20];
    int count = 0;
    do
        reversed[count++] = static_cast<char>('0' + value % 10);
    while ((value /= 10) > 0);
    while (count > 0)
        *at++ = reversed[--count];
    *at++ = '|';
    return at;
}

// Children of one directory are not side by side in the file, so each level is gathered until it ends.
class Loader {
  public:
    StoredNode* load(const char* at, const char* end) {
        _levels.emplace_back();
        while (at < end) {
            auto length = static_cast<size_t>(number(at));
            std::string_view path(at, length);
            at += length;
            StoredNode node{};
            node.size = number(at);
            node.type = static_cast<uint16_t>(number(at));
            node.modified = number(at);
            node.started = number(at);
            while (!_open.empty() && !isBelow(path))
                closeLevel();
            size_t start = (_open.empty() ? 0 : _open.back()) + 1;
            node.nameLength = static_cast<uint16_t>(length - start);
            char* name = static_cast<char*>(_names.take(node.nameLength + 1U, 1));
            memcpy(name, path.data() + start, node.nameLength);
            name[node.nameLength] = '\0';
            node.name = name;
            _levels[_open.size()].push_back(node);
            if (node.type == 1) {
                _directory = path;
                _open.push_back(length);
                if (_levels.size() == _open.size()) _levels.emplace_back();
            }
        }
        while (!_open.empty())
            closeLevel();
        auto* root = static_cast<StoredNode*>(_nodes.take(sizeof(StoredNode), alignof(StoredNode)));
        *root = {};
        root->type = 1;
        take(*root, _levels[0]);
        return root;
    }

  private:
    bool isBelow(std::string_view path) const {
        size_t length = _open.back();
        return path.size() > length && path[length] == '/' &&
               memcmp(path.data(), _directory.data(), length) == 0;
    }
    void take(StoredNode& directory, std::vector<StoredNode>& level) {
        directory.count = static_cast<uint32_t>(level.size());
        directory.children =
            static_cast<StoredNode*>(_nodes.take(level.size() * sizeof(StoredNode), alignof(StoredNode)));
        if (!level.empty()) memcpy(directory.children, level.data(), level.size() * sizeof(StoredNode));
        level.clear();
    }
    void closeLevel() {
        take(_levels[_open.size() - 1].back(), _levels[_open.size()]);
        _open.pop_back();
    }

    Pool _nodes;
    Pool _names;
    std::vector<std::vector<StoredNode>> _levels;
    std::vector<size_t> _open;   // lengths of the paths of the open directories
    std::string_view _directory; // path of the one opened last
};

// Calls visit(path, length, node) in pre-order.
template <typename Visit>
void walk(const StoredNode* directory, char* path, size_t length, Visit visit) {
    path[length] = '/';
    for (uint32_t i = 0; i < directory->count; i++) {
        const StoredNode* child = directory->children + i;
        memcpy(path + length + 1, child->name, child->nameLength + 1U);
        size_t end = length + 1 + child->nameLength;
        visit(path, end, *child);
        if (child->count > 0) walk(child, path, end, visit);
    }
}

void must(bool done, const char* what) {
    if (done) return;
    perror(what);
    exit(2);
}

void execute(sqlite3* database, const char* sql) {
    must(sqlite3_exec(database, sql, nullptr, nullptr, nullptr) == SQLITE_OK, sql);
}

} // namespace

StoredNode* boundLoadFile(const std::string& file) {
    int descriptor = open(file.c_str(), O_RDONLY);
    struct stat status {};
    must(fstat(descriptor, &status) == 0, file.c_str());
    auto size = static_cast<size_t>(status.st_size);
    auto* bytes =
        static_cast<char*>(mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_POPULATE, descriptor, 0));
    close(descriptor);
    StoredNode* root = Loader().load(bytes, bytes + size);
    munmap(bytes, size);
    return root;
}

void boundSaveFile(const StoredNode* root, const std::string& file) {
    constexpr size_t buffer = 1 << 20; // written whenever it is full: a buffer that fits the caches
    std::unique_ptr<char[]> bytes(new char[buffer + 2048]);
    char* at = bytes.get();
    int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    auto flush = [&] {
        must(write(descriptor, bytes.get(), static_cast<size_t>(at - bytes.get())) >= 0, file.c_str());
        at = bytes.get();
    };
    char path[4096];
    walk(root, path, 0, [&](const char* name, size_t length, const StoredNode& node) {
        at = digits(at, length);
        memcpy(at, name, length);
        at = digits(at + length, static_cast<uint64_t>(node.size));
        at = digits(at, node.type);
        at = digits(at, static_cast<uint64_t>(node.modified));
        at = digits(at, static_cast<uint64_t>(node.started));
        if (static_cast<size_t>(at - bytes.get()) > buffer) flush();
    });
    flush();
    close(descriptor);
}

void boundSaveDatabase(const StoredNode* root, const std::string& file) {
    sqlite3* database = nullptr;
    must(sqlite3_open(file.c_str(), &database) == SQLITE_OK, file.c_str());
    execute(database,
            "BEGIN; CREATE TABLE IF NOT EXISTS SNAPSHOT(PATH TEXT PRIMARY KEY NOT NULL, PATH_LENGTH "
            "INT NOT NULL, SIZE INT NOT NULL, TYPE INT NOT NULL, MODIFIED_TIME NUMERIC, STARTED_TIME "
            "NUMERIC); CREATE TABLE IF NOT EXISTS STATUS(Id INT PRIMARY KEY NOT NULL, Date TEXT NOT "
            "NULL, Status INT NOT NULL); INSERT OR REPLACE INTO STATUS VALUES(1, 'now', 2); COMMIT");
    execute(database, "BEGIN");
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(database, "INSERT OR REPLACE INTO SNAPSHOT VALUES(?,?,?,?,?,?)", -1, &statement,
                       nullptr);
    char path[4096];
    walk(root, path, 0, [&](const char* name, size_t length, const StoredNode& node) {
        sqlite3_bind_text(statement, 1, name, static_cast<int>(length), SQLITE_STATIC);
        sqlite3_bind_int64(statement, 2, static_cast<int64_t>(length));
        sqlite3_bind_int64(statement, 3, node.size);
        sqlite3_bind_int(statement, 4, node.type);
        sqlite3_bind_int64(statement, 5, node.modified);
        sqlite3_bind_int64(statement, 6, node.started);
        must(sqlite3_step(statement) == SQLITE_DONE, "step");
        sqlite3_reset(statement);
    });
    sqlite3_finalize(statement);
    execute(database, "COMMIT");
    execute(database, "INSERT OR REPLACE INTO STATUS VALUES(1, 'now', 1)");
    sqlite3_close(database);
}

int64_t boundStepDatabase(const std::string& file) {
    sqlite3* database = nullptr;
    must(sqlite3_open(file.c_str(), &database) == SQLITE_OK, file.c_str());
    sqlite3_stmt* row = nullptr;
    sqlite3_prepare_v2(database, "SELECT * FROM SNAPSHOT", -1, &row, nullptr);
    int64_t sum = 0;
    while (sqlite3_step(row) == SQLITE_ROW) {
        sum += sqlite3_column_text(row, 0)[0] + sqlite3_column_bytes(row, 0);
        for (int column = 2; column < 6; column++)
            sum += sqlite3_column_int64(row, column);
    }
    sqlite3_finalize(row);
    sqlite3_close(database);
    return sum;
}

void plainSaveFile(const StoredNode* root, const std::string& file) {
    FILE* stream = fopen(file.c_str(), "w");
    char path[4096];
    walk(root, path, 0, [&](const char* name, size_t length, const StoredNode& node) {
        fprintf(stream, "%zu|%s%llu|%hhu|%ld|%ld|", length, name, static_cast<unsigned long long>(node.size),
                static_cast<unsigned char>(node.type), static_cast<long>(node.modified),
                static_cast<long>(node.started));
    });
    fclose(stream);
}

unsigned plainLoadFile(const std::string& file) {
    struct Node {
        std::string name;
        long long size;
        unsigned char type;
        long modified, started;
        std::vector<std::unique_ptr<Node>> children;
    };
    Node root{};
    std::unordered_map<std::string, Node*> directories{{"", &root}};
    FILE* stream = fopen(file.c_str(), "r");
    unsigned long length = 0;
    unsigned count = 0;
    while (fscanf(stream, "%lu|", &length) == 1) {
        std::string path(length, '\0');
        auto node = std::make_unique<Node>();
        if (fread(path.data(), 1, length, stream) != length) break;
        if (fscanf(stream, "%lld|%hhu|%ld|%ld|", &node->size, &node->type, &node->modified, &node->started) !=
            4)
            break;
        size_t slash = path.rfind('/');
        node->name = path.substr(slash + 1);
        if (node->type == 1) directories[path] = node.get();
        directories[path.substr(0, slash)]->children.push_back(std::move(node));
        count++;
    }
    fclose(stream);
    return count;
}

} // namespace bench
