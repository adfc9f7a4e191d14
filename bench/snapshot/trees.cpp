#include "bench/snapshot/trees.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <random>
#include <unistd.h>
#include <vector>

namespace bench {

namespace {

class Generator {
  public:
    explicit Generator(const TreeKind& kind) : _kind(kind), _random(kind.seed) {}

    void run(const std::string& top) {
        std::filesystem::create_directory(top);
        std::vector<std::pair<std::string, unsigned>> directories{{top, 0}}; // with their depth
        std::vector<size_t> open{0};                                         // those that may get children
        for (unsigned i = 0; i < _kind.directories; i++) {
            auto [parent, depth] = directories[open[below(open.size())]];
            std::string path = parent + "/" + name(i);
            mkdir(path.c_str(), 0755);
            directories.emplace_back(path, depth + 1);
            if (depth + 1 < 7) open.push_back(directories.size() - 1);
        }
        for (unsigned i = 0; i < _kind.files; i++) {
            size_t at = 0; // every directory gets a file, and some get many
            if (_kind.directories > 0) {
                double share = static_cast<double>(below(1'000'000)) / 1e6;
                at = 1 + (i < _kind.directories ? i : static_cast<size_t>(share * share * _kind.directories));
            }
            unsigned fate = _kind.isChanged ? i % 200 : 199;
            std::string path = directories[at].first + "/" + name(i);
            // Everything is drawn for every file, so that the others are the same in both trees.
            size_t size = below(10) == 0 ? 1 + below(200) : 0;
            auto modified = static_cast<time_t>(1'400'000'000 + below(300'000'000));
            if (fate == 1 || fate == 2) modified += 400'000'000;
            if (fate != 0) file(path, size, modified);
            if (fate == 3) file(path + "~new", 0, modified);
        }
    }

  private:
    size_t below(size_t bound) { return _random() % bound; }

    std::string name(unsigned number) {
        static constexpr char kBytes[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-.";
        char tail[16];
        auto tailLength = static_cast<size_t>(snprintf(tail, sizeof(tail), "~%x", number)); // unique
        size_t length = 8 + below(23);
        std::string text(1, kBytes[below(52)]);
        while (text.size() + tailLength < length)
            text += kBytes[below(sizeof(kBytes) - 1)];
        return text + tail;
    }

    static void file(const std::string& path, size_t size, time_t modified) {
        int descriptor = open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
        static const char content[200] = {};
        const timespec times[2] = {{modified + 1000, 0}, {modified, 0}};
        if (descriptor < 0 || write(descriptor, content, size) < 0 || futimens(descriptor, times) != 0) {
            perror(path.c_str());
            exit(2);
        }
        close(descriptor);
    }

    TreeKind _kind;
    std::mt19937_64 _random;
};

} // namespace

std::string treeAt(const std::string& folder, const TreeKind& kind) {
    std::string path = std::filesystem::absolute(folder) / std::string(1, kind.name);
    if (!std::filesystem::exists(path)) {
        fprintf(stderr, "making tree %c: %u items\n", kind.name, itemsOf(kind));
        std::string unfinished = path + ".unfinished";
        std::filesystem::remove_all(unfinished);
        std::filesystem::create_directories(folder);
        Generator(kind).run(unfinished);
        std::filesystem::rename(unfinished, path);
        sync();
    }
    return path;
}

} // namespace bench
