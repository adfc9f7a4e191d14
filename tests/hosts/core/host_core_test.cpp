#include "tests/hosts/core/SimulatedHost.h"
#include "tests/hosts/core/allocations.h"
#include "tests/hosts/selection_cases.h"

#include <utility>

namespace {

using simulated::Answer;

class HostCore : public testing::Test, protected simulated::Host {
  protected:
    HostCore() { watched = {"file:///r///"}; } // however it is spelled
    void start(std::size_t count = 10) {
        come();
        lookAt(count);
        run();
        ASSERT_TRUE(everythingShows("tsyncfinder-sync"));
    }
    TsfState state() const { return tsf_core_state(core); }
};

TEST_F(HostCore, FoldersTakeTurns) {
    lookAt(1000); // before there is an extension
    lookAt(1, "file:///r/other");
    come();
    run();
    signalChange("file:///r");
    signalChange("file:///r/other");
    receive();
    deliver();
    EXPECT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests.back().uris.front(), "file:///r/other/f0");
    drop("file:///r/other/f0");
    lookAt(1, "file:///r/other");
    run();
    EXPECT_EQ(observed["file:///r/other"], 1);
    lookAt(2, "file:///r/other");
    look("file:///r/other/f0");
    serve();
    EXPECT_EQ(requests.back().uris.front(), "file:///r/other/f0") << "who asks again keeps its turn";
    run();

    // A folder that comes and goes while the order about its end is carried out.
    drop("file:///r/other/f0");
    TsfOrder order{};
    while (tsf_core_next(core, now, &order) && order.kind != TSF_END_OBSERVING) {
    }
    look("file:///r/other/f0");
    drop("file:///r/other/f0");
    serve();
    EXPECT_NE(tsf_core_item(core, "declinate"), tsf_core_item(core, "macallums"))
        << "their hash values are equal";
}

TEST_F(HostCore, ForetellsBadges) {
    start();
    // A new item shows what its neighbours do, and not more than that once it is answered for.
    for (const char* const answer :
         {"upload", "unchanged", "none", "a_b", "a-name-of-more-than-32-characters"}) {
        badge = [&](const std::string&) { return Answer{answer, true}; };
        look("file:///r/new");
        EXPECT_NE(shown["file:///r/new"], "") << answer;
        run();
        EXPECT_EQ(shown["file:///r/new"], answer == std::string("upload") ? "tsyncfinder-upload" : "")
            << answer;
        drop("file:///r/new");
        badge = [](const std::string&) { return Answer{"sync", true}; };
        signalChange("file:///r");
        run();
    }
    look("file:///r/f0/first"); // in a folder that is in step
    EXPECT_EQ(shown["file:///r/f0/first"], "tsyncfinder-sync");
    // What shows its badge already may be asked about later, but for a menu's sake; other items may not.
    EXPECT_FALSE(tsf_core_can_wait(core)) << "the folder is to be observed first";
    serve(1);
    EXPECT_TRUE(tsf_core_can_wait(core));
    TsfSelection selection;
    TSyncSelectionClass found{};
    tsf_selection_begin(&selection, true, false);
    tsf_selection_add(&selection, items.at("file:///r/f0/first"));
    EXPECT_FALSE(tsf_selection_class(core, &selection, &found) || tsf_core_can_wait(core));
    run();
    badge = [](const std::string&) { return Answer{"none", true}; };
    look("file:///r/f1");
    run();
    look("file:///r/f1/first");
    serve(1);
    EXPECT_FALSE(tsf_core_can_wait(core) || tsf_core_wakes(core, now) > now);
    run();
    badge = [](const std::string&) { return Answer{"sync", true}; };
    signalChange("file:///r/f0"); // what is known has changed, in a folder that foretells
    while (!wire.empty())
        receive();
    EXPECT_FALSE(tsf_core_can_wait(core) || tsf_core_wakes(core, now) > now);
}

