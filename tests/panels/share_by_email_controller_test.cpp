#include "backends/posix/GuardedFileSystem.h"
#include "panels/TSFPShareByEmailController.h"
#include "platform/json.h"
#include "tests/panels/SteppedQueue.h"
#include "tests/support/fakes.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace panels {
namespace {

using Strings = std::vector<std::string>;

struct Contacts final : platform::AddressBook {
    std::vector<platform::Person> everybody;
    Found further;
    std::vector<platform::Person> people() override { return everybody; }
    void readFurther(Found found) override { further = std::move(found); }
};

struct SharePanel : TSFPShareByEmailView, testing::Test {
    std::string info, icon;
    std::optional<bool> okEnabled;
    std::vector<FieldObject> field;
    Strings picked, ends;
    void setInfo(const platform::DisplayText& text) override { info = text.english(); }
    void setIcon(const platform::ImageHandle& image) override { icon = image->name; }
    void setOkEnabled(bool enabled) override { okEnabled = enabled; }
    std::vector<FieldObject> emails() const override { return field; }
    void setEmails(const std::vector<FieldObject>& objects) override { field = objects; }
    Strings pickerSelectedValues() const override { return picked; }
    void peopleHaveCome() override { ends.emplace_back("people"); }
    void close() override { ends.emplace_back("close"); }
    void stopModal() override { ends.emplace_back("stop"); }

    Contacts contacts;
    SteppedQueue mainQueue, background;
    support::RecordingLog log;
    backends::posix::GuardedFileSystem fileSystem;
    Strings messages;
    std::optional<TSFPShareByEmailController> panel;

