// Random orders of events against a plain model: the extension's truth is a table, and every shown item has
// to end with what the table says.
#include "tests/hosts/core/SimulatedHost.h"
#include "tests/hosts/core/allocations.h"

#include <random>

namespace {

class World {
  public:
    explicit World(unsigned seed) : random(seed) {
        host.badge = [this](const std::string& uri) { return simulated::Answer{truth[uri], true}; };
        for (const char* const folder : {"file:///r", "file:///r/a", "file:///r/a/b", "file:///s"})
            for (int i = 0; i < 60; ++i) {
                uris.push_back(folder + ("/" + std::to_string(i)));
                truth[uris.back()] = "sync";
            }
    }

    void play(int steps) {
        for (int i = 0; i < steps; ++i) {
            happen(upTo(100));
            host.serve(upTo(3) == 0 ? upTo(4) : 1000); // sometimes the host's turn is over
        }
    }

    // With an extension that works, or with none.
    void settle(bool isThere) {
        isWorking = true;
        if (!isThere)
            host.leave();
        else if (!isAlive || tsf_core_state(host.core) == TSF_SHUNNED)
            host.come();
        for (int i = 0; i < 20; ++i) { // three misses and a flood are over then
            if (isThere) host.run();
            host.tick(TSF_ANSWER_TIME);
        }
        isAlive = isThere;
        for (const auto& [uri, emblem] : host.shown)
            EXPECT_EQ(emblem, isThere && isWatched(uri) ? "tsyncfinder-" + truth[uri] : "")
                << uri << isThere << " state " << tsf_core_state(host.core) << " watched "
                << testing::PrintToString(host.watched);
    }

    // Nothing is kept for what is no longer shown, here or there.
    void empty() {
        host.dropAll();
        host.run();
        host.tick(1);
        EXPECT_LE(allocations::live() - before, 350) << "the directories remain";
        for (const auto& [folder, count] : host.observed)
            EXPECT_EQ(count, 0) << folder;
    }

  private:
    int upTo(int bound) { return static_cast<int>(random() % static_cast<unsigned>(bound)); }
    const std::string& anyItem() { return uris[random() % uris.size()]; }
    static std::string folderOf(const std::string& uri) { return uri.substr(0, uri.rfind('/')); }

    bool isWatched(std::string uri) const {
        for (; uri.size() > 7; uri = folderOf(uri))
            if (host.watched.contains(uri)) return true;
        return false;
    }
    void change(const std::string& uri) {
        static const char* const badges[] = {"sync", "upload", "working"};
        truth[uri] = badges[upTo(3)];
    }

    void happen(int event) {
        const std::string uri = anyItem();
        if (event < 30) {
            host.look(uri);
        } else if (event < 40) {
            if (host.items.contains(uri)) host.drop(uri);
        } else if (event < 50) {
            change(uri);
            if (isAlive) host.signalChange(folderOf(uri), uri, upTo(40) == 0 ? 60 : 1);
        } else if (event < 53) {
            for (const std::string& each : uris)
                if (folderOf(each) == folderOf(uri)) change(each);
            if (isAlive) host.signalChange(folderOf(uri));
        } else if (event < 70) {
            if (isAlive && isWorking && !host.requests.empty()) host.work();
        } else if (event < 88) {
            if (!host.wire.empty()) host.deliver();
        } else if (event < 96) {
            host.tick(upTo(upTo(2) == 0 ? 50 : 1500));
        } else {
            befall(upTo(8), uri);
        }
    }

    void befall(int event, const std::string& uri) {
        static const char* const roots[] = {"file:///r", "file:///r/a", "file:///s/1", "file:///s"};
        if (event == 0) {
            isWorking = !isWorking; // stopped, or going on
        } else if (event == 1) {
            host.leave();
            isAlive = false;
        } else if (event == 2) { // perhaps in another one's place, whose answers may still be on their way
            host.come();
            isAlive = true;
        } else if (event == 3) {
            if (isAlive && !host.requests.empty())
                tsf_core_nonsense(host.core, host.now, host.requests.front().call);
        } else if (event < 6) {
            const char* const root = roots[upTo(4)];
            if (host.watched.erase(root) == 0) host.watched.insert(root);
            if (isAlive) host.signalDirectories();
        } else {
            tsf_core_menus_changed(host.core);
            host.look(uri);
        }
    }

    std::mt19937 random;
    std::vector<std::string> uris;
    std::map<std::string, std::string> truth;
    simulated::Host host;
    long before = allocations::live();
    bool isAlive = false;
    bool isWorking = true;
};

TEST(HostCoreModel, EveryShownItemEndsWithTheRightBadge) {
    for (unsigned seed = 0; seed < 100 && !testing::Test::HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        World world(seed);
        for (int round = 0; round < 4; ++round) {
            world.play(400);
            world.settle(round != 2);
        }
        world.empty();
    }
}

} // namespace
