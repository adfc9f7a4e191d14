#include "backends/rclone/PasswordFile.h"
#include "backends/rclone/RcloneSpace.h"
#include "tests/support/StorageServers.h"
#include "tests/support/fakes.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <thread>

namespace backends::rclone {
namespace {

using service::Trouble;
using std::chrono::milliseconds;

RemoteControl::Settings settingsFor(const support::StorageServers& servers) {
    RemoteControl::Settings settings;
    settings.environment = servers.environment();
    return settings;
}

// The servers, and rclone, start once for all tests of the program.
support::StorageServers& servers() {
    static support::StorageServers all;
    return all;
}
RemoteControl& sharedControl() {
    static support::RecordingLog log;
    static RemoteControl one{settingsFor(servers()), log};
    return one;
}

class OnEachStorage : public testing::TestWithParam<const char*> {
  protected:
    void write(const std::string& name, const std::string& content) const {
        std::ofstream(work / name, std::ios::binary) << content;
    }
    std::string downloaded(const std::string& path) {
        const auto done = space.bringDown(path, work.path("down"), 100).wait();
        return done ? support::contentOf(work / "down") : "failed: " + done.failure().text;
    }
    std::vector<std::string> names(const std::string& folder) {
        const auto list = space.list(folder, false).wait();
        std::vector<std::string> found;
        if (!list) return {"failed: " + list.failure().text};
        for (const auto& item : *list)
            found.push_back(item.name + (item.kind == service::RemoteItem::Kind::folder ? "/" : ""));
        std::sort(found.begin(), found.end());
        return found;
    }

