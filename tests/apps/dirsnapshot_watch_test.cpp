// What `dirsnapshot watch` tells while things happen in a directory.
#include "tests/support/Programs.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

namespace {

namespace fs = std::filesystem;

// The program at work, and what it prints into a file.
class Watching : public support::Program {
  public:
    Watching(const std::string& printed, const std::string& arguments)
        : Program({"/bin/sh", "-c", "exec '" DIRSNAPSHOT_PROGRAM "' watch " + arguments + " >" + printed}),
          _printed((std::ofstream(printed), printed)) {}
    // The next lines, with a "|" behind each; fewer when no more come.
    std::string next(size_t lines) {
        std::string text;
        while (lines > 0 && support::eventually([&] {
                   std::string piece;
                   _printed.clear();
                   std::getline(_printed, piece);
                   _line += piece;
                   return !_printed.eof();
               })) {
            text += std::exchange(_line, "") + "|";
            lines--;
        }
        return text;
    }

  private:
    std::ifstream _printed;
    std::string _line; // as far as it is there
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
    std::string within(const std::string& name) const { return " '" + folder.path(name) + "' "; }
    support::TemporaryFolder folder;
};

TEST_F(DirsnapshotWatch, TellsWhatTheKernelTells) {
    folder.write("old", "5|/gone4|2|5|0|");
    folder.write("t/z", "1");
    Watching watching(folder / "told",
                      within("t") + within("old") + "--exclude skip --exclude" + within("t/not"));
    EXPECT_EQ(watching.next(2), "D /gone|A /z|");
    folder.write("t/z", "2"); // within the second, and of the same size
    EXPECT_EQ(watching.next(1), "M /z|");
    follow(watching);
}

TEST_F(DirsnapshotWatch, LooksWhereTheKernelDoesNotTell) {
    folder.write("t/z", "1");
    folder.write("none", "");
    Watching watching(folder / "told",
                      within("t") + within("none") +
                          "--interval 0.05 --timeout 20 --threads 2 --ignore mtime --exclude skip "
                          "--exclude" +
                          within("t/not/"));
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
    Watching watching(folder / "told", within("t") + within("none"));
    EXPECT_EQ(watching.next(1), "A /z|");
    watching.stop();
    for (size_t i = 0; i < kept; i++)
        folder.write("t/" + std::to_string(i), "");
    fs::create_directory(folder / "t/late");
    watching.send(SIGCONT);
    EXPECT_EQ(watching.next(1), "A /0|");
    std::string last;
    for (size_t i = 0; i < kept; i++)
        last = watching.next(1);
    EXPECT_EQ(last, "A /late|");
    folder.write("t/late/x", "");
    EXPECT_EQ(watching.next(1), "A /late/x|");
    EXPECT_EQ(watching.end(SIGINT), 0);
    EXPECT_EQ(Watching(folder / "told", within("nothing")).ownEnd(), 2);
}

} // namespace
