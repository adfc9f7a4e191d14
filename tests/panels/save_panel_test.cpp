#include "jumpbar/index_path_helpers.h"
#include "panels/TSFPSavePanel.h"
#include "tests/jumpbar/RecordingView.h"
#include "tests/panels/SteppedQueue.h"
#include "tests/panels/StubbornSpace.h"
#include "tests/support/fakes.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace panels {
namespace {

using Strings = std::vector<std::string>;

struct Panel : TSFPSavePanelView, testing::Test {
    std::string message;
    std::optional<bool> okEnabled;
    std::string choice;
    ServiceState service = ServiceState::answers;
    Strings ends;
    void setMessage(const platform::DisplayText& text) override { message = text.english(); }
    void setOkEnabled(bool enabled) override { okEnabled = enabled; }
    void setChoice(const Strings& titles, bool isNew) override {
        choice = isNew ? "new:" : "";
        for (const std::string& title : titles)
            choice += "/" + title;
    }
    void setServiceState(ServiceState state) override { service = state; }
    void stopModalWithCode(int response) override { ends.push_back("response " + std::to_string(response)); }
    void close() override { ends.emplace_back("close"); }

    StubbornSpace space;
    SteppedQueue queue;
    support::RecordingLog log;
    support::MemoryFileSystem fileSystem;
    jumpbar::RecordingView barView;
    jumpbar::VxJumpBar bar{barView, {0, 0, 400, 30}};
    std::optional<TSFPSavePanel> panel;

    Panel() {
        fileSystem.folders["/home/u/Photos"] = {};
        fileSystem.files = {"/home/u/report.pdf"};
        panel.emplace(TSFPSavePanel::Surroundings{*this, bar, space, queue, fileSystem, log});
    }

