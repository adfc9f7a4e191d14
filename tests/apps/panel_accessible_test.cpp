// What the panels tell assistive programs, read as a screen reader reads it.
#include "tests/support/AccessibleTree.h"
#include "tests/support/PanelProgram.h"
#include "tests/support/TestDaemon.h"
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

    tree.perform(*invalid, "Press"); // its text is edited
    support::run("timeout 20 xdotool search --onlyvisible --class tsyncfinder windowfocus --sync "
                 "type 'cy@example.org,'");
    const auto mended = tree.find("push button|cy@example.org|Press,Remove,SetFocus");
    ASSERT_TRUE(mended);
    EXPECT_TRUE(support::eventually([&] {
        return std::ranges::none_of(tree.nodes(),
                                    [&](const auto& node) { return node.text == invalid->text; });
    }));
    tree.perform(*mended, "Remove");
    tree.perform(tree.find("push button|OK|Press,SetFocus").value(), "Press");
    EXPECT_EQ(panel->readLine(bound()), R"({"recipients":["ann@example.org"],"response":1,"sent":true})");
}

TEST_F(PanelAccessibleTest, AFolderIsChosenFromTheMenuOfALabel) {
    const support::VirtualDisplay display;
    support::AccessibleTree tree;
    support::TestDaemon daemon([](std::string_view message, const platform::Array& arguments,
                                  const platform::ReplyHandler& handler) {
        const std::string& path = *arguments.at(0).string();
        if (message != "directoriesNotInSyncAtRemoteDirecory:withReply:")
            handler(support::valueReply(std::uint64_t{path == "/Docs" ? 1U : 0U}));
        else
            handler(support::valueReply(path == "/" ? platform::Array{"/Docs", "/Music"}
                                                    : platform::Array{"/Docs/sub"}));
    });
    const auto panel =
        start(R"({"panel":"destination","sync":true,"paths":[")" + folder.path("contacts") + R"("]})");
    EXPECT_EQ(panel->readLine(bound()), "{\"shown\":true}");
    const auto label = tree.find("button menu|contacts, new folder|Press,ShowMenu,SetFocus");
    ASSERT_TRUE(label);
    std::vector<std::string> read;
    for (const auto& node : tree.nodes())
        read.push_back(node.text);
    EXPECT_THAT(read, testing::ElementsAre(
                          "application|tsyncfinder|", "dialog|Start sync|",
                          "label|Where do you want to sync\n\n" + folder.path("contacts") + "?|",
                          "panel|Destination|", "button menu|Tovik Space|Press,ShowMenu,SetFocus",
                          label->text, "label|New folder: Tovik Space › contacts|", "panel||",
                          "push button|Start sync|Press,SetFocus", "push button|Cancel|Press,SetFocus"));

    tree.perform(*label, "Press");
    EXPECT_TRUE(tree.find("list item|contacts, new folder|Toggle"));
    read.clear();
    for (const auto& node : tree.nodes())
        if (node.text.starts_with("popup menu") || node.text.starts_with("list")) read.push_back(node.text);
    EXPECT_THAT(read, testing::ElementsAre("popup menu|Tovik Space|", "list|Tovik Space|",
                                           "list item|Docs|Toggle", "list item|Music|Toggle",
                                           "list item||Toggle", "list item|contacts, new folder|Toggle"));
    const std::string keyboard =
        "timeout 20 xdotool search --onlyvisible --class tsyncfinder windowfocus --sync key ";
    support::run(keyboard + "Up Up Right");
    EXPECT_TRUE(tree.find("list item|sub|Toggle")) << "a submenu hangs from its menu";
    support::run(keyboard + "Return");
    EXPECT_TRUE(tree.find("button menu|sub|Press,ShowMenu,SetFocus"));
    tree.perform(tree.find("push button|Start sync|Press,SetFocus").value(), "Press");
    EXPECT_EQ(panel->readLine(bound()), R"({"path":"/Docs/sub","response":1})");
}

} // namespace
