#include "backends/contacts/VCardFolder.h"

#include "tests/panels/Surroundings.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace backends::contacts {
namespace {

TEST(VCardFolder, ReadsEveryCardOfEveryFile) {
    const std::filesystem::path folder = std::filesystem::path(testing::TempDir()) / "contacts";
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder / "work");
    std::ofstream(folder / "a.vcf")
        << "\xEF\xBB\xBF"
           "begin:vcard\r\nVERSION:3.0\r\nN:Smith;John;;;\r\nFN:John Smith\r\n"
           "EMAIL;TYPE=work:j@x.org\r\nEMAIL:john@\r\n home.org\r\nEND:VCARD\r\n"
           "noise between cards\r\n"
           "BEGIN:VCARD\r\nVERSION:2.1\r\nN;CHARSET=UTF-8;ENCODING=QUOTED-PRINTABLE:"
           "=C3=84rger;Zo=C3=AB\r\nEMAIL:zoe@x.org\r\nEND:VCARD\r\n"
           "BEGIN:VCARD\r\nVERSION:4.0\r\nFN:Acme\r\nN:Acme;;;;\r\nEMAIL:acme@x.org\r\n"
           "END:VCARD\r\nBEGIN:VCARD\r\nN:Cut;Off\r\n";
    std::ofstream(folder / "work" / "b.vcf") << "BEGIN:VCARD\nVERSION:3.0\nN:;Ann;;;\nEND:VCARD\n";
    std::ofstream(folder / "c.vcf") << "no card at all";
    std::ofstream(folder / "d.txt") << "BEGIN:VCARD\nN:;Not read\nEND:VCARD\n";
    std::filesystem::create_symlink("/nowhere", folder / "e.vcf");

    panels::KeepingLog log;
    const std::vector<platform::Person> people = VCardFolder(folder, log).people();
    ASSERT_EQ(people.size(), 4U);
    EXPECT_EQ(people[0].firstName, "John");
    EXPECT_EQ(people[0].lastName, "Smith");
    EXPECT_EQ(people[0].emails, (std::vector<std::string>{"j@x.org", "john@home.org"}));
    EXPECT_EQ(people[1].firstName, "Zoë");
    EXPECT_EQ(people[1].lastName, "Ärger");
    EXPECT_EQ(people[2].firstName, std::nullopt);
    EXPECT_EQ(people[2].lastName, "Acme");
    EXPECT_EQ(people[3].firstName, "Ann");
    EXPECT_EQ(people[3].lastName, std::nullopt);
    EXPECT_EQ(log.lines,
              std::vector<std::string>{"Contacts file " + (folder / "c.vcf").string() + " holds no card"});
    EXPECT_TRUE(VCardFolder(folder / "missing", log).people().empty());
    std::filesystem::remove_all(folder);
}

} // namespace
} // namespace backends::contacts
