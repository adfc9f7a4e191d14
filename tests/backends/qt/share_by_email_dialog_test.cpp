#include "backends/posix/GuardedFileSystem.h"
#include "backends/qt/MainQueue.h"
#include "backends/qt/ShareByEmailDialog.h"
#include "backends/qt/texts.h"
#include "platform/json.h"
#include "tests/backends/qt/finding.h"
#include "tests/support/fakes.h"

#include <gtest/gtest.h>

#include <QClipboard>
#include <QCompleter>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTranslator>
#include <QTreeView>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace backends::qt {
namespace {

struct Contacts final : platform::AddressBook {
    std::vector<platform::Person> everybody{{"John", "Smith", {"j@x.org"}},
                                            {"Joan", {}, {"joan@x.org", "joan@home.org"}},
                                            {{}, "Ärger Ltd", {"l@x.org"}}};
    std::vector<platform::Person> people() override { return everybody; }
    Found further;
    void readFurther(Found found) override { further = std::move(found); }
};

struct ShareWindow : testing::Test {
    Contacts contacts;
    MainQueue mainQueue;
    support::InlineQueue background;
    backends::posix::GuardedFileSystem fileSystem;
    support::RecordingLog log;
    std::vector<std::string> messages;
    const ShareByEmailDialog::Surroundings around{
        contacts,
        mainQueue,
        background,
        fileSystem,
        log,
        [this](const std::string& name, const platform::Dictionary& payload) {
            messages.push_back(name + " " + *platform::jsonText(payload));
        }};
    ShareByEmailDialog dialog{around, "/home/u/Docs/plan.pdf"};
    QLineEdit* line = dialog.findChild<TokenField*>("emails")->edit();
    QLineEdit* search = dialog.findChild<QLineEdit*>("search");
    QTreeView* picker = dialog.findChild<QTreeView*>("peoplePicker");
    QPushButton* ok = dialog.findChild<QPushButton*>("ok");