TEST_F(HostCore, TakesNoOlderAnswer) {
    start(1);
    // The answer on its way is older than the change; a newer one is asked for.
    const std::string file = "file:///r/f0";
    for (const std::string& changed : {file, std::string()}) {
        const std::string before = shown[file];
        look(file);
        serve();
        badge = [](const std::string&) { return Answer{"working", true}; };
        work();
        const Answer after{changed.empty() ? "error" : "upload", true};
        badge = [after](const std::string&) { return after; };
        const std::function<void()> late = std::exchange(wire, {}).front();
        signalChange("file:///r", changed);
        deliver();
        late();
        serve();
        EXPECT_EQ(shown[file], before);
        EXPECT_EQ(requests.size(), 1U);
        run();
        EXPECT_EQ(shown[file], "tsyncfinder-" + after.badge);
    }
}

TEST_F(HostCore, TakesASignalThatOvertakesTheAnswer) {
    start(2);
    look("file:///top");
    tsf_core_heard(core, now, TSF_MAXIMUM_CHANGES + 1);
    tick(TSF_FLOOD_PAUSE);
    work();
    watched = {"file:///"};
    takeDirectories(0, watched);
    run();
    EXPECT_TRUE(everythingShows("tsyncfinder-sync"));
    EXPECT_EQ(observed["file:///"], 1);
}

TEST_F(HostCore, GoesQuietAfterThreeMissesAndComesBack) {
    lookAt(1, "file:///r/sub");
    start();
    tick(TSF_PAUSE_BEFORE_QUESTION - 1);
    EXPECT_TRUE(requests.empty());
    tick(1 + 2 * TSF_ANSWER_TIME + TSF_ANSWER_TIME - 1);
    EXPECT_EQ(requests.size(), 3U); // and no batch meanwhile
    EXPECT_TRUE(everythingShows("tsyncfinder-sync"));
    tick(1);
    EXPECT_EQ(state(), TSF_SILENT);
    EXPECT_TRUE(everythingShows(""));
    lookAt(20);
    drop("file:///r/f19");
    drop("file:///r/sub/f0");
    tick(1'000'000);
    EXPECT_EQ(requests.size(), 4U); // the last question is left with it
    run();
    EXPECT_TRUE(everythingShows("tsyncfinder-sync"));
    EXPECT_EQ(observed["file:///r"], 1) << "it has known that all the time";
    EXPECT_EQ(observed["file:///r/sub"], 0);

    // Calls side by side, here three, miss one answer; what was missed is asked again.
    lookAt(300);
    run();
    signalChange("file:///r");
    deliver();
    tsf_core_menus_changed(core);
    tick(TSF_ANSWER_TIME);
    EXPECT_EQ(state(), TSF_THERE);
    requests.erase(requests.begin(), requests.end() - 1);
    const int updates = menuUpdates;
    const std::size_t before = asked;
    run();
    EXPECT_GT(menuUpdates, updates);
    EXPECT_EQ(asked, before + 300);

    // Another one begins without the misses of the former.
    come();
    tick(2 * TSF_ANSWER_TIME);
    come();
    tick(TSF_ANSWER_TIME);
    EXPECT_EQ(state(), TSF_ASKING);
    run();

    // Nothing is asked while nothing is shown.
    dropAll();
    run();
    tick(1'000'000);
    EXPECT_TRUE(requests.empty());
}

TEST_F(HostCore, BadgesOutliveTheExtensionByNineSeconds) {
    start();
    const std::int64_t death = now;
    while (now - death < TSF_BADGE_LIFETIME) { // dying again without a word gives no more time
        EXPECT_TRUE(everythingShows("tsyncfinder-sync"));
        leave();
        EXPECT_FALSE(tsf_core_has_menus(core));
        look("file:///r/new");
        EXPECT_EQ(shown["file:///r/new"], "") << "nothing is foretold";
        drop("file:///r/new");
        tick(500);
        come();
        tick(500);
    }
    EXPECT_TRUE(everythingShows(""));
    work();
    deliver();
    look("file:///r/new");
    EXPECT_EQ(shown["file:///r/new"], "") << "nor is it by what has gone";
    run();
    EXPECT_TRUE(everythingShows("tsyncfinder-sync"));

    // One that comes while they go.
    lookAt(200);
    run();
    leave();
    now += TSF_BADGE_LIFETIME;
    serve(1);
    tsf_core_extension_came(core, now);
    serve(2);
    work();
    deliver();
    EXPECT_GT(std::ranges::count_if(shown, [](const auto& each) { return !each.second.empty(); }), 100);
    run();
    EXPECT_TRUE(everythingShows("tsyncfinder-sync"));
}

