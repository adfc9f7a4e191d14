#include "bench/snapshot/slow_disk.h"
#include "snapshot/scan/Pace.h"
#include "snapshot/scan/scan.h"
#include "tests/snapshot/support.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <functional>
#include <pthread.h>
#include <unistd.h>

using namespace snapshot;

namespace {

using Lines = std::vector<std::string>;

Tree scan(const std::string& path) { return Tree(DSNodeCreateDirectorySnapshot(path.c_str())); }

// One line for each item: its path and kind.
Lines linesOf(const DSNode* root) {
    Lines lines;
    for (const auto& [path, node] : itemsBelow(root))
        lines.push_back(path + " " + std::to_string(node->type));
    return lines;
}

// While it lives, this process opens no more files than so many.
class FewDescriptors {
  public:
    explicit FewDescriptors(int count) {
        getrlimit(RLIMIT_NOFILE, &_usual);
        const int next = dup(0);
        close(next);
        const rlimit few = {static_cast<rlim_t>(next + count), _usual.rlim_max};
        setrlimit(RLIMIT_NOFILE, &few);
    }
    ~FewDescriptors() { setrlimit(RLIMIT_NOFILE, &_usual); }

  private:
    rlimit _usual;
};

// A scan with a callback that keeps the paths it was asked about, relative to the directory.
struct Watched {
    DSScanProgressContext context{this, nullptr}; // first, as the scan expects it
    std::string base;
    Lines asked;
    std::function<bool(const std::string&)> stops = [](const std::string&) { return false; };

