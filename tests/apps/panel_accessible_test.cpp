// What the panels tell assistive programs, read as a screen reader reads it.
#include "tests/support/AccessibleTree.h"
#include "tests/support/PanelProgram.h"
#include "tests/support/VirtualDisplay.h"

#include <gmock/gmock.h>

namespace {

using PanelAccessibleTest = support::PanelProgram;

TEST_F(PanelAccessibleTest, RecipientsAreReadEditedAndRemoved) {
    const support::VirtualDisplay display;
    support::AccessibleTree tree;
    const auto panel = start(R"({"panel":"share","path":"/home/u/Docs/x","isDir":true,)"
                             R"("allPathsInSync":{"/Docs":"/home/u/Docs"}})");
    EXPECT_EQ(panel->readLine(bound()), "{\"shown\":true}");
    support::run("timeout 20 xdotool search --onlyvisible --class tsyncfinder windowfocus --sync "
                 "type 'ann@example.org,bad,'");
    const auto invalid = tree.find("push button|bad, not an e-mail address|Press,Remove,SetFocus");
    ASSERT_TRUE(invalid);
    std::vector<std::string> read;
    for (const auto& node : tree.nodes())
        if (node.text.find("||") == std::string::npos) read.push_back(node.text); // what has a name
    EXPECT_THAT(read,
                testing::ElementsAre(
                    "application|tsyncfinder|", "dialog|Share by email|", "graphic|Folder|",
                    "label|Share folder 'x' with|", "panel|Recipients|",
                    "push button|Ann Lee, ann@example.org|Press,Remove,SetFocus", invalid->text,
                    "text|Recipients|SetFocus", "label|Not an e-mail address: bad|", "label|Address book|",
                    "text|Search|SetFocus", "push button|Add|", "tree|Address book|", "column header|Name|",
                    "column header|E-mail|", "tree item|Ann Lee|Toggle", "tree item|ann@example.org|Toggle",
                    "push button|OK|Press,SetFocus", "push button|Cancel|Press,SetFocus"));

    tree.perform(*invalid, "Remove");
    tree.perform(tree.find("push button|OK|Press,SetFocus").value(), "Press");
    EXPECT_EQ(panel->readLine(bound()), R"({"recipients":["ann@example.org"],"response":1,"sent":true})");
}

} // namespace
