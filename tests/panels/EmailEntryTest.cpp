#include "panels/EmailEntry.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace panels {
namespace {

using Strings = std::vector<std::string>;

TEST(EmailEntry, TheWholeTextMustBeAnAddress) {
    for (const char* valid : {"a@b.de", "A.b_c%d+e-f@x-y.z.museum", "1@1.io", "a@..de"})
        EXPECT_TRUE(validateEmail(valid)) << valid;
    for (const char* invalid : {"", "a", "a@b.d", "a@b.abcdefg", "a b@c.de", " a@b.de", "a@b.de ", "a@b.de\n",
                                "@b.de", "a@b.d3", "ä@b.de", "a@b@c.de", "a@b.de, c@d.de", "a@b.de\xff"})
        EXPECT_FALSE(validateEmail(invalid)) << invalid;
    EXPECT_FALSE(validateEmail(std::string_view("a@b.de\0", 7)));
}

TEST(EmailEntry, TheAddressInAnEntry) {
    const std::vector<std::pair<std::string, std::string>> table = {{"john smith <j@x.org>", "j@x.org"},
                                                                    {"j@x.org (John Smith)", "j@x.org"},
                                                                    {"j@x.org", "j@x.org"},
                                                                    {"word", "word"},
                                                                    {"a <b <c@d.ee>", "b <c@d.ee"},
                                                                    {"a (b) <c@d.ee>", "c@d.ee"},
                                                                    {"open <c@d.ee", "c@d.e"},
                                                                    {"a <é", ""},
                                                                    {"a <", ""},
                                                                    {"a <>", ""},
                                                                    {"<j@x.org>", "<j@x.org>"},
                                                                    {" (x)", ""},
                                                                    {"", ""}};
    for (const auto& [entry, address] : table)
        EXPECT_EQ(addressInEntry(entry), address) << entry;
}

TEST(EmailEntry, APastedTextIsCutIntoItsEntries) {
    EXPECT_EQ(entriesInText("a@b.de, c@d.ee;e@f.gg\r\n\n  h@i.jj ,,"),
              (Strings{"a@b.de", "c@d.ee", "e@f.gg", "h@i.jj"}));
    EXPECT_EQ(entriesInText("\"Smith, John\" <j@x.org>, Ann <a,b@x.org>"),
              (Strings{"Smith, John <j@x.org>", "Ann <a,b@x.org>"}));
    EXPECT_EQ(entriesInText("open \"quote, x@y.zz\na@b.de"), (Strings{"open \"quote, x@y.zz", "a@b.de"}));
    EXPECT_EQ(entriesInText(" \n;"), Strings{});
}

TEST(EmailEntry, CompletesNamesFirstAndKeepsWhatWasTyped) {
    const AddressIndex index = {{"ann@x.org", "Ann"},
                                {"jo@x.org", "Émile Zola"},
                                {"john.s@y.org", "John Smith"},
                                {"zo@x.org", "JOHANNA ÄRGER"}};
    EXPECT_EQ(completionsForSubstring(index, "jo"),
              (Strings{"joHANNA ÄRGER <zo@x.org>", "john Smith <john.s@y.org>", "jo@x.org (Émile Zola)"}));
    EXPECT_EQ(completionsForSubstring(index, "JOHN.s"), Strings{"JOHN.s@y.org (John Smith)"});
    EXPECT_EQ(completionsForSubstring(index, "éM"), Strings{"éMile Zola <jo@x.org>"});
    EXPECT_EQ(completionsForSubstring(index, "smith"), Strings{}) << "only beginnings";
    EXPECT_EQ(completionsForSubstring(index, "a.n"), Strings{}) << "a typed dot is a dot";
    EXPECT_EQ(completionsForSubstring(index, "\xff"), Strings{});
    EXPECT_EQ(completionsForSubstring({{"a\xff@x.org", "b\xff"}, {"b@x.org", "c"}}, "b"),
              Strings{"b@x.org (c)"});
}

} // namespace
} // namespace panels