TEST_F(HostCore, ShunsWhatMakesNoSense) {
    const auto misanswer = [this](int way) {
        const Request request = requests.back();
        if (way == 0) tsf_core_nonsense(core, now, request.call);
        if (way == 1) takeBadges(request, std::vector<Answer>(3), 9);
        if (way == 2) takeDirectories(request.call, {});
        requests.clear();
        serve();
    };
    for (const int way : {0, 1, 2}) {
        start();
        signalChange("file:///r");
        deliver();
        for (int times = 0; times < TSF_MAXIMUM_NONSENSE; ++times) {
            ASSERT_FALSE(requests.empty());
            EXPECT_EQ(state(), TSF_THERE);
            misanswer(way);
        }
        EXPECT_EQ(state(), TSF_SHUNNED);
        EXPECT_TRUE(everythingShows("")) << way;
        EXPECT_FALSE(isListening);
        lookAt(20);
        tick(1'000'000);
        EXPECT_TRUE(requests.empty()) << "it is asked nothing more";
    }
    come();
    EXPECT_FALSE(tsf_core_menus(core, now, requests.back().call, TSF_MAXIMUM_MENUS + 1));
    EXPECT_FALSE(tsf_core_has_menus(core));
    tsf_core_directories(core, now, requests.front().call, nullptr, TSF_MAXIMUM_DIRECTORIES + 1);
    EXPECT_EQ(state(), TSF_ASKING);
    requests.clear();
    run();
    EXPECT_TRUE(everythingShows("tsyncfinder-sync")) << "it is given another chance";
}

TEST_F(HostCore, DoesNotListenToAFlood) {
    start();
    const auto flood = [this](int kind) {
        if (kind == 0) signalChange("file:///r", "file:///r/f0", TSF_MAXIMUM_SIGNALS + 20);
        while (!wire.empty())
            deliver();
        if (kind == 1) {
            EXPECT_FALSE(tsf_core_heard(core, now, TSF_MAXIMUM_CHANGES + 1));
        }
        serve();
    };
    for (const int kind : {0, 1}) {
        for (int times = 0; times < 2; ++times) { // as much as it may
            tick(TSF_FLOOD_PAUSE + 1);
            run();
            signalChange("file:///r", "file:///r/f0", TSF_MAXIMUM_SIGNALS);
            run();
            EXPECT_TRUE(isListening);
        }
        tick(TSF_FLOOD_PAUSE + 1);
        const std::size_t before = asked;
        flood(kind);
        EXPECT_FALSE(isListening);
        run();
        EXPECT_LE(asked - before, 2U); // changes of an item that is being asked for are one
        const std::string other = kind == 0 ? "upload" : "sync";
        badge = [=](const std::string&) { return Answer{other, true}; }; // and no signal of it
        tick(TSF_FLOOD_PAUSE - 1);
        EXPECT_FALSE(isListening);
        tick(1);
        EXPECT_TRUE(isListening);
        run();
        EXPECT_TRUE(everythingShows("tsyncfinder-" + other)) << "anything may have changed";
    }
    tick(TSF_FLOOD_PAUSE + 1);
    flood(1);
    come();
    EXPECT_TRUE(isListening) << "another one floods nobody";
}