    void run(const std::function<void()>& person) {
        background.isHeld = true;
        dialog.controller().setAllPathsInSync({{"/Docs", "/home/u/Docs"}});
        dialog.controller().shareFile({{"path", "/home/u/Docs/plan.pdf"}, {"isDir", false}});
        whenShown(dialog, [&] {
            EXPECT_EQ(dialog.findChild<QLabel*>("textFieldInfo")->text(), "Share file 'plan.pdf' with");
            EXPECT_FALSE(ok->isEnabled());
            person();
        });
        dialog.runModal();
    }
    QStringList peopleInPicker() {
        QStringList rows;
        for (int row = 0; row < picker->model()->rowCount(); ++row)
            rows.append(picker->model()->index(row, 0).data().toString() + u' ' +
                        picker->model()->index(row, 1).data().toString());
        return rows;
    }
    std::vector<QWidget*> chips() {
        std::vector<QWidget*> shownChips;
        for (QWidget* token : dialog.findChildren<QWidget*>("token"))
            if (!token->isHidden()) shownChips.push_back(token);
        return shownChips;
    }
    // The tokens as they are read out, and the text being typed.
    QStringList field() {
        QStringList shownTokens;
        for (const QWidget* token : chips())
            shownTokens.append(token->accessibleName());
        if (!line->text().isEmpty()) shownTokens.append(line->text());
        return shownTokens;
    }
};

TEST_F(ShareWindow, TypesCompletesPicksAndSendsAndIsReadByAssistivePrograms) {
    run([&] {
        EXPECT_TRUE(line->hasFocus());
        key(Qt::Key_Return);
        ASSERT_TRUE(dialog.isVisible()) << "Enter is OK, also while OK is still disabled";
        type("jo");
        auto* list = dynamic_cast<QAbstractItemView*>(QApplication::activePopupWidget());
        ASSERT_NE(list, nullptr);
        ASSERT_EQ(list->model()->rowCount(), 3);
        EXPECT_EQ(list->model()->index(0, 0).data().toString(), "Joan <joan@x.org>");
        EXPECT_EQ(list->model()->index(2, 0).data().toString(), "John Smith <j@x.org>")
            << "in the person's own letters";
        key(Qt::Key_Down);
        key(Qt::Key_Down);
        key(Qt::Key_Return);
        EXPECT_EQ(field(), QStringList{"John Smith, j@x.org"});
        EXPECT_TRUE(ok->isEnabled());
        EXPECT_TRUE(dialog.isVisible()) << "Enter ended the entry, not the window";

        type("x@");
        EXPECT_FALSE(ok->isEnabled()) << "what is being typed is not an address";
        type(",");
        const std::string wrong = "Button|x@, not an e-mail address|Press,Remove,SetFocus";
        EXPECT_EQ(readingOf(dialog, "[|].+[|]"), // what has a name
                  "Dialog|Share by email|\nGraphic|File|\nStaticText|Share file 'plan.pdf' with|\n"
                  "Grouping|Recipients|\nButton|John Smith, j@x.org|Press,Remove,SetFocus\n" +
                      wrong +
                      "\nEditableText|Recipients|SetFocus\nStaticText|Not an e-mail address: x@|\n"
                      "StaticText|Address book|\nEditableText|Search|SetFocus\nButton|Add|\n"
                      "Tree|Address book|\nColumnHeader|Name|\nColumnHeader|E-mail|\n"
                      "TreeItem|Ärger Ltd|Toggle\nTreeItem|l@x.org|Toggle\nTreeItem|Joan|Toggle\n"
                      "TreeItem|joan@x.org|Toggle\nTreeItem|Joan|Toggle\nTreeItem|joan@home.org|Toggle\n"
                      "TreeItem|John Smith|Toggle\nTreeItem|j@x.org|Toggle\n"
                      "Button|OK|Press,SetFocus\nButton|Cancel|Press,SetFocus\n");
        perform(dialog, wrong, "Press"); // its text is edited
        EXPECT_EQ(line->text(), "x@");
        type(",");
        key(Qt::Key_Return);
        click(ok);
        EXPECT_TRUE(dialog.isVisible()) << "OK sends nothing to what is not an address";
        EXPECT_EQ(QApplication::focusWidget(), chips().at(1)) << "it shows who";
        key(Qt::Key_Delete);
        EXPECT_EQ(field(), QStringList{"John Smith, j@x.org"});
        EXPECT_EQ(readingOf(dialog, "Not an"), "");

        type("removed,");
        perform(dialog, "Button|removed, not an e-mail address|Press,Remove,SetFocus", "Remove");
        type("k@y.org");
        click(search);
        EXPECT_EQ(chips().size(), 2U) << "leaving the field ends the entry";
        EXPECT_EQ(peopleInPicker(), (QStringList{"Ärger Ltd l@x.org", "Joan joan@x.org", "Joan joan@home.org",
                                                 "John Smith j@x.org"}));
        type("home");
        ASSERT_EQ(picker->model()->rowCount(), 1);
        const QPoint row = picker->visualRect(picker->model()->index(0, 1)).center();
        QTest::mouseClick(picker->viewport(), Qt::LeftButton, {}, row);
        QTest::mouseDClick(picker->viewport(), Qt::LeftButton, {}, row);
        EXPECT_EQ(field(), (QStringList{"John Smith, j@x.org", "k@y.org", "Joan, joan@home.org"}));
        click(ok);
    });
    EXPECT_TRUE(dialog.controller().hasSent());
    EXPECT_TRUE(messages.empty()) << "it is posted on the background queue";
    background.release();
    EXPECT_EQ(messages, std::vector<std::string>{
                            "kTFinderSyncTShareByEmail {\"isDir\":\"file\",\"localPath\":\"/Docs/plan.pdf\","
                            "\"recipients\":[\"j@x.org\",\"k@y.org\",\"joan@home.org\"]}"});
}

TEST_F(ShareWindow, SharesByTheRemotePathOrNotAtAll) {
    EXPECT_EQ(log.lines(), std::vector<std::string>{"Init Share by email with path /home/u/Docs/plan.pdf"});
    dialog.controller().setAllPathsInSync({{"/Space/Docs", "/home/u/Docs/"}});
    dialog.show();
    QTest::keyClicks(line, "k@y.org,");
    const struct {
        platform::Dictionary item;
        const char *info, *icon; // no icon: it cannot be shared
    } cases[] = {
        {{{"path", "/home/u/Docs/a/plan.final.pdf"}}, "Share file 'plan.final.pdf' with", ".pdf"},
        {{{"path", "/home/u/Docs"}, {"isDir", true}}, "Share folder 'Docs' with", "fldr"},
        {{{"remote_path", "/Space/r"}, {"path", "/x"}, {"isDir", 0}}, "Share file 'r' with", "."},
        {{{"remote_path", "/Space/.r"}, {"isDir", 1}}, "Share folder '.r' with", "fldr"},
        {{{"path", "/home/u/Other/x"}}, "'x' is not in a synced folder and cannot be shared", nullptr},
    };
    for (const auto& [item, info, icon] : cases) {
        dialog.controller().shareFile(item);
        QCoreApplication::processEvents();
        EXPECT_EQ(dialog.findChild<QLabel*>("textFieldInfo")->text().toStdString(), info);
        EXPECT_FALSE(ok->isEnabled());
        EXPECT_TRUE(icon == nullptr || dialog.controller().getIconForFile()->name == icon) << info;
        dialog.controller().controlTextDidChange();
        EXPECT_EQ(ok->isEnabled(), icon != nullptr) << info;
    }
    dialog.controller().okAction();
    EXPECT_FALSE(dialog.controller().hasSent());
    for (const auto& [path, info] :
         {std::pair("/proc", "Share folder 'proc' with"), {"/proc/version", "Share file 'version' with"}}) {
        EXPECT_TRUE(eventually([&, path = path, info = info] { // a busy machine may not know it in time
            ShareByEmailDialog ofDisk(around, path);
            return ofDisk.findChild<QLabel*>("textFieldInfo")->text() == info;
        })) << "before it is told of an item";
    }
}

TEST_F(ShareWindow, TheAddressBookGivesNamesToTokens) {
    contacts.everybody = {{"Ann", {}, {"ann@x.org", "both@x.org"}},
                          {"John", "Smith", {"j@x.org", "both@x.org", "gone@x.org"}},
                          {{}, "Nobody", {"gone@x.org"}}};
    std::optional<ShareByEmailDialog> other(std::in_place, around, "/home/u/Docs");
    auto& panel = other->controller();
    const panels::TSFPEmailToken john{"j@x.org", "John Smith"};
    using Objects = std::vector<panels::FieldObject>;
    for (const char* entry : {"jOHn Smith <j@x.org>", "j@x.org (John Smith)", "j@x.org"})
        EXPECT_EQ(panel.shouldAddObjects({entry}), Objects{john}) << entry;
    EXPECT_EQ(panel.shouldAddObjects({john, "a <", "J@x.org"}),
              (Objects{panels::TSFPEmailToken{"J@x.org", {}}}));
    EXPECT_EQ(panel.displayStringForRepresentedObject("ann@x.org"), "Ann");

    // Who comes later; an address that is known keeps its name.
    contacts.further({{"Not John", {}, {"j@x.org"}}, {"Zoë", {}, {"z@x.org", "ann@x.org"}}});
    contacts.further({{"Ann", {}, {"ann@x.org"}}});
    QCoreApplication::processEvents();
    EXPECT_EQ(panel.addressBook(), (panels::AddressIndex{{"ann@x.org", "Ann"},
                                                         {"both@x.org", "John Smith"},
                                                         {"j@x.org", "John Smith"},
                                                         {"z@x.org", "Zoë"}}));
    EXPECT_EQ(panel.people().back().emails, std::vector<std::string>{"z@x.org"});
    EXPECT_EQ(panel.people().size(), 4U);

    panel.shareFile({{"path", "/gone"}});
    contacts.further({{"Late", {}, {"late@x.org"}}});
    other.reset(); // before the main queue has come to either
    QCoreApplication::processEvents();
}

TEST_F(ShareWindow, AddsWhomOneSelectsAndSendsByNothingElse) {
    run([&] {
        type("k@y.org,");
        click(search);
        key(Qt::Key_Return); // nothing is searched for, nobody selected
        EXPECT_EQ(field(), QStringList{"k@y.org"});
        type("nobody");
        EXPECT_FALSE(picker->isVisible());
        key(Qt::Key_Return);
        type("smith"); // in place of the former search
        key(Qt::Key_Return);
        EXPECT_EQ(field(), (QStringList{"k@y.org", "John Smith, j@x.org"}));
        search->clear();
        key(Qt::Key_Down);
        QTest::keyClick(picker, Qt::Key_Home);
        QTest::keyClick(picker, Qt::Key_End, Qt::ShiftModifier);
        contacts.further({{"Zoë", {}, {"z@x.org"}}});
        EXPECT_TRUE(eventually([&] { return peopleInPicker().back() == "Zoë z@x.org"; }));
        click(dialog.findChild<QPushButton*>("add"));
        const QStringList everybody{"k@y.org", "John Smith, j@x.org", "l@x.org", "Joan, joan@x.org",
                                    "Joan, joan@home.org"};
        EXPECT_EQ(field(), everybody) << "all who are selected, nobody twice";
        QTest::keyClick(chips().at(4), Qt::Key_Delete);
        picker->setFocus();
        QTest::keyClick(picker, Qt::Key_End);
        QTest::keyClick(picker, Qt::Key_Up);
        QTest::keyClick(picker, Qt::Key_Up);
        QTest::keyClick(picker, Qt::Key_Return);
        EXPECT_EQ(field(), everybody) << "Enter adds";
        EXPECT_TRUE(dialog.isVisible()) << "and sends nothing";
        auto* cancel = dialog.findChild<QPushButton*>("cancel");
        cancel->setFocus();
        QTest::keyClick(cancel, Qt::Key_Return);
    });
    EXPECT_FALSE(dialog.controller().hasSent()) << "Enter on Cancel is Cancel";
}

TEST_F(ShareWindow, PastesEditsAndRemovesTokens) {
    run([&] {
        QString pasted = "\"Smith, John\" <j@x.org>; a@b.de\nbad";
        for (int number = 0; number < 3000; ++number) // more than a line of text may hold
            pasted += QStringLiteral(",person%1@example.org").arg(number);
        QApplication::clipboard()->setText(pasted);
        QTest::keyClick(line, Qt::Key_V, Qt::ControlModifier);
        EXPECT_EQ(chips().size(), 3003U);
        EXPECT_EQ(field().mid(0, 3),
                  (QStringList{"John Smith, j@x.org", "a@b.de", "bad, not an e-mail address"}));
        EXPECT_EQ(dialog.recipients().back(), "person2999@example.org");
        key(Qt::Key_Left); // from the line to the last token
        key(Qt::Key_Delete);
        EXPECT_EQ(dialog.recipients().back(), "person2998@example.org");
        QTest::mouseDClick(chips().at(2), Qt::LeftButton);
        EXPECT_EQ(line->text(), "bad");
        EXPECT_FALSE(ok->isEnabled());
        line->selectAll();
        type("good@b.de");
        EXPECT_TRUE(ok->isEnabled());

        const int width = dialog.width();
        const std::string longName(212, 'w');
        dialog.controller().shareFile({{"remote_path", "/" + longName}, {"isDir", false}});
        auto* info = dialog.findChild<QLabel*>("textFieldInfo");
        EXPECT_TRUE(eventually([&] { return info->accessibleName().contains(longName.c_str()); }));
        type(",");
        QApplication::clipboard()->setText(QString::fromStdString(longName));
        QTest::keyClick(line, Qt::Key_V, Qt::ControlModifier);
        type(",");
        QCoreApplication::processEvents();
        EXPECT_EQ(dialog.width(), width) << "names without blanks are broken or shortened";
        EXPECT_LE(chips().back()->width(), width);
        key(Qt::Key_Escape);
    });
    EXPECT_FALSE(dialog.controller().hasSent());
}

TEST(Texts, AreShownInTheSessionsLanguage) {
    const platform::DisplayText text{"Share file '%@' with", {"%@.pdf"}};
    setenv("LC_ALL", "de_AT.UTF-8", 1);
    EXPECT_EQ(shown(text), "Datei „%@.pdf“ teilen mit");
    EXPECT_EQ(shown("Cancel"), "Abbrechen");
    for (const char* locale : {"C.UTF-8", "den", "nl_NL"}) {
        setenv("LC_ALL", locale, 1);
        EXPECT_EQ(shown("Cancel"), "Cancel") << locale;
    }
    const struct {
        const char* locale;
        const char* language; // LANGUAGE
        const char* shown;
    } lists[] = {
        {"en_US.UTF-8", "de:en", "Abbrechen"},
        {"de_DE.UTF-8", "fr", "Annuler"},
        {"de_DE.UTF-8", "pt_BR:es_AR:de", "Cancelar"},
        {"de_DE.UTF-8", "en:de", "Cancel"},
        {"de_DE.UTF-8", "pt", "Cancel"},
        {"de_DE.UTF-8", "", "Abbrechen"},
        {"C.UTF-8", "de", "Cancel"},
    };
    for (const auto& list : lists) {
        setenv("LC_ALL", list.locale, 1);
        setenv("LANGUAGE", list.language, 1);
        EXPECT_EQ(shown("Cancel"), list.shown) << list.locale << ' ' << list.language;
    }
    unsetenv("LANGUAGE");
    setenv("LC_ALL", "de", 1);
    translateToolkit();
    EXPECT_EQ(QCoreApplication::translate("QWidgetTextControl", "Select All"), "Alles auswählen")
        << "the toolkit's own texts too";
    setenv("LC_ALL", "it", 1);
    const auto item = platform::MenuItem::create("Cancel");
    EXPECT_EQ(shownTitle(*item), "Annulla");
    item->representedObject = "/Cancel";
    EXPECT_EQ(shownTitle(*item), "Cancel") << "the name of a folder is never translated";
    setenv("LC_ALL", "C.UTF-8", 1);
    delete QCoreApplication::instance()->findChild<QTranslator*>();
}

TEST(Texts, AreBrokenWhereTheyHaveNoBlanks) {
    const std::pair<std::string, std::string> table[] = {
        {"a short/name", "a short/|name"},
        {"/" + std::string(24, 'x') + " y", "/|" + std::string(24, 'x') + " y"},
        {std::string(25, 'x'), "xxxxxxxx|xxxxxxxx|xxxxxxxx|x"},
        // A letter with its accent, a flag: one character each.
        {std::string(24, 'x') + "a\u0301\U0001F1E8\U0001F1ED",
         "xxxxxxxx|xxxxxxxx|xxxxxxxx|a\u0301\U0001F1E8\U0001F1ED"},
    };
    for (const auto& [text, broken] : table)
        EXPECT_EQ(QString::fromStdString(breakable(text)).replace(QChar(0x200B), u'|').toStdString(), broken);
}

} // namespace
} // namespace backends::qt
