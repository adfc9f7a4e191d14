// The plugin without its file manager: files are bare objects, the extension is one that can misbehave.
#include "hosts/nautilus-family/badge_keeper.h"
#include "protocol/glib_formats.h"
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

// GLib's format strings are the signatures with signs that say how to hand a part over.
constexpr bool isSignature(std::string_view format, std::string_view signature) {
    for (const char letter : format)
        if (letter != '&' && letter != '@') {
            if (!signature.starts_with(letter)) return false;
            signature.remove_prefix(1);
        }
    return signature.empty();
}
static_assert(isSignature(FINDER_SYNC_BADGES_FOR_ITEMS_OUT_READ, "(" FINDER_SYNC_BADGES_FOR_ITEMS_OUT ")"));
static_assert(isSignature(FINDER_SYNC_ANSWER_READ, "(" FINDER_SYNC_ANSWER_FIELDS ")"));
static_assert(isSignature(FINDER_SYNC_MENUS_ENTRY_READ, "{" FINDER_SYNC_MENUS_ENTRY_FIELDS "}"));
static_assert(isSignature(FINDER_SYNC_MENU_ITEM_READ, "(" FINDER_SYNC_MENU_ITEM_FIELDS ")"));
static_assert(isSignature(FINDER_SYNC_BADGES_CHANGED_READ, "(" FINDER_SYNC_BADGES_CHANGED_TYPES ")"));
static_assert(isSignature(FINDER_SYNC_CHANGE_READ, "(" FINDER_SYNC_CHANGE_FIELDS ")"));
static_assert(isSignature(FINDER_SYNC_CHANGE_READ_PACKED, "(" FINDER_SYNC_CHANGE_FIELDS ")"));
static_assert(isSignature(FINDER_SYNC_ACTIVATE_IN_WRITE, "(" FINDER_SYNC_ACTIVATE_IN ")"));

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
    static bool until(const std::function<bool()>& condition) {
        const gint64 end = g_get_monotonic_time() + gint64{20} * G_USEC_PER_SEC;
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
    void newExtension() { extension = std::make_unique<fake::Extension>(TSYNCFINDER_INTROSPECTION); }
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

TEST_F(BadgeKeeper, badgesWhatTheFileManagerShows) {
    addFiles(1000); // before there is an extension
    newExtension();
    ASSERT_TRUE(everyFileShows("tsyncfinder-sync"));
    EXPECT_EQ(extension->asked, 1000U);
    EXPECT_EQ(extension->observed["file:///r"], 1);

    // Signals: of an item, of a folder, of the menus; and a second object for a file.
    extension->badge = [](const std::string&) { return g_variant_new("(sbb)", "upload", TRUE, FALSE); };
    files.push_back(newFile("file:///r/f0"));
    look(files.back());
    EXPECT_EQ(shown[files.back()], "tsyncfinder-sync");
    extension->emitChanged("file:///r", "file:///r/f0");
    EXPECT_TRUE(until([&] { return shown[files.front()] == "tsyncfinder-upload"; }));
    EXPECT_EQ(shown[files.back()], "tsyncfinder-upload");
    EXPECT_EQ(shown[files[1]], "tsyncfinder-sync");
    extension->emitChanged("file:///r");
    EXPECT_TRUE(everyFileShows("tsyncfinder-upload"));
    const std::size_t changesBefore = menuChanges;
    extension->emit(FINDER_SYNC_MENUS_CHANGED, nullptr);
    EXPECT_TRUE(until([&] { return menuChanges > changesBefore; }));
    EXPECT_NE(tsf_badge_keeper_menu(keeper, TSYNC_CLASS_SYNCED_FILE), nullptr);
    EXPECT_EQ(tsf_badge_keeper_menu(keeper, TSYNC_CLASS_SYNC_ROOT), nullptr);

    // A selection of files that it never met: the one on another machine decides.
    GList* selection = g_list_append(nullptr, newFile("file:///r/never-met"));
    TSyncSelectionClass found = TSYNC_CLASS_NOTHING;
    EXPECT_TRUE(until(
        [&] { return tsf_badge_keeper_selection_class(keeper, selection, TRUE, FALSE, &found) != FALSE; }));
    EXPECT_EQ(found, TSYNC_CLASS_SYNCED_FILE);
    EXPECT_NE(tsf_badge_keeper_selection_class(keeper, selection, TRUE, TRUE, &found), FALSE);
    EXPECT_EQ(found, TSYNC_CLASS_SYNCED_FOLDER);
    selection = g_list_append(selection, newFile("sftp://host/y"));
    EXPECT_NE(tsf_badge_keeper_selection_class(keeper, selection, TRUE, FALSE, &found), FALSE);
    EXPECT_EQ(found, TSYNC_CLASS_NOTHING);
    g_list_free_full(selection, g_object_unref);

    // A file that is renamed stands for another item.
    g_object_set_data_full(files[1], "uri", g_strdup("file:///moved/f1"), g_free);
    look(files[1]);
    EXPECT_TRUE(until([&] { return extension->observed["file:///moved"] == 1; }));
    dropFiles();
    EXPECT_TRUE(until([&] { return extension->observed["file:///r"] == 0; }));
    EXPECT_TRUE(until([&] { return extension->observed["file:///moved"] == 0; }));

    // No directory is watched any more.
    addFiles(1);
    EXPECT_TRUE(everyFileShows("tsyncfinder-upload"));
    extension->emit(FINDER_SYNC_DIRECTORIES_CHANGED, g_variant_new("(bas)", TRUE, nullptr));
    EXPECT_TRUE(everyFileShows(""));
}

TEST_F(BadgeKeeper, outlivesAnExtensionThatTalksNonsense) {
    for (const char* const mood : {"wrong-types", "wrong-count", "huge"}) {
        newExtension();
        addFiles(10);
        ASSERT_TRUE(everyFileShows("tsyncfinder-sync"));
        extension->mood = mood;
        extension->emitChanged("file:///r");
        ASSERT_TRUE(everyFileShows("")) << "its badges go";
        EXPECT_FALSE(tsf_badge_keeper_is_there(keeper));
        extension.reset();
    }
    newExtension();
    EXPECT_TRUE(everyFileShows("tsyncfinder-sync")) << "a new one is given a chance";

    // Floods, and signals without end or sense; what changes at their end, nobody tells.
    extension->emit("BadgesChanged", g_variant_new("(s)", "nonsense"));
    extension->emit("DirectoriesChanged", g_variant_new("(sas)", "nonsense", nullptr));
    for (int i = 0; i < 5'000; ++i)
        extension->emitChanged("file:///r");
    const std::size_t asked = extension->asked;
    extension->badge = [](const std::string&) { return g_variant_new("(sbb)", "upload", TRUE, FALSE); };
    EXPECT_TRUE(everyFileShows("tsyncfinder-upload"));
    EXPECT_LT(extension->asked - asked, 100 * files.size());
}

} // namespace