TEST_F(HostCore, FindsOutWhatHasEndedInSilence) {
    const auto show = [this](const std::string& folder, std::size_t count) {
        lookAt(count, folder);
        run();
        tick(TSF_DOUBT_PAUSE);
        run();
    };
    tsf_core_doubt_ends(core);
    come();
    run();
    show("file:///r/a", 300);
    show("file:///r/b", 3);
    EXPECT_EQ(items.size(), 303U) << "both are shown";
    closed = "file:///r/a/";
    show("file:///r/c", 1);
    EXPECT_EQ(items.size(), 4U);
    EXPECT_EQ(observed["file:///r/a"], 0);
    EXPECT_EQ(observed["file:///r/b"], 1);

    closed = "file:///r/b/f1"; // deleted; the next one is still there
    badge = [](const std::string&) { return Answer{"upload", true}; };
    signalChange("file:///r/b", "file:///r/b/f1");
    run();
    EXPECT_EQ(items.size(), 3U);
    closed = "file:///r/"; // the window has gone: nothing happens until something is new
    const std::size_t before = asked;
    tick(TSF_DOUBT_PAUSE);
    run();
    EXPECT_EQ(items.size(), 3U);
    EXPECT_EQ(asked, before);
    show("file:///x", 1);
    EXPECT_EQ(items.size(), 1U);
    look("file:///y/0");
    run();
    closed = "file:///";
    look("file:///z/0");
    run();
    EXPECT_EQ(items.size(), 3U) << "not again so soon";
}

TEST_F(HostCore, ClassifiesSelectionsByWhatIsKnown) {
    using Case = hosts_test::SelectionCase;
    std::vector<Case> cases = hosts_test::selectionCases;
    cases.push_back({"nothing", false, {}});
    badge = [](const std::string& uri) {
        return Answer{"sync", hosts_test::isInSync(uri), hosts_test::isRoot(uri)};
    };
    watched = {"file:///"};
    come();
    run();
    TSyncSelectionClass found{};
    const auto classify = [&](const Case& each) {
        TsfSelection selection;
        tsf_selection_begin(&selection, true, each.isDirectory);
        for (const std::string& uri : each.uris) {
            if (hosts_test::isLocal(uri)) items[uri] = tsf_core_item(core, uri.c_str());
            if (!tsf_selection_add(&selection, hosts_test::isLocal(uri) ? items[uri] : nullptr)) break;
        }
        return tsf_selection_class(core, &selection, &found);
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(testing::PrintToString(each.uris));
        const int updates = menuUpdates;
        const bool wasKnown = classify(each);
        run();
        EXPECT_EQ(menuUpdates, updates + (wasKnown ? 0 : 1)); // when all are known
        const std::size_t before = asked;
        EXPECT_TRUE(classify(each));
        run();
        EXPECT_STREQ(tsyncSelectionClassName(found), each.expected);
        EXPECT_EQ(asked, before) << "what is known is not asked for";
        dropAll();
    }
    Case many{"", false, {}};
    for (int i = 0; i < 1000; ++i)
        many.uris.push_back("file:///many/" + std::to_string(i));
    const std::size_t before = asked;
    EXPECT_FALSE(classify(many));
    serve();
    EXPECT_FALSE(classify(many));
    run();
    EXPECT_EQ(asked - before, std::size_t{TSF_MAXIMUM_UNKNOWN});
}

// Whatever is refused, nothing crashes, and with memory again everything ends as it should.
TEST_F(HostCore, FailsCleanlyWithoutMemory) {
    const long before = allocations::live();
    bool wasRefused = true;
    for (int allowed = 0; wasRefused; ++allowed) {
        allocations::refuseAfter(allowed);
        simulated::Host host;
        if (host.core == nullptr) continue;
        host.watched = {"file:///elsewhere"};
        host.come();
        host.lookAt(20);
        host.run();
        host.watched = {"file:///r"};
        host.signalDirectories();
        host.run();
        wasRefused = allocations::refuseNoMore();
        host.lookAt(20);
        host.tick(TSF_ANSWER_TIME);
        host.run();
        EXPECT_TRUE(host.everythingShows("tsyncfinder-sync")) << allowed;
        EXPECT_EQ(host.shown.size(), 20U);
    }
    EXPECT_EQ(allocations::live(), before);
}

} // namespace