    static int32_t callback(void* context) {
        auto* self = static_cast<Watched*>(context);
        self->asked.push_back(std::string(self->context.currentPath).substr(self->base.size()));
        return self->stops(self->asked.back()) ? 5 : 0;
    }
    Tree run(const std::string& path) {
        base = path;
        return Tree(DSNodeCreateDirectorySnapshotWithSHA1ExcludingUsingCallback(path.c_str(), nullptr, 0,
                                                                                callback, this));
    }
};

TEST(Scan, RecordsWhatIsThere) {
    support::TemporaryFolder directory;
    std::string odd(255, '\xfe'); // as long as a name can be, and not UTF-8
    for (const char* name : {"b/inner", "b/Z", "b/a", "a", ".hidden", "B", "a.b", "a-", "\xc3\xa9",
                             "abcdefgh2", "abcdefgh1", "abcdefgh3"})
        directory.write(name, "12345");
    directory.write(odd, "");
    ASSERT_EQ(symlink("b", directory.path("link").c_str()), 0);
    std::filesystem::create_directory(directory.path("pipes"));
    mkfifo(directory.path("pipes/one").c_str(), 0600);
    timespec times[2] = {{1500000001, 999999999}, {-7, 5}};
    utimensat(AT_FDCWD, directory.path("a").c_str(), times, 0);

    Tree root = scan(directory.path());
    EXPECT_EQ(linesOf(root.get()),
              (Lines{"/.hidden 2", "/B 2", "/a 2", "/a- 2", "/a.b 2", "/abcdefgh1 2", "/abcdefgh2 2",
                     "/abcdefgh3 2", "/b 1", "/b/Z 2", "/b/a 2", "/b/inner 2", "/link 3", "/pipes 1",
                     "/\xc3\xa9 2", "/" + odd + " 2"}));
    EXPECT_EQ(DSNodeFindWithFullPath("/pipes", root.get())->children->items, nullptr);
    const DSNode* file = DSNodeFindWithFullPath("/a", root.get());
    EXPECT_EQ(file->size, 5);
    EXPECT_EQ(file->modifiedTime, -7);
    EXPECT_EQ(file->startedTime, 1500000001);
    struct stat status;
    lstat(directory.path("b").c_str(), &status);
    EXPECT_EQ(DSNodeFindWithFullPath("/b", root.get())->size, status.st_size);
    EXPECT_EQ(DSNodeFindWithFullPath("/link", root.get())->size, 1);

    EXPECT_EQ(linesOf(scan(directory.path("b/")).get()), (Lines{"/Z 2", "/a 2", "/inner 2"}));
    EXPECT_EQ(linesOf(scan(directory.path("link")).get()), (Lines{"/Z 2", "/a 2", "/inner 2"}));
    EXPECT_EQ(linesOf(scan(directory.path("a")).get()), Lines{});
    EXPECT_EQ(linesOf(scan(directory.path("none")).get()), Lines{});

    dirent** entries = nullptr;
    errno = 42;
    ASSERT_EQ(d_scandir(directory.path("b").c_str(), &entries, _selectFunc, _comparFunc, nullptr), 3);
    EXPECT_EQ(errno, 42);
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(entries[i]->d_name[0], "Zai"[i]);
        free(entries[i]);
    }
    free(static_cast<void*>(entries));
    EXPECT_EQ(d_scandir(directory.path("none").c_str(), &entries, nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(errno, ENOENT);

    DSSnapshotOptions flat = {};
    Tree top(DSNodeCreateDirectorySnapshotWithOptions(directory.path().c_str(), &flat));
    EXPECT_EQ(linesOf(top.get()).size(), 13U); // "b" without what it holds
    _takeSnapshot(directory.path().c_str(), top.get(), nullptr);
    EXPECT_EQ(linesOf(top.get()).size(), 13U + 16U) << "appended to what a node has, at any depth";
}

TEST(Scan, CallbackGoesFirst) {
    support::TemporaryFolder directory;
    for (const char* name : {"a/1", "a/2", "a/3", "b/1", "c"})
        directory.write(name, "");
    Watched all;
    const int input = dup(0);
    close(0); // a program without an input: a directory is descriptor 0
    EXPECT_EQ(linesOf(all.run(directory.path()).get()), linesOf(scan(directory.path()).get()));
    dup2(input, 0);
    close(input);
    EXPECT_EQ(all.asked, (Lines{"/a", "/a/1", "/a/2", "/a/3", "/b", "/b/1", "/c"}));
    EXPECT_EQ(all.context.currentPath, nullptr);

    Watched stopping; // ends one directory only
    stopping.stops = [](const std::string& path) { return path == "/a/2" || path == "/b/1"; };
    EXPECT_EQ(linesOf(stopping.run(directory.path()).get()), (Lines{"/a 1", "/a/1 2", "/b 1", "/c 2"}));
    EXPECT_EQ(stopping.asked, (Lines{"/a", "/a/1", "/a/2", "/b", "/b/1", "/c"}));

    Watched removing; // an entry that vanishes before it is examined is left out
    removing.stops = [&](const std::string& path) {
        if (path == "/a/1") std::filesystem::remove(directory.path("a/2"));
        if (path == "/b") std::filesystem::remove_all(directory.path("b"));
        return false;
    };
    EXPECT_EQ(linesOf(removing.run(directory.path()).get()), (Lines{"/a 1", "/a/1 2", "/a/3 2", "/c 2"}));
}

TEST(Scan, GoesOnPastTrouble) {
    support::TemporaryFolder directory;
    for (const char* name : {"locked/inside", "open/inside"})
        directory.write(name, "");
    chmod(directory.path("locked").c_str(), 0);
    chmod(directory.path().c_str(), 0755);
    uid_t user = geteuid();
    ASSERT_TRUE(user != 0 || seteuid(65534) == 0); // permissions do not hold for the superuser
    DSSnapshotOptions options = {};
    options.recursive = 1;
    for (unsigned threads : {1U, 4U}) {
        Tree root = makeRoot();
        bool isWhole = true;
        takeSnapshot(directory.path().c_str(), root.get(), &options, {.threads = threads}, &isWhole);
        EXPECT_FALSE(isWhole);
        EXPECT_EQ(linesOf(root.get()), (Lines{"/locked 1", "/open 1", "/open/inside 2"}));
        takeSnapshot(directory.path("open").c_str(), root.get(), &options, {.threads = threads}, &isWhole);
        EXPECT_TRUE(isWhole);
    }
    ASSERT_EQ(seteuid(user), 0);
    chmod(directory.path("locked").c_str(), 0700);

    EXPECT_EQ(messagesOf([] { EXPECT_EQ(scan("relative/path")->children->count, 0U); }),
              "Cannot look for path components on a non-absolute path.\n");
}

// Far down, where paths no longer fit, and with few descriptors to spend: of two at the end one has 1,023
// bytes and is the last that fits.
TEST(Scan, DeepTree) {
    support::TemporaryFolder directory;
    const std::string name(20, 'd');
    const size_t levels = (1023 - directory.path().size()) / 21;
    const std::string last(1023 - directory.path().size() - (levels - 1) * 21 - 1, 'l');
    int at = open(directory.path().c_str(), O_RDONLY | O_DIRECTORY);
    for (size_t level = 1; level < 60; level++) {
        const std::string& below = level == levels ? last : name;
        mkdirat(at, below.c_str(), 0700);
        if (level == levels) mkdirat(at, (last + "l").c_str(), 0700);
        close(openat(at, level < levels ? "z" : "k", O_CREAT | O_WRONLY, 0600));
        int next = openat(at, below.c_str(), O_RDONLY | O_DIRECTORY);
        close(at);
        at = next;
    }
    close(at);
    Tree plain;
    Tree called;
    Watched watched;
    std::string said;
    {
        const FewDescriptors few(4);
        said = messagesOf([&] { plain = scan(directory.path()); });
        EXPECT_EQ(messagesOf([&] { called = watched.run(directory.path()); }), said);
    }
    EXPECT_EQ(std::ranges::count(said, '\n'), 3) << said;
    EXPECT_EQ(linesOf(plain.get()).size(), 2 * levels);
    size_t longest = 0;
    for (const auto& [path, node] : itemsBelow(plain.get()))
        longest = std::max(longest, path.size());
    EXPECT_EQ(directory.path().size() + longest, 1023U);
    EXPECT_EQ(linesOf(plain.get()), linesOf(called.get()));
    EXPECT_EQ(watched.asked.size(), linesOf(plain.get()).size());
}

TEST(Pace, GoesByTheAnswers) {
    using std::chrono::microseconds;
    Pace pace(0);
    const unsigned few = pace.threads();
    const auto threadsAfter = [&](int each, int questions) {
        pace.note(each * questions * microseconds(1), static_cast<size_t>(questions));
        return pace.threads();
    };
    EXPECT_EQ(threadsAfter(100, 3), few) << "too few questions to tell";
    EXPECT_EQ(threadsAfter(4000, 3), 16U);
    EXPECT_EQ(pace.piece(), 1U);
    EXPECT_EQ(threadsAfter(36, 16), 16U) << "more than half of them would do";
    EXPECT_EQ(threadsAfter(32, 16), 8U);
    EXPECT_EQ(threadsAfter(44, 16), 11U);
    EXPECT_FALSE(pace.isSlow());
    EXPECT_EQ(threadsAfter(1, 1000), few);
    Pace fixed(3);
    fixed.note(microseconds(100'000), 10);
    EXPECT_EQ(fixed.threads(), 3U);
    EXPECT_TRUE(fixed.isSlow());
}

// Helpers start once a tree has shown some size; what they read is what one thread reads.
TEST(Scan, HelpersChangeNothing) {
    support::TemporaryFolder directory;
    Random random(5);
    Lines directories{""};
    for (int i = 0; i < 6000; i++) {
        std::string path = directories[random(directories.size())] + std::to_string(random(100'000));
        if (random(8) == 0 && mkdir(directory.path(path).c_str(), 0700) == 0)
            directories.push_back(path + "/");
        else
            close(open(directory.path(path).c_str(), O_CREAT | O_WRONLY, 0600));
    }
    const Lines expected = linesOf(scan(directory.path()).get());
    DSSnapshotOptions options = {};
    options.recursive = 1;
    auto withThreads = [&](unsigned threads, const std::string& path) {
        Tree root = makeRoot();
        takeSnapshot(path.c_str(), root.get(), &options, {.threads = threads});
        return linesOf(root.get());
    };
    for (unsigned threads : {1U, 2U, 5U, 16U})
        EXPECT_EQ(withThreads(threads, directory.path() + "/"), expected) << threads;
    bench::setTimeOfAnswer(std::chrono::microseconds(100)); // so slow that they share directories
    for (unsigned threads : {0U, 3U})
        EXPECT_EQ(withThreads(threads, directory.path()), expected) << threads;
    bench::setTimeOfAnswer({});
    Watched watched; // a callback that lets helpers work
    watched.base = directory.path();
    options.callback = Watched::callback;
    options.callbackContext = &watched;
    Tree root = makeRoot();
    takeSnapshot(directory.path().c_str(), root.get(), &options, {4, Callback::onlyWatches});
    EXPECT_EQ(linesOf(root.get()), expected);
    EXPECT_EQ(watched.asked.size(), expected.size());
    options = {};
    options.recursive = 1;
    {
        const FewDescriptors few(2); // fewer than threads
        EXPECT_EQ(withThreads(16, directory.path()), expected);
    }
    pthread_attr_t attributes; // a stack that no thread can get
    pthread_getattr_default_np(&attributes);
    size_t stack = 0;
    pthread_attr_getstacksize(&attributes, &stack);
    pthread_attr_setstacksize(&attributes, size_t{1} << 47);
    pthread_setattr_default_np(&attributes);
    EXPECT_EQ(withThreads(16, directory.path()), expected);
    pthread_attr_setstacksize(&attributes, stack);
    pthread_setattr_default_np(&attributes);
    pthread_attr_destroy(&attributes);
}

} // namespace
