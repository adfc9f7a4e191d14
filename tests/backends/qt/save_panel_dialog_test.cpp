#include "backends/posix/GuardedFileSystem.h"
#include "backends/qt/JumpBarWidget.h"
#include "backends/qt/MainQueue.h"
#include "backends/qt/SavePanelDialog.h"
#include "tests/backends/qt/finding.h"
#include "tests/support/fakes.h"

#include <gtest/gtest.h>

#include <QLabel>
#include <QPushButton>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace backends::qt {
namespace {

// A remote space whose answers come when told: everything asked is kept until then.
struct StubbornSpace final : panels::RemoteDirectories {
    std::map<std::string, std::vector<std::string>>
        folders;                      // what is listed; a folder that is not a key has no subfolders
    std::map<std::string, int> lists; // how often a folder was listed
    std::vector<std::function<void(bool answer)>> listing, counting;

    void directoriesNotInSyncAtRemoteDirecory(const std::string& path, Paths completion) override {
        ++lists[path];
        listing.emplace_back([this, path, completion](bool answer) {
            completion(answer ? std::optional(folders[path]) : std::nullopt);
        });
    }
    void countDirectoriesAtPath(const std::string& path, Count completion) override {
        counting.emplace_back([this, path, completion](bool answer) {
            completion(answer ? std::optional<std::uint64_t>(folders[path].size()) : std::nullopt);
        });
    }
    static void deliver(std::vector<std::function<void(bool)>>& asked, bool answer) {
        for (const auto& one : std::exchange(asked, {}))
            one(answer);
    }
    void answerAll() {
        deliver(listing, true);
        deliver(counting, true);
    }
};

struct DestinationWindow : testing::Test {
    StubbornSpace space;
    MainQueue mainQueue;
    backends::posix::GuardedFileSystem fileSystem;
    support::RecordingLog log;
    SavePanelDialog dialog{{space, mainQueue, fileSystem, log}};
    JumpBarWidget* bar = dialog.findChild<JumpBarWidget*>("jumpBar");
    QPushButton* ok = dialog.findChild<QPushButton*>("ok");

    // Runs the window modally, and the person's doings while it runs; the response.
    int run(const std::function<void()>& person) {
        whenShown(dialog, person);
        return dialog.runModal();
    }
    QWidget* label(int level) {
        return bar->findChild<QWidget*>(QStringLiteral("jumpBarLabel%1").arg(level));
    }
    std::string line() { return dialog.findChild<QLabel*>("line")->accessibleName().toStdString(); }
    std::string chosen() { return dialog.panel().selectedPath().value_or("(none)"); }
};

TEST_F(DestinationWindow, ChoosesThreeSubmenusDeepWithTheMouse) {
    space.folders["/"] = {"/A", "/B"};
    space.folders["/B"] = {"/B/C"};
    space.folders["/B/C"] = {"/B/C/D"};
    dialog.panel().setForArchive({"/tmp/x"});
    const int response = run([&] {
        EXPECT_EQ(dialog.findChild<QLabel*>("message")->accessibleName(),
                  "Do you want to archive\n\n/tmp/x?");
        EXPECT_EQ(label(1)->accessibleName(), "Tovik Space");
        space.answerAll();
        click(label(1));
        ASSERT_TRUE(eventually([] { return openList() != nullptr; }));
        EXPECT_EQ(currentOf(*openList()), "Tovik Space");
        EXPECT_EQ(rowsOf(*openList()), QStringList{"Tovik Space"}) << "a separator separates";
        for (const char* folder : {"Tovik Space", "B", "C"}) {
            QListView* list = openList();
            ASSERT_TRUE(rowsOf(*list).contains(folder));
            QTest::mouseMove(list->viewport(), middleOf(*list, folder));
            ASSERT_TRUE(eventually([&] { return openList() != list; })) << "its submenu opens by itself";
            EXPECT_TRUE(rowsOf(*openList()) == QStringList{"Loading…"} ||
                        folder == std::string("Tovik Space"));
            space.answerAll();
        }
        EXPECT_EQ(rowsOf(*openList()), QStringList{"D"});
        QTest::mouseClick(openList()->viewport(), Qt::LeftButton, {}, middleOf(*openList(), "D"));
        EXPECT_EQ(openList(), nullptr);
        EXPECT_EQ(chosen(), "/B/C/D");
        ASSERT_NE(label(4), nullptr);
        EXPECT_EQ(label(4)->accessibleName(), "D");

        click(label(3)); // a folder that has folders can be chosen too
        ASSERT_NE(openList(), nullptr);
        QTest::mouseClick(openList()->viewport(), Qt::LeftButton, {}, middleOf(*openList(), "C"));
        EXPECT_EQ(chosen(), "/B/C");
        EXPECT_TRUE(eventually([&] { return label(4) == nullptr; }));
        click(ok);
    });
    EXPECT_EQ(response, 1);
    EXPECT_EQ(chosen(), "/B/C");
}

// The message as it is when the window is shown.
struct ShownMessage : QObject {
    explicit ShownMessage(QDialog& dialog) : message(dialog.findChild<QLabel*>("message")) {
        dialog.installEventFilter(this);
    }
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == QEvent::Show) text = message->accessibleName();
        return false;
    }
    QLabel* message;
    QString text;
};

