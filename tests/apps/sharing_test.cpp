// What the service brings before a person: a mail in the mail program, and one notification of what needs a
// person. The portal and xdg-email are the test's own, on a bus of its own.
#include "apps/tsyncquenz/MailProgram.h"
#include "backends/dbus/DistributedCenter.h"
#include "backends/posix/NetworkEvents.h"
#include "service/Service.h"
#include "tests/service/TrickySpace.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/fakes.h"

#include <gtest/gtest.h>
#include <net/if.h>
#include <sdbus-c++/sdbus-c++.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <cstring>
#include <fstream>
#include <sched.h>

namespace {

namespace fs = std::filesystem;
using service::Done;
using service::Failure;
using service::Trouble;

struct NoTrash final : service::DesktopTrash {
    service::Outcome<Done> trash(const fs::path&) override { return Failure{Trouble::other, "no trash"}; }
};

struct Told final : platform::UserNotifier {
    void notify(const platform::DisplayText& text, News) override {
        const std::lock_guard guard(lock);
        texts.push_back(text.english());
    }
    std::vector<std::string> all() {
        const std::lock_guard guard(lock);
        return texts;
    }
    std::mutex lock;
    std::vector<std::string> texts;
};

class BeforeAPerson : public testing::Test {
  protected:
    BeforeAPerson() {
        space.links = "https://storage.example/";
        space.put("Letters/one.txt", "one");
        space.before = [this](const std::string& operation, const std::string&) -> std::optional<Failure> {
            if (operation == "look" || operation == "features") return std::nullopt;
            ++refusals;
            return Failure{trouble, trouble == Trouble::refused ? "the storage says no" : "out of reach"};
        };
    }
    ~BeforeAPerson() override { ::setenv("PATH", programs.c_str(), 1); }
    void start() {
        service.emplace(
            service::Service::Settings{folder / "state", "host", {}},
            service::Service::Surroundings{space, trash, nullptr, center, log, &mail, &told, clock});
        service->start();
    }

