#include "snapshot/DSDatabase.h"
#include "snapshot/DSFlatFile.h"
#include "snapshot/stores/Decimal.h"
#include "snapshot/stores/flat_file.h"
#include "snapshot/tree/TreeBuilder.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

namespace snapshot {

namespace {

// The bytes of a descriptor, read in large pieces.
class ByteReader {
  public:
    explicit ByteReader(int descriptor) : _descriptor(descriptor) {}

    // The next byte, or -1 at the end.
    int peek() {
        if (_at == _end && !fill()) return -1;
        return static_cast<unsigned char>(*_at);
    }

    // Passes the byte that peek() gave.
    void skip() { _at++; }

    // What has been read of the file and not been passed; a NUL that is not part of the file follows it.
    std::string_view ahead() const { return {_at, static_cast<size_t>(_end - _at)}; }

    // Passes bytes of it.
    void skip(size_t count) { _at += count; }

    // Copies up to `length` bytes; gives how many there were.
    size_t take(char* into, size_t length) {
        size_t taken = 0;
        while (taken < length && (_at < _end || fill())) {
            size_t part = std::min(length - taken, static_cast<size_t>(_end - _at));
            memcpy(into + taken, _at, part);
            _at += part;
            taken += part;
        }
        return taken;
    }

    // Whether the bytes ended because they could not be read.
    bool failed() const { return _failed; }

  private:
    static constexpr size_t kCapacity = size_t{256} << 10;

    bool fill() {
        if (_ended) return false;
        ssize_t count = 0;
        do
            count = read(_descriptor, _buffer.get(), kCapacity);
        while (count < 0 && errno == EINTR);
        _failed = count < 0;
        _ended = count <= 0;
        _at = _buffer.get();
        _end = _at + std::max<ssize_t>(count, 0);
        _buffer[static_cast<size_t>(_end - _at)] = '\0';
        return !_ended;
    }

    int _descriptor;
    std::unique_ptr<char[]> _buffer{new char[kCapacity + 1]()};
    const char* _at = _buffer.get();
    const char* _end = _buffer.get();
    bool _ended = false;
    bool _failed = false;
};

// What follows a path. Values that were not read are 0.
struct Info {
    int64_t size = 0;
    uint8_t type = 0;
    int64_t modified = 0;
    int64_t started = 0;
};

// Reads four numbers with a bar behind each. Scan::end when the bytes end before the last bar: the last
// number may have been cut. Scan::mismatch when something else stands where a number or a bar is due; only
// the last bar may be missing.
Scan scanInfo(ByteReader& reader, Info& info) {
    for (int i = 0; i < 4; i++) {
        Decimal number;
        Scan scan = scanDecimal(reader, number);
        if (scan != Scan::number) return scan;
        switch (i) {
        case 0:
            info.size = number.asSigned();
            break;
        case 1:
            info.type = static_cast<uint8_t>(number.asUnsigned());
            break;
        case 2:
            info.modified = number.asSigned();
            break;
        default:
            info.started = number.asSigned();
        }
        int byte = reader.peek();
        if (byte < 0) return Scan::end;
        if (byte == '|')
            reader.skip();
        else if (i < 3)
            return Scan::mismatch;
    }
    return Scan::number;
}

enum class Outcome {
    record,   // one more record is in the tree
    complete, // the file ended before a record
    stopped,  // what was read so far counts
    refused   // the file gives no tree
};

class FlatFileReader {
  public:
    FlatFileReader(int descriptor, const char* path, bool withDigests, DSNode* root)
        : _bytes(descriptor), _file(path), _withDigests(withDigests), _items(root) {}

    Outcome readAll() {
        Outcome outcome = Outcome::record;
        while (outcome == Outcome::record)
            outcome = readRecord();
        if (_bytes.failed()) return unreadable();
        return outcome;
    }

  private:
    // Reads a record that is as the writer writes it and wholly in the buffer: nearly all are. False, with
    // nothing passed, for any other, which is to be read in the general way.
    bool readPlainRecord() {
        std::string_view ahead = _bytes.ahead();
        const char* at = ahead.data();
        uint64_t length = 0;
        if (!readPlain(at, length) || length == 0 || length >= DSNodePathCapacity) return false;
        if (static_cast<size_t>(ahead.data() + ahead.size() - at) < length || *at != '/') return false;
        std::string_view path(at, length);
        at += length;
        uint64_t size = 0;
        uint64_t type = 0;
        uint64_t modified = 0;
        uint64_t started = 0;
        if (!readPlain(at, size) || !readPlain(at, type) || !readPlain(at, modified) ||
            !readPlain(at, started))
            return false;
        DSNode* node = _items.findOrCreate(path, static_cast<uint8_t>(type));
        if (node == nullptr) return false; // a NUL in the path
        setInfo(node, static_cast<int64_t>(size), static_cast<int64_t>(modified),
                static_cast<int64_t>(started));
        _bytes.skip(static_cast<size_t>(at - ahead.data()));
        return true;
    }

