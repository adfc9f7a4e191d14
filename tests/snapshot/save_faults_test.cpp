// A save that is killed before any of its system calls, and one whose disk is full: the snapshot loads as
// before the save or as after it.
#include "snapshot/DSDatabase.h"
#include "snapshot/DSFlatFile.h"
#include "tests/snapshot/database_support.h"
#include "tests/snapshot/support.h"

#include <sys/mount.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <csignal>
#include <fcntl.h>
#include <functional>
#include <map>
#include <sched.h>

namespace {

const char* const kKind[] = {"flat", "sync"};

// The example and, in it, enough further files that a save takes several pages and writes.
Tree newTree() {
    Tree tree = exampleTree();
    for (int i = 0; i < 300; i++)
        DSNodeCreateWithParent(tree.get(), (std::string(100, 'n') + std::to_string(i)).c_str(), i, i, i,
                               DSNodeTypeFile);
    return tree;
}

int save(const DSNode* tree, bool database) {
    if (database) return snapshot::saveDatabase(tree, "s") ? 0 : 1;
    return DSNodeSaveSnapshot(tree, "s");
}

std::string load(bool database) {
    std::string tree;
    messagesOf([&] { tree = dump(Tree(DSNodeLoadSnapshot("s", kKind[database ? 1 : 0])).get()); });
    return tree;
}

// Starts a process that ends with the status that `work` gives.
pid_t started(const std::function<int()>& work) {
    const pid_t child = fork();
    if (child != 0) return child;
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, STDERR_FILENO);
    _exit(work());
}
int statusOf(pid_t child) { // once it stops or ends
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

// Runs `work` in a process and stops it when it is about to do each of its system calls: in what a kill would
// leave there, a copy of the folder, `look` looks, once where calls in a row change no file. How many calls
// there were.
int atEachCall(const std::function<int()>& work, const std::function<void()>& look) {
    const pid_t child = started([&] {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        raise(SIGSTOP);
        return work();
    });
    statusOf(child);
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_EXITKILL);
    std::map<std::string, std::string> last;
    // Two stops for each call: on its way in and, first of all from that signal, on its way out.
    for (int calls = 0;; calls++) {
        for (const bool isOut : {true, false}) {
            ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
            if (const int status = statusOf(child); !WIFSTOPPED(status)) {
                EXPECT_EQ(status, 0) << isOut;
                return calls;
            }
        }
        std::map<std::string, std::string> files;
        for (const auto& file : std::filesystem::directory_iterator("."))
            files[file.path().filename()] = support::contentOf(file);
        if (files == last) continue;
        last = files;
        std::filesystem::create_directory("killed");
        for (const auto& [name, content] : files)
            store("killed/" + name, content);
        std::filesystem::current_path("killed");
        look();
        std::filesystem::current_path("..");
        std::filesystem::remove_all("killed");
    }
}

std::string statusInDatabase() {
    bool hasStatus = query("SELECT 1 FROM sqlite_schema WHERE name = 'STATUS'") != "";
    return hasStatus ? query("SELECT Status FROM STATUS") : "none";
}

class SaveFaults : public InNewFolder, public testing::WithParamInterface<std::tuple<bool, bool>> {
  protected:
    bool database = std::get<0>(GetParam());
    bool overOld = std::get<1>(GetParam());
    Tree old = exampleTree();
    Tree current = newTree();
    std::string before = dump(overOld ? old.get() : nullptr);
    std::string after = dump(current.get());

    // The files as before the save.
    void restore() const {
        for (const char* name : {"s", "s.db", "s.db-journal"})
            std::filesystem::remove(name);
        if (overOld) messagesOf([&] { EXPECT_EQ(save(old.get(), database), 0); });
    }
};

TEST_P(SaveFaults, AKillLeavesTheOldOrTheNew) {
    int change = 0;
    int timesOld = 0;
    restore();
    const auto look = [&] {
        ++change;
        const std::string status = database ? statusInDatabase() : "";
        const std::string tree = load(database);
        EXPECT_TRUE(tree == before || tree == after) << "killed at change " << change << ": " << tree;
        if (!overOld && status == "1\n") {
            EXPECT_EQ(tree, after) << "killed at change " << change;
        }
        timesOld += tree == before ? 1 : 0;
    };
    EXPECT_GT(atEachCall([&] { return save(current.get(), database); }, look), 5);
    EXPECT_EQ(load(database), after);
    EXPECT_GE(timesOld, 3); // with nothing beside it, with an empty new file, with a whole one
}

TEST_P(SaveFaults, AFullDiskIsReportedAndLeavesTheOld) {
    restore();
    size_t files = filesHere();
    const int status = statusOf(started([&] {
        signal(SIGXFSZ, SIG_IGN);
        rlimit limit{16384, 16384};
        setrlimit(RLIMIT_FSIZE, &limit);
        return save(current.get(), database) == 0 ? 0 : 1;
    }));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1);
    if (database)
        EXPECT_NE(statusInDatabase(), "1\n");
    else
        EXPECT_EQ(filesHere(), files);
    EXPECT_EQ(load(database), before);
}

using SaveOntoMount = InNewFolder;
TEST_F(SaveOntoMount, FillsTheFileThatIsMountedThere) {
    constexpr int cannotMount = 77;
    store("s", "");
    store("mounted", "longer than what will be there, and of another file");
    const int status = statusOf(started([] {
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0 ||
            mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("mounted", "s", nullptr, MS_BIND, nullptr) != 0)
            return cannotMount;
        return DSNodeSaveSnapshot(newTree().get(), "s") == 0 && load(false) == dump(newTree().get()) ? 0 : 1;
    }));
    if (WEXITSTATUS(status) == cannotMount) GTEST_SKIP() << "this process may not mount anything";
    EXPECT_EQ(status, 0);
    std::filesystem::rename("mounted", "s");
    EXPECT_EQ(load(false), dump(newTree().get()));
    EXPECT_EQ(filesHere(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Stores, SaveFaults, testing::Combine(testing::Bool(), testing::Bool()),
                         [](const auto& test) {
                             return std::string(std::get<0>(test.param) ? "Database" : "FlatFile") +
                                    (std::get<1>(test.param) ? "OverOld" : "New");
                         });

} // namespace