TEST_F(DestinationWindow, IsUsedWithTheKeyboardAloneAndByAssistivePrograms) {
    space.folders["/"] = {"/A", "/B"};
    space.folders["/B"] = {"/B/C", "/B/D"};
    dialog.setPurpose(panels::DestinationPurpose::sync);
    dialog.panel().setForSync("/nowhere/New");
    const ShownMessage shown(dialog);
    const int response = run([&] {
        EXPECT_EQ(shown.text, "Where do you want to sync\n\n/nowhere/New?") << "it does not grow afterwards";
        EXPECT_FALSE(ok->isEnabled()) << "the root cannot be synced to";
        EXPECT_EQ(dialog.focusWidget(), label(1));
        key(Qt::Key_Return);
        EXPECT_TRUE(dialog.isVisible());
        space.answerAll();
        EXPECT_TRUE(ok->isEnabled());
        EXPECT_EQ(chosen(), "/nowhere");
        EXPECT_EQ(dialog.focusWidget(), label(2)) << "the focus follows the proposal";
        const std::string folder = "ButtonMenu|nowhere, new folder|Press,ShowMenu,SetFocus\n";
        EXPECT_EQ(readingOf(dialog, ""),
                  "Dialog|Start sync|\n"
                  "StaticText|Where do you want to sync\n\n/nowhere/New?|\nGrouping|Destination|\n"
                  "ButtonMenu|Tovik Space|Press,ShowMenu,SetFocus\n" +
                      folder +
                      "StaticText|New folder: Tovik Space › nowhere|\nGrouping||\n"
                      "Button|Start sync|Press,SetFocus\nButton|Cancel|Press,SetFocus\n");
        key(Qt::Key_Space);
        ASSERT_NE(openList(), nullptr);
        EXPECT_EQ(readingOf(dialog, "^PopupMenu|^List"),
                  "PopupMenu|Tovik Space|\nList|Tovik Space|\nListItem|A|Toggle\nListItem|B|Toggle\n"
                  "ListItem||Toggle\nListItem|nowhere, new folder|Toggle\n");
        EXPECT_EQ(currentOf(*openList()), "nowhere");
        EXPECT_NEAR(openList()->viewport()->mapToGlobal(middleOf(*openList(), "nowhere")).y(),
                    label(2)->mapToGlobal(label(2)->rect().center()).y(), 3)
            << "the current item, not the first, lies over its label";
        key(Qt::Key_Up); // over the separator
        EXPECT_EQ(currentOf(*openList()), "B");
        key(Qt::Key_Right);
        space.answerAll();
        EXPECT_EQ(currentOf(*openList()), "C");
        EXPECT_EQ(readingOf(dialog, "[|]C[|]"), "ListItem|C|Toggle\n") << "it hangs from its menu";
        key(Qt::Key_Left);
        EXPECT_EQ(currentOf(*openList()), "B");
        key(Qt::Key_Right);
        key(Qt::Key_Down);
        key(Qt::Key_Return);
        EXPECT_EQ(chosen(), "/B/D");
        perform(dialog, "ButtonMenu|D|Press,ShowMenu,SetFocus", "Press");
        ASSERT_NE(openList(), nullptr);
        key(Qt::Key_Escape);
        EXPECT_EQ(openList(), nullptr);
        EXPECT_EQ(chosen(), "/B/D") << "Escape in a menu closes it and no more";
        EXPECT_TRUE(dialog.isVisible());
        key(Qt::Key_Return);
    });
    EXPECT_EQ(response, 1);
}

