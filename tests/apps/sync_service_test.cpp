// The sync service as a person has it: the program on a bus of its own, a real SFTP server or, where that is
// not what matters, a folder as the storage, the extension beside it.
#include "backends/dbus/SyncServiceInterface.h"
#include "dirsnapshot/DirSnapshot.h"
#include "platform/file_attributes.h"
#include "platform/json.h"
#include "protocol/names.h"
#include "tests/support/Desktop.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/StorageServers.h"
#include "tests/support/enter_home.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace {

namespace fs = std::filesystem;
using support::contentOf;
using support::eventually;

class SyncService : public testing::Test {
  protected:
    SyncService() {
        support::enterHome(home.path());
        ::setenv("RCLONE_CONFIG", servers.configuration().c_str(), 1);
        fs::create_directories(folder);
    }
    // What `setup` leaves, without an rclone that looks whether the storage is there.
    void setUpDisk() {
        const fs::path settings = home / "config/tsyncquenz/settings.json";
        fs::create_directories(settings.parent_path());
        std::ofstream(settings) << R"({"storage":")" << servers.storage("disk") << "\"}";
    }
    static support::Result command(const std::string& arguments) {
        return support::run(std::string(SERVICE_PROGRAM) + " " + arguments);
    }
    // What the service answered, without the brackets; empty: nothing.
    static std::string request(const std::string& method, const std::string& arguments = {}) {
        return support::run("gdbus call --session --dest " TSYNC_SERVICE_NAME
                            " --object-path " TSYNC_OBJECT_PATH " --method " TSYNC_INTERFACE "." +
                            method + " " + arguments)
            .output;
    }
    // Asked without a program in between; nothing while no service runs.
    static std::optional<platform::Dictionary> askedStatus() {
        try {
            return backends::dbus::SyncServiceClient().status();
        } catch (const std::runtime_error&) {
            return std::nullopt;
        }
    }
    // What the program prints, which is run when there is something else to print.
    static bool eventuallyStatus(const std::string& text) {
        std::optional<platform::Dictionary> last;
        return eventually([&] {
            auto status = askedStatus();
            if (!status || status == last) return false;
            last = std::move(status);
            return command("status").output.find(text) != std::string::npos;
        });
    }
    // All pairs, and so many.
    static bool areInStep(std::size_t pairs) {
        return eventually([pairs] {
            const auto status = askedStatus();
            if (!status) return false;
            const auto& all = *platform::arrayAt(*status, "pairs");
            return all.size() == pairs && std::all_of(all.begin(), all.end(), [](const auto& pair) {
                       return *platform::textAt(*pair.dictionary(), "state") == "in step";
                   });
        });
    }

    const std::vector<std::string> serviceInHaste{SERVICE_PROGRAM, "run", "--haste", "20"};
    const support::TemporaryFolder home;
    support::StorageServers servers;
    support::PrivateBus sessionBus;
    const fs::path folder = home / "Pictures";
};

