// The programs from outside: the stand-in daemon and the extension process on a private bus, a real folder,
// and a terminal as the file manager.
#include "platform/Json.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/Programs.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>

namespace {

namespace fs = std::filesystem;
using platform::Value;
using support::Program;
using support::Result;
using support::run;

class ExtensionProcessTest : public testing::Test {
  protected:
    support::PrivateBus bus;
    support::TemporaryFolder folder;
    const std::string docs = folder.path("Docs");
    const std::string finder = TSYNCFINDER_PROGRAM;

    void SetUp() override {
        folder.write("Docs/small.txt", "small");
        folder.write("Docs/sub/large.bin", std::string(4'000'000, 'x'));
        ::setenv("HOME", folder.path().c_str(), 1);
    }

    std::vector<std::string> daemonArguments(const std::vector<std::string>& more = {}) const {
        std::vector<std::string> arguments{SANDBOX_PROGRAM, "--space", folder.path("space"), "--state",
                                           folder.path("state")};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }

    // The badge of each item, "item badge", below the synced folder.
    std::vector<std::string> badges() const {
        std::vector<std::string> list;
        const auto value = platform::valueOfJson(run(finder + " badges --json " + docs).output);
        if (value && value->array() != nullptr)
            for (const Value& item : *value->array())
                list.push_back(item.dictionary()->at("path").string()->substr(docs.size()) + " " +
                               *item.dictionary()->at("badge").string());
        return list;
    }
};

TEST_F(ExtensionProcessTest, ShowsARealTransfer) {
    EXPECT_EQ(run(finder + " status").status, 2) << "no extension yet";
    const Program daemon(daemonArguments({"--throttle", "2M", "--start", docs, "/Docs"}));
    Program extension({finder, "run", "--log-level", "error"});

    const std::vector<std::string> during{" tovik", "/small.txt sync", "/sub upload",
                                          "/sub/large.bin upload"};
    const std::vector<std::string> after{" tovik", "/small.txt sync", "/sub sync", "/sub/large.bin sync"};
    EXPECT_TRUE(support::eventually([&] { return badges() == during; }));
    EXPECT_THAT(run(finder + " why " + docs + "/sub").output,
                testing::HasSubstr("Uploading now: " + docs + "/sub/large.bin"));
    EXPECT_TRUE(support::eventually([&] { return badges() == after; }));
    EXPECT_EQ(fs::file_size(folder / "space/Docs/sub/large.bin"), 4'000'000U);

    EXPECT_EQ(run(finder + " menu " + docs).output, "TovikDrive  ▸\n    Share by email\n    Stop sync\n");
    EXPECT_EQ(run(finder + " menu " + docs + "/gone --json").output,
              "[{\"enabled\":true,\"image\":\"statusbaricon.png\",\"items\":[],\"key\":\"TSFP\",\"title\":"
              "\"TovikDrive\"}]\n");
    const Result unknown = run(finder + " invoke 'No item' " + docs);
    EXPECT_EQ(unknown.status, 2);
    EXPECT_THAT(unknown.output, testing::HasSubstr("There is no menu item \"No item\"."));
    EXPECT_EQ(run(finder + " badges " + docs + " | grep -c '\033'").output, "0\n") << "no colours in a pipe";

    const Result second = run(finder + " run");
    EXPECT_EQ(second.status, 0);
    EXPECT_THAT(second.output, testing::HasSubstr("already running"));
    EXPECT_EQ(extension.end(SIGTERM), 0);

    // A new extension process is badged again: the daemon posts a refresh when it appears.
    const Program next({finder, "run", "--log-level", "error"});
    EXPECT_TRUE(support::eventually([&] { return badges() == after; }));
}

TEST_F(ExtensionProcessTest, EndsWithTheSession) {
    Program extension({finder, "run", "--log-level", "error"});
    EXPECT_TRUE(support::eventually([&] { return run(finder + " status").status == 0; }));
    bus.stop();
    EXPECT_TRUE(extension.endsWithSuccess()) << "a failure would be a reason to start it again";
}

TEST_F(ExtensionProcessTest, FollowsTheSettings) {
    ::setenv("XDG_CONFIG_HOME", folder.path("config").c_str(), 1);
    const Program daemon(daemonArguments({"--start", docs, "/Docs"}));
    const Program extension({"/bin/sh", "-c", "exec " + finder + " run 2>" + folder.path("log")});
    const fs::path signals = folder / "signals";
    const Program monitor({"/bin/sh", "-c", "exec dbus-monitor member=MenusChanged >" + signals.string()});
    const auto shows = [&](const char* badge) {
        return testing::Value(badges(), testing::Contains(std::string(" ") + badge));
    };
    const auto logHolds = [&](const char* text) {
        return run("grep -c '" + std::string(text) + "' " + folder.path("log")).status == 0;
    };
    EXPECT_TRUE(support::eventually([&] { return shows("tovik"); }));
    EXPECT_EQ(run(finder + " config badges off").status, 0);
    EXPECT_TRUE(support::eventually([&] { return shows("none"); }));
    EXPECT_THAT(run(finder + " why " + docs).output,
                testing::AllOf(testing::HasSubstr("Badges are switched off"),
                               testing::HasSubstr("Synced folder: " + docs)));
    EXPECT_NE(run(finder + " menu " + docs).output, "");

    const fs::path file = folder / "config/tsyncfinder/settings.json";
    std::ofstream(file) << R"({"badges": true, "menu": fal)"; // a slip of the hand
    EXPECT_TRUE(support::eventually([&] { return logHolds("The former settings hold."); }));
    EXPECT_TRUE(shows("none"));
    EXPECT_FALSE(logHolds(" debug: "));
    EXPECT_TRUE(support::eventually([&] { return fs::file_size(signals) > 0; })) << "the monitor listens";
    std::ofstream(file) << R"({"badges": true, "menu": false, "log-level": "debug"})";
    EXPECT_TRUE(support::eventually([&] { return shows("tovik"); }));
    EXPECT_EQ(run(finder + " menu " + docs).output, "The menu is switched off: tsyncfinder config menu on\n");
    EXPECT_TRUE(
        support::eventually([&] { return run("grep member=MenusChanged " + signals.string()).status == 0; }));
    EXPECT_TRUE(logHolds(" debug: ")) << "the badge request that was just answered";
    ::unsetenv("XDG_CONFIG_HOME");
}

TEST_F(ExtensionProcessTest, ComesBackToADaemonThatDiedAndKeepsItsPairs) {
    const Program extension({finder, "run", "--log-level", "error"});
    EXPECT_TRUE(support::eventually([&] { return run(finder + " status").status == 0; }))
        << "also without a daemon";
    EXPECT_THAT(badges(), testing::Contains("/small.txt none"));
    Program first(daemonArguments({"--start", docs, "/Docs"}));
    EXPECT_TRUE(support::eventually(
        [&] { return testing::Value(badges(), testing::Contains("/sub/large.bin sync")); }));
    first.end(SIGKILL);
    const Program second(daemonArguments());
    const std::string stop = std::string(SANDBOX_PROGRAM) + " stop /Docs";
    EXPECT_TRUE(support::eventually([&] {
        run(stop); // the command message reaches the daemon once it is up
        return testing::Value(badges(), testing::Contains("/small.txt none"));
    }));
}

} // namespace