    const std::string programs = std::getenv("PATH");
    const support::TemporaryFolder folder;
    support::PrivateBus sessionBus;
    support::RecordingLog log;
    support::TestClock clock; // stands: no pair tries again by itself
    backends::dbus::Bus bus{"service"};
    backends::dbus::DistributedCenter center{bus, log};
    service::TrickySpace space; // a person's file in it, and nothing else can be done
    std::atomic<Trouble> trouble = Trouble::refused;
    std::atomic<int> refusals = 0;
    NoTrash trash;
    apps::tsyncquenz::MailProgram mail;
    Told told;
    std::optional<service::Service> service;
};

TEST_F(BeforeAPerson, AMailWithTheLinkLiesInTheMailProgram) {
    start();
    const auto share = [this](const char* path) {
        return service->shareByEmail(path, false, {"ana@example.org", "bo@example.org"});
    };
    ::setenv("PATH", folder.path("bin").c_str(), 1);
    EXPECT_FALSE(share("/Letters/one.txt"));
    EXPECT_EQ(told.all().back(),
              "/Letters/one.txt could not be shared: no mail program can be opened: install xdg-utils "
              "or a desktop portal");
    // Without a portal.
    fs::create_directories(folder / "bin");
    std::ofstream(folder / "bin/xdg-email")
        << "#!/bin/sh\nfor word in \"$@\"; do echo \"$word\"; done >" << folder.path("mail") << "\n";
    ::chmod(folder.path("bin/xdg-email").c_str(), 0755);
    EXPECT_TRUE(share("/Letters/one.txt"));
    EXPECT_EQ(support::contentOf(folder / "mail"),
              "--utf8\n--subject\none.txt\n--body\nhttps://storage.example/Letters/one.txt\n\n"
              "ana@example.org\nbo@example.org\n");
    fs::remove(folder / "mail");
    // With one, of a version that takes several recipients and of one that does not.
    const auto connection = sdbus::createSessionBusConnection("org.freedesktop.portal.Desktop");
    const auto portal = sdbus::createObject(*connection, "/org/freedesktop/portal/desktop");
    std::uint32_t version = 3;
    std::map<std::string, sdbus::Variant> options;
    portal->registerProperty("version").onInterface("org.freedesktop.portal.Email").withGetter([&] {
        return version;
    });
    portal->registerMethod("ComposeEmail")
        .onInterface("org.freedesktop.portal.Email")
        .implementedAs([&](const std::string&, const std::map<std::string, sdbus::Variant>& given) {
            options = given;
            return sdbus::ObjectPath("/request");
        });
    portal->finishRegistration();
    connection->enterEventLoopAsync();
    EXPECT_TRUE(share("/Letters/one.txt"));
    EXPECT_FALSE(fs::exists(folder / "mail"));
    EXPECT_EQ(options.at("addresses").get<std::vector<std::string>>(),
              (std::vector<std::string>{"ana@example.org", "bo@example.org"}));
    EXPECT_EQ(options.at("subject").get<std::string>(), "one.txt");
    EXPECT_EQ(options.at("body").get<std::string>(), "https://storage.example/Letters/one.txt\n");
    version = 2;
    EXPECT_TRUE(share("/Letters/one.txt"));
    EXPECT_TRUE(fs::exists(folder / "mail"));
    // What cannot be shared is said.
    EXPECT_FALSE(share("/Letters/two.txt"));
    EXPECT_EQ(told.all().back(),
              "/Letters/two.txt could not be shared: it is not in the storage, or not yet");
    space.links.clear();
    EXPECT_FALSE(share("/Letters/one.txt"));
    EXPECT_EQ(told.all().back(), "/Letters/one.txt could not be shared: this storage makes no public links");
    connection->leaveEventLoop();
}

TEST_F(BeforeAPerson, OneNotificationOfEachTroubleAndTheNetworkEndsTheWait) {
    for (const char* name : {"one", "two"})
        fs::create_directories(folder / name);
    start();
    ASSERT_TRUE(service->add(folder.path("one"), "/one"));
    ASSERT_TRUE(service->add(folder.path("two"), "/two"));
    const auto hasFailed = [this](int pairs) {
        return support::eventually([&] { return refusals >= pairs; });
    };
    ASSERT_TRUE(hasFailed(2));
    EXPECT_TRUE(support::eventually([&] { return !told.all().empty(); }));
    const int before = refusals;
    service->syncPath("/one"); // again, with the same trouble
    service->syncPath("/two");
    ASSERT_TRUE(hasFailed(before + 2));
    service->setPaused(true);
    service->setPaused(false);
    ASSERT_TRUE(hasFailed(before + 4));
    service->networkCame(); // nothing waits for that
    EXPECT_EQ(told.all().size(), 1U);
    EXPECT_NE(told.all().front().find(" is not synced: the storage says no"), std::string::npos);
    // What is only out of reach is no news for a person; it waits for the network.
    trouble = Trouble::unreachable;
    const int reached = refusals;
    service->syncPath("/one");
    ASSERT_TRUE(hasFailed(reached + 1));
    const auto isUnreached = [this] {
        return platform::jsonDescription(service->details()).find("out of reach") != std::string::npos;
    };
    ASSERT_TRUE(support::eventually(isUnreached));
    EXPECT_TRUE(support::eventually([&, last = refusals.load()] {
        service->networkCame();
        return refusals > last;
    }));
    EXPECT_EQ(told.all().size(), 1U);
}

// In a network of this thread's own, whose loopback comes up.
TEST(NetworkEvents, TellThatAnAddressHasCome) {
    std::atomic<int> calls = 0;
    bool isAlone = false;
    std::thread([&] {
        isAlone = ::unshare(CLONE_NEWNET) == 0;
        if (!isAlone) return;
        const backends::posix::NetworkEvents events([&] { ++calls; });
        const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        ifreq request{};
        std::strcpy(request.ifr_name, "lo");
        request.ifr_flags = IFF_UP;
        EXPECT_EQ(::ioctl(socket, SIOCSIFFLAGS, &request), 0);
        ::close(socket);
        EXPECT_TRUE(support::eventually([&] { return calls > 0; }));
    }).join();
    if (!isAlone) GTEST_SKIP() << "no network of its own without root";
}

} // namespace