    support::TemporaryFolder work;
    RcloneSpace space{sharedControl(), servers().storage(GetParam()), work / "links"};
};

TEST_P(OnEachStorage, BringsMovesAndRemoves) {
    ASSERT_TRUE(space.features().wait());
    ASSERT_TRUE(space.makeFolder("t/in").wait());
    EXPECT_TRUE(space.makeFolder("t/in").wait());
    write("a", "one");
    ASSERT_TRUE(space.bringUp(work.path("a"), "t/in/a").wait());
    const auto item = space.look("t/in/a", true).wait();
    ASSERT_TRUE(item && *item);
    EXPECT_EQ((*item)->size, 3U);
    EXPECT_FALSE(*space.look("t/in/b", false).wait());

    // An edit of equal size and time is another content all the same, going up and coming down.
    const auto time = std::filesystem::last_write_time(work / "a");
    write("a", "two");
    std::filesystem::last_write_time(work / "a", time);
    ASSERT_TRUE(space.bringUp(work.path("a"), "t/in/a").wait());
    write("down", "old");
    std::filesystem::last_write_time(work / "down", time);
    EXPECT_EQ(downloaded("t/in/a"), "two");

    // A move leaves what it finds alone, of equal size or not, and says nothing of it.
    for (const char* taken : {"one", "longer"}) {
        write("down", taken);
        ASSERT_TRUE(space.bringUp(work.path("down"), "t/b").wait());
        EXPECT_TRUE(space.moveFile("t/in/a", "t/b").wait());
        EXPECT_EQ(downloaded("t/b"), taken);
        EXPECT_EQ(downloaded("t/in/a"), "two");
        ASSERT_TRUE(space.removeFile("t/b").wait());
    }
    ASSERT_TRUE(space.moveFile("t/in/a", "t/b").wait());
    EXPECT_EQ(names("t/in"), std::vector<std::string>{});
    ASSERT_TRUE(space.moveFolder("t/in", "t/out").wait());
    EXPECT_EQ(names("t"), (std::vector<std::string>{"b", "out/"}));
    EXPECT_EQ(space.removeFile("t/nothing").wait().failure().trouble, Trouble::missing);
    EXPECT_FALSE(space.removeFolder("t").wait());
    ASSERT_TRUE(space.removeFile("t/b").wait());
    ASSERT_TRUE(space.removeFolder("t/out").wait());
    ASSERT_TRUE(space.removeTree("t").wait());
    EXPECT_EQ(space.list("t", false).wait().failure().trouble, Trouble::missing);
    EXPECT_TRUE(std::filesystem::is_empty(work / "links"));
}

// Names that rclone would read as another file's, or as an option, when it were told them.
TEST_P(OnEachStorage, TakesOddNamesOfThisMachine) {
    ASSERT_TRUE(space.makeFolder("odd").wait());
    const std::vector<std::string> local{"a\nb", "a\u240ab", "\xff", "q\u201b", ":x,y\"'", "-f", "*{x}"};
    std::vector<service::Upload> uploads;
    for (const std::string& name : local) {
        write(name, "of " + name);
        uploads.push_back({work.path(name), std::to_string(uploads.size())});
    }
    ASSERT_TRUE(space.bringUp(work.path(local[0]), "odd/first").wait());
    EXPECT_EQ(downloaded("odd/first"), "of a\nb");
    ASSERT_TRUE(space.bringUpAll(uploads, "odd/all").wait());
    for (std::size_t i = 0; i < local.size(); ++i)
        EXPECT_EQ(downloaded("odd/all/" + std::to_string(i)), "of " + local[i]);
    const std::vector<std::string> there{"x:y,z",   "#?&%41", "-f",  "blank ", "dot.",
                                         "\u0308a", "\u00e4", "\\q", "*{x}"};
    for (const std::string& name : there)
        ASSERT_TRUE(space.bringUp(work.path("-f"), "odd/there/" + name).wait()) << name;
    std::vector<std::string> sorted = there;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(names("odd/there"), sorted);
    ASSERT_TRUE(space.removeTree("odd").wait());
    EXPECT_EQ(space.bringUp(work.path("gone"), "x").wait().failure().trouble, Trouble::missing);
}

INSTANTIATE_TEST_SUITE_P(RcloneSpace, OnEachStorage, testing::Values("disk", "sftp", "webdav", "secret"),
                         [](const auto& storage) { return std::string(storage.param); });

class RcloneControl : public testing::Test {
  protected:
    // Of all processes the one that serves this control: a child of this process.
    static pid_t child() {
        const std::string found =
            support::run("pgrep -n -P " + std::to_string(::getpid()) + " -x rclone").output;
        return found.empty() ? 0 : static_cast<pid_t>(std::stol(found));
    }
    support::TemporaryFolder work;
    support::RecordingLog log;
};

TEST_F(RcloneControl, OutlivesItsChildAndIsOutlivedByNone) {
    support::StorageServers disk;
    const auto settings = settingsFor(disk);
    pid_t last = 0;
    {
        RemoteControl control(settings, log);
        RcloneSpace space(control, disk.storage("disk"), work / "links");
        ASSERT_TRUE(space.makeFolder("x").wait());
        const pid_t first = child();
        ASSERT_GT(first, 0);
        ::kill(first, SIGKILL);
        // Whatever was under way fails; what comes after that is answered by the next child.
        ASSERT_TRUE(support::eventually([&] { return static_cast<bool>(space.list("", false).wait()); }));
        last = child();
        EXPECT_NE(last, first);

        const std::string line = support::contentOf("/proc/" + std::to_string(last) + "/cmdline");
        const std::string environment = support::contentOf("/proc/" + std::to_string(last) + "/environ");
        EXPECT_EQ(environment.find("RCLONE_RC_"), std::string::npos);
        const std::size_t file = line.find("/proc/self/fd/");
        ASSERT_NE(file, std::string::npos);
        const std::string told =
            support::contentOf("/proc/" + std::to_string(last) + "/fd/" + (line.c_str() + file + 14));
        EXPECT_THAT(told, testing::MatchesRegex("[a-z2-7]{36}:[{]SHA[}][A-Za-z0-9+/]{27}=\n"));
        EXPECT_EQ(line.find(told.substr(0, 36)), std::string::npos);
        for (const std::string& written : log.lines())
            EXPECT_EQ(written.find(told.substr(0, 36)), std::string::npos);
    }
    EXPECT_NE(::kill(last, 0), 0);

    // A process that is killed takes its child along.
    const pid_t process = ::fork();
    if (process == 0) {
        RemoteControl control(settings, log);
        RcloneSpace space(control, disk.storage("disk"), work / "other links");
        (void)space.makeFolder("of the child").wait();
        ::pause();
    }
    ASSERT_TRUE(
        support::eventually([&] { return std::filesystem::exists(disk.files("disk") / "of the child"); }));
    const std::string found = support::run("pgrep -P " + std::to_string(process) + " -x rclone").output;
    ::kill(process, SIGKILL);
    ::waitpid(process, nullptr, 0);
    ASSERT_FALSE(found.empty());
    EXPECT_TRUE(support::eventually([&] {
        return support::run("ps -o stat= -p " + found).output.find_first_not_of("Z \n") == std::string::npos;
    }));
}

TEST_F(RcloneControl, TellsAPasswordAsAServerReadsIt) {
    const PasswordFile file("me", "secret");
    EXPECT_EQ(support::contentOf(file.path()), "me:{SHA}5en6G6MezRroT3XKqkdPOmY/BfQ=\n");
}

TEST_F(RcloneControl, SaysWhenThereIsNone) {
    for (const char* program : {"/nonexistent", "/bin/false"}) {
        RemoteControl::Settings settings;
        settings.program = program;
        RemoteControl none(settings, log);
        RcloneSpace nowhere(none, "disk:", work / "links");
        EXPECT_EQ(nowhere.list("", false).wait().failure().trouble, Trouble::unreachable) << program;
    }
}

// Who took the port first could answer that everything was deleted.
TEST_F(RcloneControl, BelievesNoProgramOfAnotherPerson) {
    if (::getuid() != 0) GTEST_SKIP() << "only root can be two people";
    RemoteControl::Settings settings;
    settings.environment = {"PATH=/usr/bin:/bin", "HOME=/", "RCLONE_CONFIG="};
    settings.startLimit = milliseconds(2000);
    settings.program =
        work.write("other", "#!/bin/sh\nexec setpriv --reuid 65534 --clear-groups rclone \"$@\"\n");
    std::filesystem::permissions(settings.program, std::filesystem::perms::owner_all);
    RemoteControl control(settings, log);
    RcloneSpace space(control, "disk:", work / "links");
    EXPECT_EQ(space.list("", false).wait().failure().trouble, Trouble::unreachable);
    EXPECT_THAT(log.lines(), testing::Contains("rclone does not answer and is given up"));
}

TEST_F(RcloneControl, IsToldThatAServerIsAwayAndLetsGoOfAHungOne) {
    support::StorageServers own;
    RemoteControl control(settingsFor(own), log);
    RcloneSpace space(control, own.storage("webdav"), work / "links");
    ASSERT_TRUE(space.list("", false).wait());
    own.stopWebdav();
    std::stop_source impatient;
    {
        auto pending = space.makeFolder("x"); // goes on trying for a while
        std::jthread person([&] { impatient.request_stop(); });
        EXPECT_EQ(pending.wait(impatient.get_token()).failure().trouble, Trouble::cancelled);
    }
    own.startWebdav();
    EXPECT_TRUE(space.list("", false).wait());
}

} // namespace
} // namespace backends::rclone