TEST_F(DestinationWindow, ProposesAFolderOfTheNameOrANewOneInEachLevelThatIsKnown) {
    space.folders["/"] = {"/A/share", "/Docs", "/B/share"}; // of two the last
    space.folders["/Docs"] = {"/Docs/Letters"};
    dialog.panel().setForSync("/usr/share");
    const int response = run([&] {
        StubbornSpace::deliver(space.listing, true);
        EXPECT_EQ(chosen(), "/") << "a level is put in place in one go";
        space.counting[1](false); // to be opened, as it may have folders
        space.counting[0](true);
        space.counting[2](true);
        EXPECT_EQ(chosen(), "/B/share");
        EXPECT_TRUE(ok->isEnabled());
        click(label(2));
        EXPECT_EQ(rowsOf(*openList()), (QStringList{"share", "Docs", "share"}));
        key(Qt::Key_Up);
        key(Qt::Key_Right);
        space.answerAll();
        key(Qt::Key_Left);
        key(Qt::Key_Right);
        EXPECT_EQ(rowsOf(*openList()), (QStringList{"Letters", "", "share"}));
        EXPECT_EQ(space.lists, (std::map<std::string, int>{{"/", 1}, {"/Docs", 1}}));
        EXPECT_EQ(chosen(), "/B/share") << "a level that arrives later chooses nothing";
        key(Qt::Key_Down);
        key(Qt::Key_Return);
        EXPECT_EQ(chosen(), "/Docs/share");
        EXPECT_EQ(line(), "New folder: Tovik Space › Docs › share");
        click(label(3));
        key(Qt::Key_Up);
        key(Qt::Key_Return);
        EXPECT_EQ(chosen(), "/Docs/Letters");
        click(dialog.findChild<QPushButton*>("cancel"));
    });
    EXPECT_EQ(response, 0);

    // One that has gone with its questions under way: the answers find nobody.
    for (const bool isListed : {false, true}) {
        std::optional<SavePanelDialog> gone(std::in_place,
                                            SavePanelDialog::Surroundings{space, mainQueue, fileSystem, log});
        gone->panel().setForSync("/usr/share");
        whenShown(*gone, [&] {
            if (isListed) StubbornSpace::deliver(space.listing, true);
            click(gone->findChild<QPushButton*>("cancel"));
        });
        EXPECT_EQ(gone->runModal(), 0);
        gone.reset();
        EXPECT_NE(space.listing.size(), isListed ? 1U : 0U);
        space.answerAll();
        QCoreApplication::processEvents();
    }
}

TEST_F(DestinationWindow, WaitsForTheDaemonAndFindsOneOfThousandsOfFoldersByTyping) {
    std::vector<std::string>& folders = space.folders["/"];
    for (int number = 0; number < 3000; ++number)
        folders.push_back("/Folder " + std::to_string(number));
    dialog.panel().setForArchive({"/a", "/b"});
    dialog.panel().setForArchive({});
    EXPECT_EQ(log.lines(), std::vector<std::string>{"Set Message Text"});
    const int response = run([&] {
        EXPECT_EQ(dialog.findChild<QLabel*>("message")->accessibleName(),
                  "Do you want to archive selected files?");
        EXPECT_TRUE(ok->isEnabled()) << "the root may be archived to";
        click(label(1));
        key(Qt::Key_Right);
        ASSERT_EQ(rowsOf(*openList()), QStringList{"Loading…"});
        key(Qt::Key_Return);
        ASSERT_NE(openList(), nullptr) << "a row that waits cannot be chosen";
        // A press elsewhere closes the whole menu.
        QTest::mousePress(QApplication::activePopupWidget(), Qt::LeftButton, {}, QPoint(-500, -500));
        EXPECT_EQ(openList(), nullptr);
        EXPECT_TRUE(eventually([&] { return line() == "Waiting for the sync service…"; }));
        StubbornSpace::deliver(space.listing, false); // comes when the menu has gone
        EXPECT_EQ(line(), "No answer from the sync service");
        click(dialog.findChild<QPushButton*>("again"));
        dialog.panel().askAgain();
        EXPECT_EQ(space.lists["/"], 2) << "one question at a time";

        click(label(1));
        key(Qt::Key_Right);
        StubbornSpace::deliver(space.listing, false);
        ASSERT_EQ(rowsOf(*openList()), QStringList{"No answer from the sync service"});
        key(Qt::Key_Left);
        key(Qt::Key_Right);
        ASSERT_EQ(rowsOf(*openList()), QStringList{"Loading…"}) << "asked again";
        space.answerAll(); // while the menu is open
        EXPECT_EQ(openList()->model()->rowCount(), 3000);
        EXPECT_LT(openList()->window()->height(), openList()->screen()->geometry().height());
        type("2");
        type("718");
        EXPECT_EQ(rowsOf(*openList()), QStringList{"Folder 2718"});
        type("x");
        EXPECT_EQ(rowsOf(*openList()), QStringList{"No folders"});
        EXPECT_LT(openList()->window()->height() - openList()->geometry().bottom(), 12);
        EXPECT_LT(openList()->window()->height(), 120) << "the popup is no higher than what it shows";
        key(Qt::Key_Return); // nothing to choose
        ASSERT_NE(openList(), nullptr);
        key(Qt::Key_Backspace);
        key(Qt::Key_Return);
        EXPECT_EQ(chosen(), "/Folder 2718");
        click(label(2));
        EXPECT_NEAR(openList()->viewport()->mapToGlobal(middleOf(*openList(), "Folder 2718")).y(),
                    label(2)->mapToGlobal(label(2)->rect().center()).y(), 3);
        key(Qt::Key_Escape);
        EXPECT_TRUE(ok->isEnabled());
        auto* cancel = dialog.findChild<QPushButton*>("cancel");
        cancel->setFocus();
        QTest::keyClick(cancel, Qt::Key_Return); // is Cancel there, and not OK
    });
    EXPECT_EQ(response, 0);
}

} // namespace
} // namespace backends::qt
