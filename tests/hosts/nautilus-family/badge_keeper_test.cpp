// The plugin without its file manager: files are bare objects, the extension is one that can misbehave.
#include "hosts/nautilus-family/badge_keeper.h"
#include "tests/hosts/nautilus-family/FakeExtension.h"
#include "tests/support/PrivateBus.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace {

GObject* newFile(const std::string& uri) {
    auto* const file = G_OBJECT(g_object_new(G_TYPE_OBJECT, nullptr));
    g_object_set_data_full(file, "uri", g_strdup(uri.c_str()), g_free);
    return file;
}

// The test is what stands for the file manager.
class BadgeKeeper : public testing::Test {
  protected:
    static void SetUpTestSuite() { static const support::PrivateBus bus; } // one, as in a session
    static char* uriOf(GObject* file) {
        const auto* const uri = static_cast<const char*>(g_object_get_data(file, "uri"));
        return g_str_has_prefix(uri, "file:///") ? g_strdup(uri) : nullptr;
    }
    // As a file manager does: it asks again at once.
    static void invalidated(gpointer file, gpointer self) {
        static_cast<BadgeKeeper*>(self)->look(static_cast<GObject*>(file));
    }
    static void menusChanged(gpointer self) { ++static_cast<BadgeKeeper*>(self)->menuChanges; }

    void look(GObject* file) {
        char* const uri = uriOf(file);
        const char* const emblem = uri != nullptr ? tsf_badge_keeper_emblem(keeper, file, uri) : nullptr;
        g_free(uri);
        shown[file] = emblem != nullptr ? emblem : "";
    }
    // The main loop runs until it holds.
    static bool until(const std::function<bool()>& condition, int seconds = 20) {
        const gint64 end = g_get_monotonic_time() + gint64{seconds} * G_USEC_PER_SEC;
        const guint tick = g_timeout_add(
            20, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
        while (!condition() && g_get_monotonic_time() < end)
            g_main_context_iteration(nullptr, TRUE);
        g_source_remove(tick);
        return condition();
    }
    bool everyFileShows(const std::string& emblem) {
        return until([&] {
            for (GObject* const file : files)
                if (shown[file] != emblem) return false;
            return true;
        });
    }
    void addFiles(std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            files.push_back(newFile("file:///r/f" + std::to_string(files.size())));
            look(files.back());
        }
    }
    void dropFiles() {
        for (GObject* const file : files)
            g_object_unref(file);
        files.clear();
    }
    void newExtension(const std::string& mood = "sensible") {
        extension = std::make_unique<fake::Extension>(TSYNCFINDER_INTROSPECTION);
        extension->mood = mood;
    }
    void TearDown() override {
        tsf_badge_keeper_free(keeper);
        dropFiles();
    }

    std::unique_ptr<fake::Extension> extension;
    const TsfKeeperEvents events{uriOf, invalidated, menusChanged};
    TsfBadgeKeeper* keeper = tsf_badge_keeper_new(&events, this);
    std::map<GObject*, std::string> shown;
    std::size_t menuChanges = 0;
    std::vector<GObject*> files;
};

TEST_F(BadgeKeeper, asksInBatchesAndForgetsWhatIsNoLongerShown) {
    addFiles(1000); // before there is an extension
    newExtension();
    ASSERT_TRUE(everyFileShows("tsyncfinder-sync"));
    EXPECT_EQ(extension->asked, 1000U);
    EXPECT_LE(extension->batches, 10U);
    EXPECT_EQ(extension->observed["file:///r"], 1);

    // A file that comes now shows what its neighbours show, and its own answer is asked for.
    extension->badge = [](const std::string& uri) {
        return g_variant_new("(sbb)", uri.ends_with("f1000") ? "upload" : "none", TRUE, FALSE);
    };
    addFiles(1);
    EXPECT_EQ(shown[files.back()], "tsyncfinder-sync");
    EXPECT_TRUE(until([&] { return shown[files.back()] == "tsyncfinder-upload"; }));

    // One whose answer is "unchanged" does not keep what was only expected of it.
    extension->badge = [](const std::string&) { return g_variant_new("(sbb)", "unchanged", TRUE, FALSE); };
    addFiles(1);
    EXPECT_EQ(shown[files.back()], "tsyncfinder-upload");
    EXPECT_TRUE(until([&] { return shown[files.back()].empty(); }));

    // The first file of a folder that is synced is taken to be in step, whatever the folder shows.
    files.push_back(newFile("file:///r/f1000/first"));
    look(files.back());
    EXPECT_EQ(shown[files.back()], "tsyncfinder-sync");

    dropFiles();
    EXPECT_TRUE(until([&] { return extension->observed["file:///r"] == 0; }));
}