TEST_F(SyncService, KeepsAFolderInStepWithAServerAndTheExtensionSaysSo) {
    const fs::path there = servers.files("sftp") / "Pictures";
    EXPECT_EQ(command("run").status, 2); // nothing is set up
    EXPECT_EQ(command("setup nowhere").status, 2);
    const support::Result setup = command("setup " + servers.storage("sftp"));
    ASSERT_EQ(setup.status, 0) << setup.output;
    EXPECT_EQ(command("status").status, 2); // nothing runs

    support::Program service(serviceInHaste);
    support::Program extension({TSYNCFINDER_PROGRAM, "run"});
    ASSERT_TRUE(eventuallyStatus("No folder is synced yet"));
    EXPECT_EQ(command("run").status, 2); // there is one already
    std::ofstream(folder / "one.txt") << "one";
    const support::Result added = command("add " + folder.string());
    ASSERT_EQ(added.status, 0) << added.output;
    EXPECT_EQ(command("add " + home.path("state")).status, 2);
    EXPECT_EQ(command("config bandwidth 800M").output, "bandwidth: 800M\n");
    EXPECT_EQ(command("config transfers 99").status, 2);
    EXPECT_EQ(command("add " + folder.string() + " /Pictures/in/it").status, 2);
    EXPECT_TRUE(eventually([&] { return contentOf(there / "one.txt") == "one"; }))
        << command("status").output;
    EXPECT_TRUE(eventuallyStatus(": in step"));
    const std::string badges = std::string(TSYNCFINDER_PROGRAM) + " badges --json " + folder.string();
    EXPECT_TRUE(eventually([&] { return support::run(badges).output.find("tovik") != std::string::npos; }))
        << support::run(badges).output;

    // What changes here goes up by itself, what changes there comes down when it is looked at.
    fs::create_directories(folder / "below");
    std::ofstream(folder / "below/two.txt") << "two";
    const std::string waits = std::string(TSYNCFINDER_PROGRAM) + " wait " + folder.string();
    EXPECT_EQ(support::run(waits).status, 0);
    EXPECT_EQ(contentOf(there / "below/two.txt"), "two");
    EXPECT_TRUE(areInStep(1));
    std::ofstream(there / "one.txt") << "changed there";
    ASSERT_EQ(command("pause").status, 0);
    EXPECT_TRUE(eventuallyStatus("paused"));
    std::ofstream(folder / "later.txt") << "later";
    ASSERT_EQ(command("resume").status, 0);
    EXPECT_TRUE(eventually([&] { return contentOf(there / "later.txt") == "later"; }));
    EXPECT_TRUE(eventually([&] { return contentOf(folder / "one.txt") == "changed there"; }));

    // What is taken in again after it was left out comes back: nothing was deleted.
    EXPECT_TRUE(areInStep(1));
    EXPECT_EQ(request("excludeSyncPath_", "/Pictures/below"), "()\n");
    EXPECT_TRUE(areInStep(1));
    fs::remove(folder / "below/two.txt");
    EXPECT_EQ(request("includeSyncPath_", "/Pictures/below"), "()\n");
    EXPECT_TRUE(eventually([&] { return contentOf(folder / "below/two.txt") == "two"; }));

    // Another folder in the place of the synced one is left alone.
    fs::rename(folder, home / "away");
    fs::create_directories(folder);
    EXPECT_EQ(command("resume").status, 0);
    EXPECT_TRUE(eventuallyStatus("not the one that was synced"));
    EXPECT_EQ(contentOf(there / "below/two.txt"), "two");
    fs::remove(folder);
    fs::rename(home / "away", folder);
    EXPECT_EQ(command("resume").status, 0);
    EXPECT_TRUE(areInStep(1));

    // A restart knows the pair; a dead server is said.
    EXPECT_EQ(service.end(SIGTERM), 0);
    servers.stopSftp();
    support::Program again(serviceInHaste);
    EXPECT_TRUE(eventuallyStatus("failed, "));
    EXPECT_EQ(support::run(waits).status, 1);
    servers.startSftp();
    EXPECT_EQ(command("resume").status, 0);
    const auto status = platform::valueOfJson(command("status --json").output);
    ASSERT_TRUE(status && status->dictionary());
    EXPECT_EQ(platform::arrayAt(*status->dictionary(), "pairs")->size(), 1U);
    EXPECT_EQ(command("remove " + folder.string()).status, 0);
    EXPECT_EQ(command("remove " + folder.string()).status, 2);
    EXPECT_EQ(contentOf(there / "later.txt"), "later");
    EXPECT_EQ(contentOf(folder / "later.txt"), "later");
    EXPECT_EQ(again.end(SIGTERM), 0);
}

