#include "backends/contacts/VCardFolder.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/fakes.h"

#include <gmock/gmock.h>

namespace backends::contacts {
namespace {

TEST(VCardFolder, ReadsEveryCardOfEveryFile) {
    const support::TemporaryFolder folder;
    folder.write("a.vcf", "\xEF\xBB\xBF"
                          "begin:vcard\r\nVERSION:3.0\r\nN:Smith;John;;;\r\nFN:John Smith\r\n"
                          "EMAIL;TYPE=work:j@x.org\r\nEMAIL:john@\r\n home.org\r\nEND:VCARD\r\n"
                          "noise between cards\r\n"
                          "BEGIN:VCARD\r\nVERSION:2.1\r\nN;CHARSET=UTF-8;ENCODING=QUOTED-PRINTABLE:"
                          "=C3=84rger;Zo=C3=AB\r\nEMAIL:zoe@x.org\r\nEND:VCARD\r\n"
                          "BEGIN:VCARD\r\nVERSION:4.0\r\nFN:Acme\r\nN:Acme;;;;\r\nEMAIL:acme@x.org\r\n"
                          "END:VCARD\r\nBEGIN:VCARD\r\nN:Cut;Off\r\n");
    folder.write("work/b.vcf", "BEGIN:VCARD\nVERSION:3.0\nN:;Ann;;;\nFN:Not Ann\nEND:VCARD\n"
                               "BEGIN:VCARD\nVERSION:4.0\nFN:Zoë Lee\nEMAIL:zl@x.org\nEND:VCARD\n"
                               "BEGIN:VCARD\nVERSION:3.0\nN:;;;;\nFN:Ltd\nEND:VCARD\n");
    const std::string noCard = folder.write("c.vcf", "no card at all");
    folder.write("d.txt", "BEGIN:VCARD\nN:;Not read\nEND:VCARD\n");
    std::filesystem::create_symlink("/nowhere", folder / "e.vcf");

    support::RecordingLog log;
    std::vector<std::string> people;
    for (const platform::Person& person : VCardFolder(folder.path(), log).people()) {
        people.push_back(person.firstName.value_or("(none)") + ";" + person.lastName.value_or("(none)"));
        for (const std::string& email : person.emails)
            people.back() += ";" + email;
    }
    EXPECT_THAT(people, testing::ElementsAre("John;Smith;j@x.org;john@home.org", "Zoë;Ärger;zoe@x.org",
                                             "(none);Acme;acme@x.org", "Ann;(none)",
                                             "Zoë Lee;(none);zl@x.org", "Ltd;(none)"));
    EXPECT_THAT(log.lines(), testing::ElementsAre("Contacts file " + noCard + " holds no card"));
    EXPECT_TRUE(VCardFolder(folder.path("missing"), log).people().empty());
}

} // namespace
} // namespace backends::contacts