    SharePanel() { contacts.everybody = {{"John", "Smith", {"j@x.org"}}}; }
    void open(const std::string& path, bool isDirectory) {
        panel.emplace(
            TSFPShareByEmailController::Surroundings{
                *this, contacts, mainQueue, background, fileSystem, log,
                [this](const std::string& name, const platform::Dictionary& payload) {
                    messages.push_back(name + " " + *platform::jsonText(payload));
                }},
            path);
        panel->setAllPathsInSync({{"/Space/Docs", "/home/u/Docs/"}});
        panel->shareFile({{"path", path}, {"isDir", isDirectory}});
        mainQueue.runAll();
    }
    FieldObject added(const std::string& entry) { return panel->shouldAddObjects({entry}).at(0); }
};

TEST_F(SharePanel, ConfirmingSendsOneCommandWithTheRemotePath) {
    open("/home/u/Docs/a/plan.final.pdf", false);
    EXPECT_EQ(log.lines(), Strings{"Init Share by email with path /home/u/Docs/a/plan.final.pdf"});
    EXPECT_EQ(info, "Share file 'plan.final.pdf' with");
    EXPECT_EQ(icon, ".pdf");
    EXPECT_EQ(okEnabled, false);
    field = {added("john smith <j@x.org>"), TSFPEmailToken{"not an address", std::nullopt},
             std::string("k@y.org")};
    panel->controlTextDidChange();
    EXPECT_EQ(okEnabled, true) << "tokens are not held to the rule";
    panel->okAction();
    EXPECT_EQ(ends, (Strings{"close", "stop"}));
    EXPECT_EQ(messages, Strings{}) << "posted on the background queue";
    background.runAll();
    EXPECT_EQ(messages,
              Strings{"kTFinderSyncTShareByEmail {\"isDir\":\"file\",\"localPath\":\"/Space/Docs/a/"
                      "plan.final.pdf\",\"recipients\":[\"j@x.org\",\"not an address\",\"k@y.org\"]}"});
    EXPECT_TRUE(panel->hasSent());
}

TEST_F(SharePanel, WithoutAPathOrARecipientNothingIsSent) {
    open("/home/u/Docs", true);
    EXPECT_EQ(info, "Share folder 'Docs' with");
    EXPECT_EQ(icon, "fldr");
    panel->okAction();

    open("/home/u/Other/x", false);
    EXPECT_EQ(info, "'x' is not in a synced folder and cannot be shared");
    field = {added("j@x.org")};
    panel->controlTextDidChange();
    EXPECT_EQ(okEnabled, false);
    panel->okAction();
    EXPECT_EQ(ends.size(), 4U) << "the panel closes all the same";

    panel->shareFile({{"remote_path", "/Space/r"}, {"path", "/elsewhere"}, {"isDir", 0}});
    panel->okAction(); // before the main queue has come to it
    mainQueue.runAll();
    EXPECT_EQ(info, "Share file 'r' with");
    EXPECT_EQ(icon, ".");
    panel->shareFile({{"remote_path", "/Space/r"}, {"isDir", 1}});
    mainQueue.runAll();
    EXPECT_EQ(info, "Share folder 'r' with");
    panel->cancelAction();
    panel->shareFile({{"path", "/gone"}});
    panel.reset();
    mainQueue.runAll();
    background.runAll();
    EXPECT_EQ(messages, Strings{});
}

TEST_F(SharePanel, TheAddressBookGivesNamesToTokens) {
    contacts.everybody = {{"Ann", {}, {"ann@x.org", "both@x.org"}},
                          {"John", "Smith", {"j@x.org", "both@x.org", "gone@x.org"}},
                          {{}, "Nobody", {"gone@x.org"}}};
    open("/home/u/Docs/f", false);
    EXPECT_EQ(panel->addressBook(),
              (AddressIndex{{"ann@x.org", "Ann"}, {"both@x.org", "John Smith"}, {"j@x.org", "John Smith"}}));
    const TSFPEmailToken john{"j@x.org", "John Smith"};
    for (const char* entry : {"jOHn Smith <j@x.org>", "j@x.org (John Smith)", "j@x.org"})
        EXPECT_EQ(added(entry), FieldObject(john)) << entry;
    EXPECT_EQ(added("J@x.org"), FieldObject(TSFPEmailToken{"J@x.org", {}}))
        << "addresses are compared exactly";
    EXPECT_EQ(panel->shouldAddObjects({john, "a <", "w"}),
              (std::vector<FieldObject>{TSFPEmailToken{"w", {}}}));

    // Who comes later; an address that is known keeps its name.
    contacts.further({{"Not John", {}, {"j@x.org"}}, {"Zoë", {}, {"z@x.org", "ann@x.org"}}});
    contacts.further({{"Ann", {}, {"ann@x.org"}}});
    contacts.further({});
    mainQueue.runAll();
    EXPECT_EQ(ends, Strings{"people"});
    EXPECT_EQ(panel->people().back().emails, Strings{"z@x.org"});
    EXPECT_EQ(panel->people().size(), 4U);
    EXPECT_EQ(added("z@x.org"), FieldObject(TSFPEmailToken{"z@x.org", "Zoë"}));

    picked = {"a@b.de", "j@x.org"};
    panel->select();
    EXPECT_EQ(field, std::vector<FieldObject>{john});
    EXPECT_EQ(okEnabled, true);

    EXPECT_EQ(panel->displayStringForRepresentedObject(john), "John Smith");
    EXPECT_EQ(panel->displayStringForRepresentedObject("ann@x.org"), "Ann");
    EXPECT_EQ(panel->displayStringForRepresentedObject(TSFPEmailToken{"ann@x.org", {}}), "ann@x.org");
    EXPECT_EQ(panel->editingStringForRepresentedObject(john), "j@x.org");
    EXPECT_EQ(panel->editingStringForRepresentedObject("word"), "word");
    EXPECT_EQ(panel->styleForRepresentedObject(john), TokenStyle::rounded);
    EXPECT_EQ(panel->styleForRepresentedObject("x <j@x.org>"), TokenStyle::rounded);
    EXPECT_EQ(panel->styleForRepresentedObject(added("word")), TokenStyle::plainText);
    EXPECT_EQ(panel->styleForRepresentedObject("word"), TokenStyle::plainText);
}

TEST(TSFPEmailToken, ArchivesItsNameAlone) {
    platform::Array archive;
    TSFPEmailToken{"j@x.org", "John Smith"}.encodeWithCoder(archive);
    TSFPEmailToken{"w@x.org", std::nullopt}.encodeWithCoder(archive);
    EXPECT_EQ(archive, (platform::Array{"John Smith", platform::Null{}}));
    std::size_t position = 0;
    EXPECT_EQ(TSFPEmailToken::initWithCoder(archive, position), (TSFPEmailToken{"", "John Smith"}));
    EXPECT_EQ(TSFPEmailToken::initWithCoder(archive, position), (TSFPEmailToken{"", std::nullopt}));
    EXPECT_EQ(TSFPEmailToken::initWithCoder(archive, position), (TSFPEmailToken{"", std::nullopt}));
}

} // namespace
} // namespace panels