// A pair in another one, through all that could make either take the other's items for deleted.
TEST_F(SyncService, APairInAnotherIsCutOutOfItAndNothingIsLost) {
    const fs::path there = servers.files("disk") / "Pictures";
    const fs::path inner = folder / "dir/in";
    const auto put = [](const fs::path& file, const std::string& content) {
        fs::create_directories(file.parent_path());
        std::ofstream(file) << content;
    };
    const auto has = [](const fs::path& file, const std::string& content) {
        return eventually([&] { return contentOf(file) == content; });
    };
    const auto add = [](const fs::path& local, const std::string& remote) {
        return command("add " + local.string() + " " + remote);
    };
    support::Desktop desktop;
    std::vector<std::string> told;
    const auto isTold = [&] {
        for (std::string& body : desktop.take())
            told.push_back(std::move(body));
        return !told.empty();
    };
    setUpDisk();
    std::optional<support::Program> service;
    const auto restart = [&](int signal) {
        if (service) service->end(signal);
        service.emplace(serviceInHaste);
        EXPECT_TRUE(eventuallyStatus("Storage: "));
    };
    restart(SIGTERM);
    for (const char* name : {"one", "two", "dir/three", "dir/four", "dir/in/x", "dir/in/y", "dir/in/z"})
        put(folder / name, name);
    ASSERT_EQ(add(folder, "/Pictures").status, 0);
    EXPECT_TRUE(has(there / "dir/in/z", "dir/in/z"));
    EXPECT_TRUE(areInStep(1));

    // It comes and goes before the outer one looks, what is in it is deleted here meanwhile, and the service
    // is killed: all the same nothing follows. The same for what is excluded and included.
    ASSERT_EQ(command("pause").status, 0);
    ASSERT_EQ(add(inner, "/Pictures/dir/in").status, 0);
    EXPECT_EQ(request("excludeSyncPath_", "/Pictures/dir/four"), "()\n");
    fs::remove(inner / "x");
    fs::remove(folder / "dir/four");
    EXPECT_EQ(request("includeSyncPath_", "/Pictures/dir/four"), "()\n");
    EXPECT_EQ(command("remove " + inner.string()).status, 0);
    restart(SIGKILL);
    ASSERT_EQ(command("resume").status, 0);
    EXPECT_TRUE(has(inner / "x", "dir/in/x"));
    EXPECT_TRUE(has(folder / "dir/four", "dir/four"));

    // Each has what is its own.
    ASSERT_EQ(add(inner, "/Pictures/dir/in").status, 0);
    EXPECT_TRUE(areInStep(2));
    put(inner / "new", "new");
    fs::remove(inner / "y");
    EXPECT_TRUE(has(there / "dir/in/new", "new"));
    EXPECT_TRUE(eventually([&] { return !fs::exists(there / "dir/in/y"); }));
    const support::Result crossing = add(folder / "dir", "/Pictures/dir/in/below");
    EXPECT_EQ(crossing.status, 2);
    EXPECT_NE(crossing.output.find("in the storage"), std::string::npos) << crossing.output;
    EXPECT_EQ(add(inner, "/Elsewhere").status, 2);
    EXPECT_EQ(request("isRemotePathExcluded_isBasePathOfExclusion_withReply_", "/Pictures/dir/in"),
              "(false, false)\n");

    // What lies around it goes, here and there: it stays, with what it holds.
    EXPECT_TRUE(areInStep(2));
    for (const char* name : {"dir/three", "dir/four"})
        fs::remove(there / name);
    fs::rename(there / "dir/in", home / "in");
    fs::remove(there / "dir");
    EXPECT_EQ(command("resume").status, 0);
    EXPECT_TRUE(eventually([&] { return !fs::exists(folder / "dir/three"); }));
    EXPECT_EQ(contentOf(inner / "z"), "dir/in/z");
    EXPECT_TRUE(eventually(isTold));
    fs::create_directories(there / "dir");
    fs::rename(home / "in", there / "dir/in");
    put(folder / "dir/five", "five");
    EXPECT_TRUE(has(there / "dir/five", "five"));
    EXPECT_TRUE(areInStep(2));
    isTold();
    EXPECT_EQ(told, std::vector<std::string>{inner.string() +
                                             " is not synced: the storage does not have this folder: "
                                             "error in ListJSON: directory not found"})
        << "once, while it lasts";
    fs::rename(folder / "dir", folder / "moved"); // the inner one is missing now
    EXPECT_TRUE(has(there / "moved/five", "five"));
    EXPECT_TRUE(eventually([&] { return !fs::exists(there / "dir/five"); }));
    EXPECT_EQ(contentOf(there / "dir/in/z"), "dir/in/z");
    EXPECT_TRUE(has(there / "moved/in/z", "dir/in/z")); // somebody's copy now
    fs::remove_all(folder / "moved");
    EXPECT_TRUE(eventually([&] { return !fs::exists(there / "moved"); }));
    EXPECT_EQ(contentOf(there / "dir/in/z"), "dir/in/z");

    // Without it the outer one begins with a first sync there.
    EXPECT_EQ(command("remove " + inner.string()).status, 0);
    EXPECT_TRUE(has(inner / "z", "dir/in/z"));
    EXPECT_TRUE(has(inner / "new", "new"));
    EXPECT_TRUE(areInStep(1));
    fs::remove(inner / "z");
    EXPECT_TRUE(eventually([&] { return !fs::exists(there / "dir/in/z"); }));
    put(inner / "later", "later"); // it is watched
    EXPECT_TRUE(has(there / "dir/in/later", "later"));

    // In it on one side alone: its place on the other is nobody's.
    ASSERT_EQ(add(home / "state", "/Pictures/dir/apart").status, 2);
    fs::create_directories(home / "Apart");
    put(folder / "dir/apart/mine", "mine");
    EXPECT_TRUE(has(there / "dir/apart/mine", "mine"));
    ASSERT_EQ(add(home / "Apart", "/Pictures/dir/apart").status, 0);
    EXPECT_TRUE(has(home / "Apart/mine", "mine"));
    EXPECT_TRUE(areInStep(2));
    fs::remove(home / "Apart/mine");
    EXPECT_TRUE(eventually([&] { return !fs::exists(there / "dir/apart/mine"); }));
    EXPECT_TRUE(areInStep(2));
    EXPECT_EQ(contentOf(folder / "dir/apart/mine"), "mine");
    EXPECT_NE(command("problems").output.find("dir/apart"), std::string::npos) << command("problems").output;
    support::Program extension({TSYNCFINDER_PROGRAM, "run"});
    EXPECT_TRUE(eventually([&] {
        const auto waited = support::run(TSYNCFINDER_PROGRAM " wait --timeout 20 " + folder.string());
        return waited.status == 1 && waited.output.find("dir/apart: ") != std::string::npos;
    }));
    EXPECT_TRUE(eventually([&] {
        return support::run(TSYNCFINDER_PROGRAM " why " + (folder / "dir").string())
                   .output.find(": error\n") != std::string::npos;
    }));
    EXPECT_EQ(service->end(SIGTERM), 0);
}

