// The panel program as the extension starts it: a request on standard input, the answer on standard output,
// and in between a person with a keyboard, on a display of the test's own.
#include "apps/tsyncfinder-panel/DaemonDirectories.h"
#include "backends/posix/ChildProcess.h"
#include "tests/support/CommandRecorder.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TestDaemon.h"
#include "tests/support/VirtualDisplay.h"
#include "tests/support/silent_connections.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using backends::posix::ChildProcess;

// On a bus of the test's own, with one contact and no display.
class PanelProgramTest : public testing::Test {
  protected:
    support::PrivateBus bus;
    support::TemporaryFolder folder;

    void SetUp() override {
        folder.write("contacts/ann.vcf", "BEGIN:VCARD\r\nVERSION:3.0\r\nN:Lee;Ann;;;\r\nFN:Ann Lee\r\n"
                                         "EMAIL:ann@example.org\r\nEND:VCARD\r\n");
        ::setenv("TSYNCFINDER_CONTACTS", folder.path("contacts").c_str(), 1);
        ::setenv("HOME", folder.path().c_str(), 1);
        ::setenv("LC_ALL", "C.UTF-8", 1);
        ::unsetenv("DISPLAY");
        ::unsetenv("WAYLAND_DISPLAY");
        ::unsetenv("QT_QPA_PLATFORM");
    }

    static std::unique_ptr<ChildProcess> start(const std::string& request) {
        std::vector<std::string> environment;
        for (char** entry = environ; *entry != nullptr; ++entry)
            environment.emplace_back(*entry);
        auto panel = std::make_unique<ChildProcess>(ChildProcess::Start{PANEL_PROGRAM, environment, true});
        EXPECT_TRUE(panel->write(request, bound()));
        return panel;
    }
    static ChildProcess::Deadline bound() { return std::chrono::steady_clock::now() + support::deadline; }
};

TEST_F(PanelProgramTest, RefusesWhatItCannotShow) {
    const struct {
        const char* request;
        const char* error;
        int status;
    } requests[] = {
        {"", "the request is not a JSON object", 2},
        {R"({"panel":"destination","sync":true,"paths":["/a"]})", "there is no display", 3},
        {R"({"panel":"clipboard","text":"x"})", "there is no display", 3},
    };
    for (const auto& request : requests) {
        const auto panel = start(request.request);
        EXPECT_EQ(panel->readLine(bound()),
                  "{\"error\":\"" + std::string(request.error) + "\",\"response\":0}");
        EXPECT_EQ(panel->wait(), request.status);
    }
}

// A service that says nothing is not one without folders.
TEST(DaemonDirectories, TellsNoReplyFromNoFolders) {
    using platform::Array;
    support::SilentConnections connections;
    support::InlineQueue queue;
    support::RecordingLog log;
    apps::panel::DaemonDirectories directories(connections, queue, log);
    const std::pair<platform::Reply, std::optional<std::vector<std::string>>> cases[] = {
        {{}, std::nullopt},
        {{platform::Reply::Kind::none, {}, {}}, std::vector<std::string>()},
        {support::valueReply("/Docs"), std::vector<std::string>()},
        {support::valueReply(Array{"/Docs", 7, "/Music"}), std::vector<std::string>{"/Docs", "/Music"}},
    };
    for (const auto& [reply, expected] : cases) {
        connections.reply = reply;
        std::optional<std::vector<std::string>> found{{"not told"}};
        directories.directoriesNotInSyncAtRemoteDirecory("/", [&](auto paths) { found = std::move(paths); });
        EXPECT_EQ(found, expected);
    }
    EXPECT_EQ(connections.wait, std::chrono::seconds(30)) << "it may have to ask its server";
}

TEST_F(PanelProgramTest, ServesAPersonWithAKeyboard) {
    const support::VirtualDisplay display;
    support::TestDaemon daemon([](std::string_view message, const platform::Array& arguments,
                                  const platform::ReplyHandler& handler) {
        if (message != "directoriesNotInSyncAtRemoteDirecory:withReply:")
            handler(support::valueReply(std::uint64_t{*arguments.at(0).string() == "/Docs" ? 1U : 0U}));
        else if (*arguments.at(0).string() == "/")
            handler(support::valueReply(platform::Array{"/Docs", "/Music"}));
        else
            handler(support::valueReply(platform::Array{"/Docs/sub"}));
    });
    support::CommandRecorder recorder;
    const std::string destination =
        R"({"panel":"destination","sync":true,"paths":[")" + folder.path("contacts") + R"("]})";
    const std::string share = R"({"panel":"share","path":"/home/u/Docs/x","isDir":true,)"
                              R"("allPathsInSync":{"/Docs":"/home/u/Docs"}})";
    const struct {
        std::string request;
        std::string text; // typed once
        std::string key;  // repeated until there is an answer, for the folders take a moment
        std::string answer;
    } people[] = {
        // The new folder is preselected, and Enter is OK.
        {destination, "", "Return", R"({"path":"/contacts","response":1})"},
        {destination, "", "Escape", R"({"response":0})"},
        {share, "ann@example.org,", "Return",
         R"({"recipients":["ann@example.org"],"response":1,"sent":true})"},
        {share, "", "Escape", R"({"recipients":[],"response":0,"sent":false})"},
    };
    for (const auto& person : people) {
        SCOPED_TRACE(person.request + person.key);
        const auto panel = start(person.request);
        EXPECT_EQ(panel->readLine(bound()), "{\"shown\":true}");
        const std::string keyboard =
            "timeout 20 xdotool search --onlyvisible --class tsyncfinder windowfocus --sync ";
        if (!person.text.empty()) support::run(keyboard + "type '" + person.text + "'");
        std::optional<std::string> answer;
        for (const auto end = bound(); !answer && std::chrono::steady_clock::now() < end;) {
            support::run(keyboard + "key " + person.key);
            answer = panel->readLine(std::chrono::steady_clock::now() + std::chrono::milliseconds(500));
        }
        EXPECT_EQ(answer, person.answer);
        EXPECT_EQ(panel->wait(), 0);
    }
    const std::pair<std::string, platform::Value> message{
        "kTFinderSyncTShareByEmail",
        platform::valueOfJson(R"({"localPath":"/Docs/x","isDir":"folder","recipients":["ann@example.org"]})")
            .value()};
    EXPECT_THAT(recorder.take(), testing::ElementsAre(message));

    // A copied text goes with the process that holds it, so that stays until another one takes over.
    const auto first = start(R"({"panel":"clipboard","text":"https://example.org/1"})");
    EXPECT_EQ(first->readLine(bound()), "{\"written\":true}");
    EXPECT_FALSE(first->hasEnded());
    const auto second = start(R"({"panel":"clipboard","text":"https://example.org/2"})");
    EXPECT_EQ(second->readLine(bound()), "{\"written\":true}");
    EXPECT_EQ(first->wait(), 0);
    EXPECT_FALSE(second->hasEnded());
}

} // namespace
