// The program in a folder with two snapshots: what it prints and how it exits.
#include "tests/support/Programs.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

namespace {

class Dirsnapshot : public testing::Test {
  protected:
    Dirsnapshot() {
        // Records of path length, path, size, kind, and times of modification and of access.
        folder.write("old", "2|/d0|1|5|0|4|/d/x1|2|5|0|5|/gone0|1|5|0|7|/gone/y3|2|5|0|5|/kept4|2|5|0|"
                            "8|/.hidden1|2|5|0|2|/\xFF"
                            "7|2|5|0|");
        folder.write("new", "2|/d0|1|5|0|4|/d/x2|2|6|0|4|/new0|1|5|0|6|/new/l4|3|5|0|"
                            "8|/.hidden1|2|5|0|7|/Caches0|1|5|0|9|/Caches/z1|2|5|0|2|/\xFF"
                            "7|2|5|0|");
        folder.write("cut", "5|/kept4|2|5|0|2|/b");
        folder.write("base/kept", "");
        folder.write("base/d/b\xFF", "x");
        folder.write("odd\\name\nhere", "x");
        std::string deep = "deep";
        for (int i = 0; i < 5; i++)
            deep += "/" + std::string(200, 'x');
        folder.write("deep/a", "hello");
        std::filesystem::create_directories(folder / deep);
    }
    // In the folder, where "d" is the program; what it says on standard error ends up in the file "said".
    support::Result run(const std::string& arguments) const {
        return support::run("cd '" + folder.path() +
                            "' && d() { TZ=UTC '" DIRSNAPSHOT_PROGRAM "' \"$@\" 2>said; }; d " + arguments);
    }
    support::TemporaryFolder folder;
};

TEST_F(Dirsnapshot, PrintsAndExitsAsItsHelpSays) {
    struct Case {
        const char* arguments;
        int code;
        const char* printed;
    };
    const Case cases[] = {
        {"diff old new", 1,
         "A /new\nA /new/l\nA /Caches\nA /Caches/z\nM /d/x\nD /gone\nD /gone/y\nD /kept\n"},
        {"diff --json old old", 0,
         R"({"added":[],"deleted":[],"modified":[],"unchanged":["/d","/d/x","/gone","/gone/y","/kept",)"
         R"("/.hidden","/\u0000ff"]})"
         "\n"},
        {"diff --hashes old new", 1, "A /new\nA /new/l\nM /d/x\nD /gone\nD /kept\n"},
        {"diff --hashes old new --base base --json", 1,
         R"({"added":[{"path":"/new","size":0,"type":1},{"path":"/new/l","size":4,"type":3}],)"
         R"("deleted":[{"path":"/gone","size":0,"type":1}],"modified":[{"path":"/d/x","size":2,"type":2}]})"
         "\n"},
        {"diff --hashes old new --ignore-deleted --base /b/ --exclude /b/d/x --exclude l", 1, "A /new\n"},
        {"diff --hashes new old --exclude gone --exclude kept --exclude d --exclude new", 0, ""},
        {"diff --hashes --json new new", 0, "{\"added\":[],\"deleted\":[],\"modified\":[]}\n"},
        {"diff --hashes old new --exclude d/x", 2, ""},
        {"diff --base base old new", 2, ""},
        {"diff --hashes old missing", 2, ""},
        {"count old", 0, "4\n"},
        {"count old --hidden --recursive --json", 0, "{\"count\":5}\n"},
        {"count old gone --recursive", 0, "1\n"},
        {"count old /missing", 2, ""},
        {"excluded /Users/u/Library/Caches/x", 0, "excluded\n"},
        {"excluded /", 1, "not excluded\n"},
        {"excluded --json /Users/u/a.txt", 1, "{\"excluded\":false}\n"},
        {"excluded Cache discord ''", 0, "excluded\n"},
        {"excluded Caches", 2, ""},
        {"excluded Cache discord", 2, ""},
        {"ls new /new --json", 0,
         R"([{"modified":5,"path":"/new/l","size":4,"started":0,"type":3}])"
         "\n"},
        {"ls old /gone --ndjson && d ls old --ndjson | tail -n 1", 0,
         "{\"modified\":5,\"path\":\"/gone/y\",\"size\":3,\"started\":0,\"type\":2}\n"
         "{\"modified\":5,\"path\":\"/\\u0000ff\",\"size\":7,\"started\":0,\"type\":2}\n"},
        {"ls base --null --recursive | tr '\\0' 0", 0,
         "/d0/d/b\xFF"
         "0/kept0"},
        {"sha1 --null odd* base/kept | tr '\\0' 0", 0,
         "11f6ad8ec52a2984abaafd7c3b516503785c2072  odd\\name\nhere0"
         "da39a3ee5e6b4b0d3255bfef95601890afd80709  base/kept0"},
        {"ls new --null --ndjson", 2, ""},
        {"ls new /d", 0, "-            2 1970-01-01 00:00:06 +0000 /d/x\n"},
        {"ls old --recursive --type flat | grep -ac ' /'", 0, "7\n"},
        // SHA-1 of 06 00 00 00 00 00 00 00 02 00 00 00 00 00 00 00 'x'
        {"hash new /d/x", 0, "e3ae8bd724cf091d8f0517047e423c703a9692a5  /d/x\n"},
        {"hash old --recursive --json | grep -o path | wc -l", 0, "8\n"},
        {"match '*.tmp' /a/b.tmp", 0, "match\n"},
        {"match --json x /a", 1, "{\"match\":false}\n"},
        {"convert old s --from flat --to sync && d convert s back --from sync --to flat && cmp old back", 0,
         ""},
        {"convert old d.db --from flat --to sync && d count d.db && test -e d.db", 0, "4\n"},
        {"scan base -o top --type backup --no-recursive && d count top && d ls top d --json", 0, "2\n[]\n"},
        {"scan base -o first --since first && d diff first base && d scan base -o next --type sync --since "
         "first && d scan base -o last --since next --structure && d diff last base && wc -c <last.evidence",
         0, "216\n"}, // a head of 24 bytes and 48 for each of four items
        {"scan deep -o most", 2, ""},
        {"ls most | grep -ac /a", 0, "1\n"},
        {"sha1 - <base/kept", 0, "da39a3ee5e6b4b0d3255bfef95601890afd80709  -\n"},
        {"sha1 'odd\\name\nhere'", 0, "\\11f6ad8ec52a2984abaafd7c3b516503785c2072  odd\\\\name\\nhere\n"},
        // What a snapshot that is cut holds is shown; nothing counts as whole.
        {"ls cut", 2, "-            4 1970-01-01 00:00:05 +0000 /kept\n"},
        {"diff cut cut", 2, ""},
        {"diff cut old", 2, "A /d\nA /d/x\nA /gone\nA /gone/y\nA /.hidden\nA /\xFF\n"},
        {"diff old cut", 2, "D /d\nD /d/x\nD /gone\nD /gone/y\nD /.hidden\nD /\xFF\n"},
        {"convert cut none --from flat --to flat", 2, ""},
        {"ls none", 2, ""},
        {"", 2, ""},
        {"nothing", 2, ""},
        {"nothing --help", 2, ""},
        {"sha1 nothing", 2, ""},
        {"ls base /none", 2, ""},
        {"ls base/kept --type odd", 2, ""},
        {"scan base/kept -o s", 2, ""},
        {"scan base -o no/folder", 2, ""},
        {"scan base -o no/folder --type sync", 2, ""},
        {"scan base -o base/d --type flat", 2, ""},
        {"scan base -o /dev/full", 2, ""},
        {"convert odd* s --from flat --to flat", 2, ""},
        {"diff base nothing --json", 2, ""},
        {"ls base >/dev/full", 2, ""},
        {"ls --help >/dev/full", 2, ""},
        {"count --odd old", 2, ""},
    };
    for (const Case& each : cases) {
        const support::Result result = run(each.arguments);
        EXPECT_EQ(result.status, each.code) << each.arguments;
        EXPECT_EQ(result.output, each.printed) << each.arguments;
        EXPECT_EQ(support::contentOf(folder / "said").empty(), each.code != 2) << each.arguments;
    }
    EXPECT_EQ(support::contentOf(folder / "said"),
              "dirsnapshot: count: The following argument was not expected: --odd; see --help\n");
    // A database that is new and of which a part is missing goes again.
    EXPECT_THAT(run("--help").output, testing::HasSubstr("\\u0000"));
    const support::Result full =
        run("--version; trap '' XFSZ; ulimit -f 8; d convert old full --from flat --to sync");
    EXPECT_EQ(full.status, 2);
    EXPECT_FALSE(std::filesystem::exists(folder / "full.db"));
    EXPECT_THAT(full.output, testing::MatchesRegex("[0-9.]+\n"));
}

} // namespace
