#include "backends/qt/SavePanelDialog.h"

#include "backends/posix/GuardedFileSystem.h"
#include "backends/qt/JumpBarWidget.h"
#include "backends/qt/MainQueue.h"
#include "tests/backends/qt/finding.h"
#include "tests/panels/SteppedQueue.h"
#include "tests/panels/StubbornSpace.h"
#include "tests/support/fakes.h"

#include <gtest/gtest.h>

#include <QLabel>
#include <QPushButton>
#include <functional>

namespace backends::qt {
namespace {

struct DestinationWindow : testing::Test {
    panels::StubbornSpace space;
    MainQueue mainQueue;
    backends::posix::GuardedFileSystem fileSystem;
    support::RecordingLog log;
    SavePanelDialog dialog{space, mainQueue, fileSystem, log};
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
        EXPECT_EQ(openList()->mapToGlobal(middleOf(*openList(), "Tovik Space")).y() / 10,
                  label(1)->mapToGlobal(label(1)->rect().center()).y() / 10)
            << "the current item lies over its label";
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

TEST_F(DestinationWindow, IsUsedWithTheKeyboardAlone) {
    space.folders["/"] = {"/A", "/B"};
    space.folders["/B"] = {"/B/C", "/B/D"};
    dialog.panel().setForSync("/nowhere/New");
    const int response = run([&] {
        EXPECT_FALSE(ok->isEnabled()) << "the root cannot be synced to";
        EXPECT_EQ(dialog.focusWidget(), label(1));
        key(Qt::Key_Return);
        EXPECT_TRUE(dialog.isVisible());
        space.answerAll();
        EXPECT_TRUE(ok->isEnabled());
        EXPECT_EQ(chosen(), "/nowhere");
        key(Qt::Key_Tab);
        EXPECT_EQ(dialog.focusWidget(), label(2));
        key(Qt::Key_Space);
        ASSERT_NE(openList(), nullptr);
        EXPECT_EQ(rowsOf(*openList()), (QStringList{"A", "B", "", "nowhere"}));
        EXPECT_EQ(currentOf(*openList()), "nowhere");
        key(Qt::Key_Up); // over the separator
        EXPECT_EQ(currentOf(*openList()), "B");
        key(Qt::Key_Right);
        space.answerAll();
        EXPECT_EQ(currentOf(*openList()), "C");
        key(Qt::Key_Left);
        EXPECT_EQ(currentOf(*openList()), "B");
        key(Qt::Key_Right);
        key(Qt::Key_Down);
        key(Qt::Key_Return);
        EXPECT_EQ(chosen(), "/B/D");
        key(Qt::Key_Down);
        ASSERT_NE(openList(), nullptr);
        key(Qt::Key_Escape);
        EXPECT_EQ(openList(), nullptr);
        EXPECT_EQ(chosen(), "/B/D") << "Escape in a menu closes it and no more";
        EXPECT_TRUE(dialog.isVisible());
        key(Qt::Key_Return);
    });
    EXPECT_EQ(response, 1);
}

TEST_F(DestinationWindow, WaitsForTheDaemonAndFindsOneOfThousandsOfFoldersByTyping) {
    std::vector<std::string>& folders = space.folders["/"];
    for (int number = 0; number < 3000; ++number)
        folders.push_back("/Folder " + std::to_string(number));
    dialog.panel().setForArchive({"/a", "/b"});
    const int response = run([&] {
        click(label(1));
        key(Qt::Key_Right);
        ASSERT_EQ(rowsOf(*openList()), QStringList{"Loading…"});
        key(Qt::Key_Return);
        ASSERT_NE(openList(), nullptr) << "a row that waits is no choice";
        // A press elsewhere closes the whole menu.
        QTest::mousePress(QApplication::activePopupWidget(), Qt::LeftButton, {}, QPoint(-500, -500));
        EXPECT_EQ(openList(), nullptr);
        panels::StubbornSpace::deliver(space.listing, false); // comes when the menu has gone

        click(label(1));
        key(Qt::Key_Right);
        ASSERT_EQ(rowsOf(*openList()), QStringList{"Loading…"});
        space.answerAll(); // while the menu is open
        EXPECT_EQ(openList()->model()->rowCount(), 3000);
        EXPECT_LT(openList()->window()->height(), openList()->screen()->geometry().height());
        type("2");
        type("718");
        EXPECT_EQ(rowsOf(*openList()), QStringList{"Folder 2718"});
        type("x");
        EXPECT_EQ(rowsOf(*openList()), QStringList{"No folders"});
        key(Qt::Key_Return); // nothing to choose
        ASSERT_NE(openList(), nullptr);
        key(Qt::Key_Backspace);
        key(Qt::Key_Return);
        EXPECT_EQ(chosen(), "/Folder 2718");
        click(dialog.findChild<QPushButton*>("cancel"));
    });
    EXPECT_EQ(response, 0);
}

} // namespace
} // namespace backends::qt