    void openForSync(const std::string& path) {
        panel->setForSync(path);
        panel->awakeFromNib();
        queue.runAll();
    }
    // The level that the path leads to, as "title>" for a placeholder or a filled submenu, "title" for a
    // leaf, "--" for a separator and "(title)" for a row that cannot be chosen.
    Strings level(const platform::IndexPath& path) {
        Strings shown;
        for (const auto& item : jumpbar::itemAtIndexPath(*bar.menu(), path)->submenu()->items()) {
            if (item->isSeparatorItem())
                shown.emplace_back("--");
            else if (!item->enabled)
                shown.push_back("(" + item->title + ")");
            else
                shown.push_back(item->title + (item->submenu() ? ">" : ""));
        }
        return shown;
    }
    void highlight(const platform::IndexPath& path) {
        const int label = static_cast<int>(bar.labels().begin()->first);
        bar.labels().at(label)->willHighlightItem(*bar.menu(), *jumpbar::itemAtIndexPath(*bar.menu(), path));
    }
};

TEST_F(Panel, AFolderIsProposedWhereItsNameIsMissing) {
    space.folders["/"] = {"/Docs", "/Old"};
    space.folders["/Docs"] = {"/Docs/Letters"};
    openForSync("/home/u/Photos");
    EXPECT_EQ(message, "Where do you want to sync\n\n/home/u/Photos?");
    EXPECT_EQ(level({0}), Strings{"(Loading…)"});
    EXPECT_EQ(panel->selectedPath(), "/");
    EXPECT_EQ(okEnabled, false) << "the root cannot be synced to";
    panel->okClicked();
    EXPECT_EQ(ends, Strings{});

    StubbornSpace::deliver(space.listing, true);
    EXPECT_EQ(level({0}), Strings{"(Loading…)"}) << "a level is put in place in one go";
    StubbornSpace::deliver(space.counting, true);
    EXPECT_EQ(level({0}), (Strings{"Docs>", "Old", "--", "Photos"}));
    EXPECT_EQ(*bar.selectedIndexPath(), (platform::IndexPath{0, 3}));
    EXPECT_EQ(panel->selectedPath(), "/Photos");
    EXPECT_EQ(okEnabled, true);
    EXPECT_EQ(choice, "new:/Tovik Space/Photos");
    EXPECT_EQ(bar.selectedMenuItem()->image->name, newFolderImageName);
    EXPECT_EQ(bar.selectedMenuItem()->attributedTitle->font, platform::systemFont(12));

    highlight({0, 0});
    EXPECT_EQ(level({0, 0}), Strings{"(Loading…)"});
    highlight({0, 0});
    space.answerAll();
    EXPECT_EQ(level({0, 0}), (Strings{"Letters", "--", "Photos"}));
    EXPECT_EQ(jumpbar::itemAtIndexPath(*bar.menu(), {0, 0, 2})->representedObject, "/Docs/Photos");
    EXPECT_EQ(panel->selectedPath(), "/Photos") << "a level that arrives later chooses nothing";
    for (const std::size_t row : {0U, 1U, 2U}) // fetched, a leaf, a separator
        highlight({0, row});
    EXPECT_EQ(space.lists, (std::map<std::string, int>{{"/", 1}, {"/Docs", 1}}));

    bar.setSelectedIndexPath(platform::indexPath({0}));
    EXPECT_EQ(okEnabled, false);
    bar.setSelectedIndexPath(platform::indexPath({0, 0, 0}));
    EXPECT_EQ(choice, "/Tovik Space/Docs/Letters");
    panel->okClicked();
    EXPECT_EQ(ends, (Strings{"response 1", "close"}));
    EXPECT_EQ(panel->selectedPath(), "/Docs/Letters");
}

TEST_F(Panel, AnExistingFolderOfTheNameIsPreselected) {
    space.folders["/"] = {"/A/Photos", "/Docs", "/B/Photos"}; // shown as the daemon gives them: the last wins
    fileSystem.hanging = {"/home/u/Photos"}; // a slow disk does not change the name that is looked for
    openForSync("/home/u/Photos");
    space.answerAll();
    EXPECT_EQ(level({0}), (Strings{"Photos", "Docs", "Photos"}));
    EXPECT_EQ(panel->selectedPath(), "/B/Photos");
    EXPECT_EQ(okEnabled, true);
}

TEST_F(Panel, ArchivingMayTakeTheRoot) {
    panel->setForArchive({"/home/u/report.pdf", "/x"});
    panel->setForArchive({});
    EXPECT_EQ(message, "") << "there is no field yet";
    panel->awakeFromNib();
    EXPECT_EQ(message, "Do you want to archive selected files?");
    EXPECT_EQ(log.lines(), Strings{"Set Message Text"});
    space.answerAll();
    EXPECT_EQ(level({0}), Strings{}) << "no new folder is offered";
    EXPECT_EQ(panel->selectedPath(), "/");
    EXPECT_EQ(okEnabled, true);
    panel->cancelClicked();
    EXPECT_EQ(ends, (Strings{"response 0", "close"}));
}

// What is not known is not proposed: a sync has only the root, which cannot be chosen.
TEST_F(Panel, ADaemonThatIsSlowOrSilentIsWaitedForAndAskedAgain) {
    space.folders["/"] = {"/Docs", "/Photos"};
    openForSync("/home/u/report.pdf"); // a file: its folder's name is proposed
    EXPECT_EQ(service, ServiceState::awaited);
    StubbornSpace::deliver(space.listing, false);
    EXPECT_EQ(service, ServiceState::silent);
    EXPECT_EQ(level({0}), Strings{"(No answer from the sync service)"});
    EXPECT_EQ(panel->selectedPath(), "/");
    EXPECT_EQ(okEnabled, false);

    highlight({0});
    EXPECT_EQ(level({0}), Strings{"(Loading…)"});
    EXPECT_EQ(service, ServiceState::answers) << "not yet late";
    StubbornSpace::deliver(space.listing, false);
    panel->askAgain();
    panel->askAgain();
    EXPECT_EQ(space.lists["/"], 3) << "one question at a time";
    StubbornSpace::deliver(space.listing, true);
    space.counting[0](true);
    space.counting[1](false);
    EXPECT_EQ(service, ServiceState::answers);
    EXPECT_EQ(level({0}), (Strings{"Docs", "Photos>", "--", "u"})) << "not counted: to be opened";
    EXPECT_EQ(choice, "new:/Tovik Space/u");
    EXPECT_EQ(okEnabled, true);

    highlight({0, 1});
    StubbornSpace::deliver(space.listing, false);
    EXPECT_EQ(level({0, 1}), Strings{"(No answer from the sync service)"});
    EXPECT_EQ(panel->selectedPath(), "/u") << "the choice made before stays";
    space.folders["/Photos"] = {"/Photos/u"};
    panel->askAgain();
    StubbornSpace::deliver(space.listing, true);
    panel.reset(); // cancelled while counts are under way
    StubbornSpace::deliver(space.counting, true);
    queue.runAll();
    EXPECT_EQ(level({0, 1})[0], "(Loading…)") << "a late answer changes nothing";
}

} // namespace
} // namespace panels
