// How the program looks at directories: threads, disks that do not answer, progress, and being interrupted.
#include "tests/support/Programs.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <sys/inotify.h>

#include <array>
#include <csignal>
#include <unistd.h>

namespace {

using support::contentOf;
using testing::HasSubstr;

class DirsnapshotLooking : public testing::Test {
  protected:
    // In the folder, on a disk with faults.
    int run(const std::string& arguments) const {
        return support::run("cd '" + folder.path() +
                            "' && (ASAN_OPTIONS=verify_asan_link_order=0 LD_PRELOAD='" DISK_FAULTS
                            "' '" DIRSNAPSHOT_PROGRAM "' " +
                            arguments + " 2>said)")
            .status;
    }
    std::string said() const { return contentOf(folder / "said"); }
    bool isThere(const char* name) const { return std::filesystem::exists(folder / name); }

    support::TemporaryFolder folder;
};

TEST_F(DirsnapshotLooking, ADirectoryThatNeverAnswersEndsIt) {
    for (const char* file : {"d/a", "d/b/c", "d/b/e", "gone/x", "gone/dead/y"})
        folder.write(file, "1");
    // A look is a directory's access only where the time of the last one is not later than its others.
    ASSERT_EQ(
        support::run("touch -a -d tomorrow '" + folder.path() + "'/d '" + folder.path() + "'/d/b").status, 0);
    // A disk that answers: the same with a process of its own, whatever the threads.
    EXPECT_EQ(run("scan d -o plain"), 0);
    EXPECT_EQ(run("scan d -o guarded --timeout 20 --threads 3"), 0);
    EXPECT_EQ(contentOf(folder / "plain"), contentOf(folder / "guarded"));
    EXPECT_EQ(run("scan d -o next --since guarded --timeout 20"), 0);
    EXPECT_EQ(run("diff next d --timeout 20"), 0);
    EXPECT_EQ(contentOf(folder / "next.evidence").size(), 24U + 5 * 48);
    EXPECT_EQ(said(), "");
    EXPECT_EQ(run("scan d/a -o none --timeout 20"), 2);
    EXPECT_EQ(said(), "dirsnapshot: d/a: Not a directory\n");
    EXPECT_EQ(run("scan d -o none --timeout 0"), 2);
    EXPECT_EQ(said(), "dirsnapshot: scan: --timeout: not more than 0: 0; see --help\n");

    const std::string dead =
        "dirsnapshot: " + folder.path() + "/gone/dead: no answer from the disk for 0.2 s; given up\n";
    for (const char* arguments : {"scan gone -o none", "scan gone -o none --threads 1",
                                  "scan gone -o none --since plain", "diff plain gone", "ls gone"}) {
        EXPECT_EQ(run(std::string(arguments) + " --timeout 0.2"), 2) << arguments;
        EXPECT_EQ(said(), dead) << arguments;
    }
    EXPECT_FALSE(isThere("none") || isThere("none.evidence"));
}

// Else a mistake of the disk would be taken for a deletion.
TEST_F(DirsnapshotLooking, AnItemThatTheDiskDoesNotExplainIsNoneThatHasGone) {
    folder.write("d/a", "1");
    EXPECT_EQ(run("scan d -o whole"), 0);
    folder.write("d/broken", "1");
    for (const char* arguments :
         {"scan d -o part", "scan d -o part --threads 1", "scan d -o part --since whole"}) {
        EXPECT_EQ(run(arguments), 2) << arguments;
        EXPECT_EQ(said(), "dirsnapshot: d: only a part could be read\n") << arguments;
    }
}

TEST_F(DirsnapshotLooking, ShowsHowFarItIs) {
    for (const char* file : {"d/a", "d/slow/b"})
        folder.write(file, "");
    folder.write("s", "2|/a0|2|5|0|5|/slow0|1|5|0|7|/slow/b0|2|5|0|");
    EXPECT_EQ(run("scan d -o new"), 0);
    EXPECT_EQ(said(), "") << "no terminal";
    EXPECT_EQ(run("scan d -o s --progress"), 0); // the earlier one is what is expected
    EXPECT_THAT(said(), HasSubstr("%  2 of about 3 items, "));
    EXPECT_TRUE(said().ends_with("\r\033[K"));
    EXPECT_EQ(run("scan d -o newer --progress --timeout 20"), 0);
    EXPECT_THAT(said(), HasSubstr("\r2 items, "));

    for (const char* side : {"e", "f"}) {
        folder.write(side + std::string("/a"), std::string(3'000, '1'));
        folder.write(side + std::string("/slow"), side + std::string(999, '1'));
    }
    EXPECT_EQ(run("diff e f --content --progress"), 1);
    EXPECT_THAT(said(), HasSubstr("75 %  6 of about 8 kB, "));
}

// The signal comes when the first file appears beside the target, which takes the program longer to write.
TEST_F(DirsnapshotLooking, AnInterruptLeavesNothingHalfWritten) {
    std::string records;
    for (int i = 0; i < 100'000; i++)
        records += "8|/" + std::to_string(1'000'000 + i) + "0|2|5|0|";
    folder.write("large", records);
    for (const std::string type : {"flat", "sync"}) {
        const std::string target = folder / type;
        std::filesystem::create_directory(target);
        const int events = inotify_init1(IN_CLOEXEC);
        inotify_add_watch(events, target.c_str(), IN_CREATE);
        support::Program program({DIRSNAPSHOT_PROGRAM, "convert", "--from", "flat", "--to", type,
                                  folder / "large", target + "/new"});
        std::array<char, 4096> event;
        EXPECT_GT(read(events, event.data(), event.size()), 0);
        EXPECT_EQ(program.end(SIGINT), -SIGINT) << type;
        close(events);
        const std::string store = type == "flat" ? "new" : "new.db";
        for (const auto& entry : std::filesystem::directory_iterator(target))
            EXPECT_EQ(entry.path().filename(), store);
        EXPECT_EQ(run("count " + target + "/new >count"), 0);
        EXPECT_EQ(contentOf(folder / "count"), "100000\n");
    }
}

} // namespace
