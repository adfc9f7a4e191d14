#include "panels/TSFPEmailToken.h"
#include "panels/email_entry.h"

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
    const std::vector<std::pair<std::string, std::string>> table = {{"a <b <c@d.ee>", "b <c@d.ee"},
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
    const std::pair<const char*, Strings> table[] = {
        {"a@b.de, c@d.ee;e@f.gg\r\n\n  h@i.jj ,,", {"a@b.de", "c@d.ee", "e@f.gg", "h@i.jj"}},
        {"a@b.de c@d.ee\tbad e@f", {"a@b.de", "c@d.ee", "bad e@f"}},
        {"\"Smith, John\" <j@x.org>, Ann <a,b@x.org>", {"j@x.org", "a", "b@x.org>"}},
        {"\"Smith; John \" <j@x.org>; \"Lee; Ann\" here", {"j@x.org", "Lee; Ann here"}},
        {"Smith, John <j@x.org>; Lee, Ann <a@x.org>", {"j@x.org", "a@x.org"}},
        {"bad, Smith, John <j@x.org>, worse; Ann <a@x.org>", {"bad", "j@x.org", "worse", "a@x.org"}},
        {"John <j@x.org", {"j@x.org"}},
        {"John <j@x.org, Ann <a@x.org\nk@x.org", {"j@x.org", "a@x.org", "k@x.org"}},
        {"John<j@x.org>,<k@x.org>", {"j@x.org", "k@x.org"}},
        {"John < j@x.org > Ann <a@x.org> k@x.org", {"j@x.org", "a@x.org", "k@x.org"}},
        {"a@x.org John <j@x.org>", {"a@x.org", "j@x.org"}},
        {"j@x.org <j@x.org>", {"j@x.org"}},
        {"j@x.org (Smith, John) a@x.org (Ann)", {"j@x.org (Smith, John)", "a@x.org (Ann)"}},
        {"j@x.org (Smith, a@x.org", {"j@x.org (Smith", "a@x.org"}},
        {"a <, <>, b <3", {"a", "<>", "3"}},
        {"open \"quote, x@y.zz\na@b.de", {"open \"quote", "x@y.zz", "a@b.de"}},
        {"5\" disk, k@x.org, \"Ann\" <a@x.org>", {"5\" disk", "k@x.org", "a@x.org"}},
        {" \n;", {}},
    };
    for (const auto& [text, entries] : table)
        EXPECT_EQ(entriesInText(text), entries) << text;
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
    for (const char* completion :
         {"X <y@z.org> <b@x.org>", "b@x.org (X <y@z.org)", "b@x.org (c) (d)", "b@x.org (X <3)"})
        EXPECT_EQ(addressInCompletion(completion), "b@x.org") << completion;
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