    // Digits and a bar. The buffer's final NUL ends both.
    static bool readPlain(const char*& at, uint64_t& number) {
        constexpr ptrdiff_t mostDigits = 18; // fit any of the numbers without a look at their range
        const char* start = at;
        uint64_t value = 0;
        for (; isDigit(*at); at++)
            value = 10 * value + static_cast<uint64_t>(*at - '0');
        number = value;
        return *at == '|' && at != start && at++ - start <= mostDigits;
    }

    static void setInfo(DSNode* node, int64_t size, int64_t modified, int64_t started) {
        node->size = size;
        node->modifiedTime = modified;
        node->startedTime = started;
    }

    Outcome readRecord() {
        if (!_withDigests && readPlainRecord()) return Outcome::record;
        Decimal length;
        switch (scanLength(length)) {
        case Scan::end:
            return Outcome::complete;
        case Scan::mismatch:
            return unreadable();
        case Scan::number:
            break;
        }
        if (length.negative || length.beyond || length.magnitude == 0 || length.magnitude >= sizeof _path) {
            fprintf(stderr, "Unable to read from %s. A path of %s%llu bytes is refused.\n", _file,
                    length.negative ? "-" : "", static_cast<unsigned long long>(length.magnitude));
            return Outcome::refused;
        }
        if (!readPath(length.magnitude)) return Outcome::stopped;

        Info info;
        switch (scanInfo(_bytes, info)) {
        case Scan::end:
            if (!_bytes.failed()) fprintf(stderr, "Read 0 bytes for length for path %s.\n", _path);
            return Outcome::stopped;
        case Scan::mismatch:
            fprintf(stderr, "Unable to info for path %s.\n", _path);
            fprintf(stderr, "Currently read values: %lld, %hhu, %ld, %ld\n",
                    static_cast<long long>(info.size), info.type, static_cast<long>(info.modified),
                    static_cast<long>(info.started));
            return Outcome::refused;
        case Scan::number:
            break;
        }
        if (_withDigests) {
            char digest[2 * DSNodeHashLength + 1];
            _bytes.take(digest, sizeof digest);
        }
        DSNode* node = _items.findOrCreate({_path, static_cast<size_t>(length.magnitude)}, info.type);
        setInfo(node, info.size, info.modified, info.started);
        return Outcome::record;
    }

    // The bar behind the length may be missing, as for scanf. A sign alone at the end does not count as an
    // end between two records.
    Scan scanLength(Decimal& length) {
        while (isWhiteSpace(_bytes.peek()))
            _bytes.skip();
        if (_bytes.peek() < 0) return Scan::end;
        if (scanDecimal(_bytes, length) != Scan::number) return Scan::mismatch;
        if (_bytes.peek() == '|') _bytes.skip();
        return Scan::number;
    }

    bool readPath(uint64_t length) {
        size_t taken = _bytes.take(_path, length);
        _path[taken] = '\0';
        size_t actual = strlen(_path);
        if (taken > 0 && actual != length) {
            fprintf(
                stderr,
                "Loaded path \"%s\" whose length is %ld which is different from expected %ld. Aborting.\n",
                _path, static_cast<long>(actual), static_cast<long>(length));
            return false;
        }
        if (taken == 0 || _path[0] != '/') {
            fputs("Unable to read path from snapshot.\n", stderr);
            return false;
        }
        return true;
    }

    Outcome unreadable() const {
        fprintf(stderr, "Unable to read from %s. Read 0 bytes. \n", _file);
        return Outcome::refused;
    }

    ByteReader _bytes;
    const char* _file;
    bool _withDigests;
    TreeBuilder _items;
    char _path[DSNodePathCapacity];
};

} // namespace

DSNode* loadFlatFile(const char* path, bool withDigests, bool& complete) {
    complete = false;
    if (path == nullptr) return nullptr;
    int descriptor = open(path, O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return nullptr;
    DSNode* root = DSNodeCreate("/", 0, 0, 0, DSNodeTypeDirectory);
    Outcome outcome = FlatFileReader(descriptor, path, withDigests, root).readAll();
    close(descriptor);
    complete = outcome == Outcome::complete;
    if (outcome != Outcome::refused) return root;
    DSNodeDestroy(root);
    return nullptr;
}

bool isInDatabase(const char* path, const char* kind) {
    if (kind == nullptr || (strcmp(kind, "backup") != 0 && strcmp(kind, "sync") != 0)) return false;
    struct stat status {};
    return stat(path, &status) != 0;
}

} // namespace snapshot

using namespace snapshot;

DSNode* DSNodeLoadSnapshotWithSHA1(const char* path, int withDigests) noexcept {
    bool complete = false;
    return loadFlatFile(path, withDigests != 0, complete);
}

DSNode* DSNodeLoadSnapshot(const char* path, const char* kind) noexcept {
    if (path == nullptr) return nullptr;
    return isInDatabase(path, kind) ? DSNodeLoadSnapshotDBWithSHA1(path)
                                    : DSNodeLoadSnapshotWithSHA1(path, 0);
}