TEST_F(SyncService, BringsSingleItemsUpAndDownAndWritesASnapshotOfTheSpace) {
    const fs::path docs = servers.files("disk") / "Docs";
    const fs::path own = home / "state/tsyncquenz";
    const std::string downloads = home.path("Downloads");
    fs::create_directories(docs / "below");
    fs::create_directories(downloads);
    std::ofstream(docs / "below/one.txt") << "one";
    std::ofstream(docs / "two.txt") << "two";
    setUpDisk();
    support::Program service(serviceInHaste);
    ASSERT_TRUE(eventuallyStatus("No folder is synced yet"));

    // A cached copy is kept in step both ways; without it the space keeps the item.
    EXPECT_EQ(request("cacheFile_withOperationOptions_", "/Docs/below {}"), "()\n");
    const fs::path copy = own / "cache/Docs/below/one.txt";
    EXPECT_TRUE(eventually([&] { return contentOf(copy) == "one"; }));
    EXPECT_FALSE(fs::exists(own / "cache/Docs/two.txt"));
    std::ofstream(copy) << "edited here";
    EXPECT_TRUE(eventually([&] { return contentOf(docs / "below/one.txt") == "edited here"; }));
    fs::remove_all(own / "cache/Docs");

    // What is laid into the uploading folder moves into the space and replaces nothing.
    fs::create_directories(own / "uploading/Docs/empty");
    std::ofstream(own / "uploading/Docs/two.txt") << "another two";
    EXPECT_TRUE(eventually([&] { return contentOf(docs / "two (2).txt") == "another two"; }));
    EXPECT_TRUE(eventually([&] { return fs::is_empty(own / "uploading"); }));
    EXPECT_TRUE(fs::is_directory(docs / "empty"));
    EXPECT_EQ(contentOf(docs / "two.txt"), "two");

    std::ofstream(home / "Downloads/Docs") << "mine";
    EXPECT_EQ(request("downloadFile_toDirectory_", "/Docs " + downloads), "()\n");
    EXPECT_TRUE(
        eventually([&] { return contentOf(downloads + "/Docs (2)/below/one.txt") == "edited here"; }));
    EXPECT_EQ(contentOf(downloads + "/Docs"), "mine");
    EXPECT_NE(request("downloadFile_toDirectory_", "/None " + downloads), "()\n");

    const std::string answer = request("remoteSnapshot_");
    ASSERT_EQ(answer, "('" + (own / "remote-snapshot").string() + "',)\n");
    support::RecordingLog log;
    const auto snapshot = dirsnapshot::DirSnapshot::initWithContentsOfFile(
        log, (own / "remote-snapshot").string(), "/", "sync");
    EXPECT_EQ(snapshot.countFilesAtPath("/", true, true), 3U);
    const auto two = snapshot.attributesOfItemAtPath("/Docs/two (2).txt");
    ASSERT_TRUE(two);
    EXPECT_EQ(two->at(platform::NSFileSize), platform::Value(11));

    // A storage that is silent holds up nothing that a person says, nor the end.
    const std::string process = "gdbus call --session --dest org.freedesktop.DBus --object-path / --method "
                                "org.freedesktop.DBus.GetConnectionUnixProcessID " TSYNC_SERVICE_NAME
                                " | sed 's/.* \\([0-9]*\\),.*/\\1/'";
    ASSERT_EQ(support::run("kill -STOP $(cat /proc/$(" + process + ")/task/*/children)").status, 0);
    EXPECT_NE(request("deleteFile_trash_", "/Docs/two.txt false --timeout 1").find("Timeout"),
              std::string::npos);
    for (const std::string& said :
         {std::string("pause"), "add " + folder.string(), std::string("resume"), "remove " + folder.string()})
        EXPECT_EQ(command(said).status, 0) << said;
    EXPECT_EQ(service.end(SIGTERM), 0);
}

} // namespace
