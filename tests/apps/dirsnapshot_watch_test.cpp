// What `dirsnapshot watch` tells while things happen in a directory.
#include "tests/support/Programs.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;

// The program at work, and what it prints.
class Watching {
  public:
    explicit Watching(const std::vector<std::string>& arguments) {
        std::array<int, 2> ends{};
        if (pipe(ends.data()) != 0) return;
        _child = fork();
        if (_child == 0) {
            dup2(ends[1], STDOUT_FILENO);
            close(ends[0]);
            close(ends[1]);
            std::vector<char*> words{const_cast<char*>("dirsnapshot"), const_cast<char*>("watch")};
            for (const std::string& argument : arguments)
                words.push_back(const_cast<char*>(argument.c_str()));
            words.push_back(nullptr);
            execv(DIRSNAPSHOT_PROGRAM, words.data());
            _exit(9);
        }
        close(ends[1]);
        _output = ends[0];
    }
    ~Watching() {
        if (_child > 0) end(SIGKILL);
        close(_output);
    }
    // The next lines, with a "|" behind each; fewer when no more come.
    std::string next(size_t lines) {
        std::string text;
        for (; lines > 0; lines--) {
            size_t end;
            while ((end = _text.find('\n')) == std::string::npos) {
                pollfd output{_output, POLLIN, 0};
                std::array<char, 65536> piece;
                if (poll(&output, 1, 20'000) <= 0) return text;
                const ssize_t got = read(_output, piece.data(), piece.size());
                if (got <= 0) return text;
                _text.append(piece.data(), static_cast<size_t>(got));
            }
            text += _text.substr(0, end) + "|";
            _text.erase(0, end + 1);
        }
        return text;
    }
    int end(int signal) {
        kill(_child, signal);
        int status = 0;
        waitpid(_child, &status, 0);
        _child = -1;
        return status;
    }
    pid_t process() const { return _child; }

  private:
    pid_t _child = -1;
    int _output = -1;
    std::string _text;
};

class DirsnapshotWatch : public testing::Test {
  protected:
    // What is told of the same changes, however they are known.
    void follow(Watching& watching) {
        folder.write("t/skip/in", "");
        fs::create_directory(folder / "t/not");
        fs::rename(folder / "t/skip/in", folder / "t/in");
        EXPECT_EQ(watching.next(1), "A /in|");
        fs::rename(folder / "t/in", folder / "t/not/in");
        EXPECT_EQ(watching.next(1), "D /in|");
        folder.write("w", "1");
        fs::rename(folder / "w", folder / "t/a");
        EXPECT_EQ(watching.next(1), "A /a|");
        fs::rename(folder / "t/a", folder / "t/b");
        EXPECT_EQ(watching.next(1), "R /a -> /b|");
        std::ofstream(folder / "t/b", std::ios::app) << "longer";
        EXPECT_EQ(watching.next(1), "M /b|");
        fs::create_directory(folder / "u");
        folder.write("u/x", "");
        fs::rename(folder / "u", folder / "t/d");
        EXPECT_EQ(watching.next(2), "A /d|A /d/x|");
        fs::rename(folder / "t/d", folder / "t/e");
        EXPECT_EQ(watching.next(1), "R /d -> /e|");
        folder.write("t/e/y", "");
        EXPECT_EQ(watching.next(1), "A /e/y|");
        fs::rename(folder / "t/e/y", folder / "out");
        EXPECT_EQ(watching.next(1), "D /e/y|");
        fs::create_symlink("nowhere", folder / "t/l");
        EXPECT_EQ(watching.next(1), "A /l|");
        EXPECT_EQ(watching.end(SIGTERM), 0);
    }
    support::TemporaryFolder folder;
};

TEST_F(DirsnapshotWatch, TellsWhatTheKernelTells) {
    folder.write("old", "5|/gone4|2|5|0|");
    folder.write("t/z", "1");
    Watching watching({folder / "t", folder / "old", "--exclude", "skip", "--exclude", folder / "t/not"});
    EXPECT_EQ(watching.next(2), "D /gone|A /z|");
    folder.write("t/z", "2"); // within the second, and of the same size
    EXPECT_EQ(watching.next(1), "M /z|");
    follow(watching);
}

TEST_F(DirsnapshotWatch, LooksWhereTheKernelDoesNotTell) {
    folder.write("t/z", "1");
    folder.write("none", "");
    Watching watching({folder / "t", folder / "none", "--interval", "0.05", "--timeout", "20", "--threads",
                       "2", "--ignore", "mtime", "--exclude", "skip", "--exclude", folder / "t/not/"});
    EXPECT_EQ(watching.next(1), "A /z|");
    fs::last_write_time(folder / "t/z", {});
    follow(watching);
}

// While the program stands still, more happens than the kernel keeps.
TEST_F(DirsnapshotWatch, LooksWhenEventsWereLost) {
    folder.write("t/z", "1");
    folder.write("none", "");
    size_t kept = 0;
    std::ifstream("/proc/sys/fs/inotify/max_queued_events") >> kept;
    if (kept == 0 || kept > 50'000) GTEST_SKIP() << "the kernel keeps " << kept;
    Watching watching({folder / "t", folder / "none"});
    EXPECT_EQ(watching.next(1), "A /z|");
    kill(watching.process(), SIGSTOP);
    int status = 0;
    waitpid(watching.process(), &status, WUNTRACED);
    for (size_t i = 0; i < kept; i++)
        folder.write("t/" + std::to_string(i), "");
    fs::create_directory(folder / "t/late");
    kill(watching.process(), SIGCONT);
    EXPECT_EQ(watching.next(1), "A /0|");
    std::string last;
    for (size_t i = 0; i < kept; i++)
        last = watching.next(1);
    EXPECT_EQ(last, "A /late|");
    folder.write("t/late/x", "");
    EXPECT_EQ(watching.next(1), "A /late/x|");
    EXPECT_EQ(watching.end(SIGINT), 0);
    Watching none({folder / "nothing"});
    int code = 0;
    waitpid(none.process(), &code, 0);
    EXPECT_EQ(WEXITSTATUS(code), 2);
}

} // namespace