TEST_F(BadgeKeeper, classifiesSelectionsByWhatIsKnown) {
    struct Case {
        const char* expected;
        bool isDirectory;
        std::vector<const char*> uris;
    };
    const Case cases[] = {
        {"nothing", false, {}},
        {"sync-root", true, {"file:///root"}},
        {"synced-folder", true, {"file:///root/a"}},
        {"synced-file", false, {"file:///root/a"}},
        {"sync-roots", true, {"file:///root", "file:///root2"}},
        {"nothing", true, {"file:///root", "file:///root/a"}},
        {"nothing", false, {"file:///root/a", "file:///root/b"}},
        {"nothing", false, {"file:///root/a", "file:///x"}},
        {"nothing", false, {"file:///x", "file:///root/a"}},
        {"unsynced-folder", true, {"file:///x"}},
        {"unsynced-items", false, {"file:///x"}},
        {"unsynced-items", true, {"file:///x", "file:///y"}},
        {"unsynced-items", false, {"file:///x", "sftp://host/y"}},
        {"nothing", true, {"file:///root", "sftp://host/y"}},
        {"nothing", false, {"sftp://host/y"}},
        {"nothing", false, {"sftp://host/y", "file:///x"}},
    };
    newExtension();
    extension->badge = [](const std::string& uri) {
        const bool isRoot = uri == "file:///root" || uri == "file:///root2";
        return g_variant_new("(sbb)", "sync", uri.starts_with("file:///root") ? TRUE : FALSE,
                             isRoot ? TRUE : FALSE);
    };
    addFiles(1);
    ASSERT_TRUE(everyFileShows("tsyncfinder-sync"));
    for (const Case& each : cases) {
        GList* selection = nullptr;
        for (const char* const uri : each.uris)
            selection = g_list_append(selection, newFile(uri));
        const std::size_t changesBefore = menuChanges;
        const auto found = [&] {
            return tsf_badge_keeper_selection_class(keeper, selection, TRUE, each.isDirectory ? TRUE : FALSE);
        };
        if (found() == nullptr) { // not met before: the menu comes when all are known
            EXPECT_TRUE(until([&] { return menuChanges > changesBefore; }));
        }
        const std::size_t asked = extension->asked;
        EXPECT_STREQ(found(), each.expected)
            << (each.uris.empty() ? "" : each.uris[0]) << " of " << each.uris.size();
        until([] { return false; }, 0);
        EXPECT_EQ(extension->asked, asked) << "what is known is not asked for";
        g_list_free_full(selection, g_object_unref);
    }
}

TEST_F(BadgeKeeper, outlivesAnExtensionThatTalksNonsense) {
    for (const char* const mood : {"wrong-types", "wrong-count", "huge"}) {
        newExtension();
        addFiles(10);
        ASSERT_TRUE(everyFileShows("tsyncfinder-sync"));
        extension->mood = mood;
        extension->emitChanged("file:///r");
        ASSERT_TRUE(everyFileShows("")) << "its badges go";
        const std::size_t asked = extension->asked;
        addFiles(10);
        extension->mood = "sensible";
        extension->emitChanged("file:///r");
        until([] { return false; }, 1);
        EXPECT_EQ(extension->asked, asked) << "it is not asked again";
        extension.reset();
    }
    newExtension();
    EXPECT_TRUE(everyFileShows("tsyncfinder-sync")) << "a new one is";

    // Floods, and signals without end or sense.
    for (int i = 0; i < 20'000; ++i)
        extension->emitChanged("file:///r");
    extension->emit("BadgesChanged", g_variant_new("(s)", "nonsense"));
    extension->emit("DirectoriesChanged", g_variant_new("(sas)", "nonsense", nullptr));
    const std::size_t asked = extension->asked;
    extension->badge = [](const std::string&) { return g_variant_new("(sbb)", "upload", TRUE, FALSE); };
    EXPECT_TRUE(everyFileShows("tsyncfinder-upload"));
    EXPECT_LT(extension->asked - asked, 100 * files.size());
}

TEST_F(BadgeKeeper, goesQuietAfterThreeMissesAndComesBack) {
    newExtension();
    addFiles(10);
    ASSERT_TRUE(everyFileShows("tsyncfinder-sync"));
    extension->mood = "silent";
    const gint64 start = g_get_monotonic_time();
    extension->emitChanged("file:///r");
    ASSERT_TRUE(everyFileShows(""));
    EXPECT_LE(g_get_monotonic_time() - start, 10 * G_USEC_PER_SEC);
    const std::size_t asked = extension->asked;
    addFiles(10);
    until([] { return false; }, 3);
    EXPECT_EQ(extension->asked, asked);
    extension.reset();
    newExtension();
    EXPECT_TRUE(everyFileShows("tsyncfinder-sync"));

    // What it missed to tell about its menus it is asked again.
    extension->mood = "silent";
    const std::size_t menusAsked = extension->menusAsked;
    extension->emit("MenusChanged", nullptr);
    ASSERT_TRUE(until([&] { return extension->menusAsked > menusAsked; }));
    const std::size_t changesBefore = menuChanges;
    extension->mood = "sensible";
    EXPECT_TRUE(until([&] { return menuChanges > changesBefore; }));

    // One that dies again and again without a word gives the last badges no more time.
    const gint64 death = g_get_monotonic_time();
    const auto isOver = [death] { return g_get_monotonic_time() - death > 10 * G_USEC_PER_SEC; };
    while (!isOver()) {
        extension.reset();
        newExtension("silent");
        until(isOver, 2);
    }
    EXPECT_EQ(shown[files.front()], "");
}

} // namespace
