// The program in a folder with two snapshots: what it prints and how it exits.
#include "tests/support/Programs.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

namespace {

// Below the head, which has the colours: 90 of 100 bytes take nine tenths of what is in the border.
constexpr const char* kPicture = R"(<rect x="0.0" y="0.0" width="200.0" height="80.0" class="d0"><title>/
100</title></rect>
<text x="2.0" y="12.0" class="d">/  100</text>
<rect x="2.0" y="16.0" width="176.4" height="62.0" class="e7"><title>/&lt;&amp;&gt;
90</title></rect>
<text x="4.0" y="28.0">&lt;&amp;&gt;  90</text>
<rect x="178.4" y="16.0" width="19.6" height="62.0" class="d1"><title>/d.d
10</title></rect>
<rect x="180.4" y="18.0" width="15.6" height="58.0" class="e0"><title>/d.d/)"
                                 "\xEF\xBF\xBD"
                                 R"(.A
10</title></rect>
<rect x="2.0" y="84.0" width="12" height="12" class="e0"/>
<text x="18.0" y="94.0">.a  10</text>
</svg>
)";

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
        folder.write("markup", "4|/<&>90|2|5|0|8|/d.d/\xFF."
                               "A10|2|5|0|2|/e0|2|5|0|");
        folder.write("sizes",
                     "2|/a1023|2|5|0|2|/b1024|2|5|0|2|/c10137|2|5|0|2|/d10138|2|5|0|2|/e1047553|2|5|0|"
                     "2|/f9223372036854775807|2|5|0|2|/g-5|2|5|0|");
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
        return support::run(
            "cd '" + folder.path() +
            "' && d() { TZ=UTC LS_COLORS=di=31 '" DIRSNAPSHOT_PROGRAM "' \"$@\" 2>said; }; d " + arguments);
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
        {"diff --null old new >o; c=$?; tr '\\0' @ <o; exit $c", 1,
         "M /d/x@A /new@A /new/l@A /Caches@A /Caches/z@D /gone@D /gone/y@D /kept@"},
        {"diff --ndjson new old | head -n 2", 0,
         R"({"change":"added","is":{"mtime":5,"size":0,"type":1},"path":"/gone"})"
         "\n"
         R"({"change":"added","is":{"mtime":5,"size":3,"type":2},"path":"/gone/y"})"
         "\n"},
        {"diff --hashes old new --ignore-deleted --base / --exclude new --ndjson", 1,
         R"({"change":"modified","is":{"size":2,"type":2},"path":"/d/x"})"
         "\n"},
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
        {"ls new /d --color always", 0, "-            2 1970-01-01 00:00:06 +0000 \033[31m/d/\033[0mx\n"},
        {"diff old new --color always | head -n 2 && d diff --hashes old new --color=always | tail -n 1", 0,
         "\033[32mA\033[0m \033[31m/\033[0m\033[31mnew\033[0m\n"
         "\033[32mA\033[0m \033[31m/new/\033[0m\033[01;36ml\033[0m\n"
         "\033[31mD\033[0m \033[31m/\033[0mkept\n"},
        {"diff old new --fields --color always | grep -a x", 0, "\033[33mM\033[0m \033[31m/d/\033[0mx\n"},
        {"size new --bytes", 0, "2\t/d\n0\t/new\n1\t/Caches\n11\t/\n"},
        {"size new --bytes --top 3 --files --json", 0,
         R"([{"path":"/","size":11},{"path":"/\u0000ff","size":7},{"path":"/d","size":2}])"
         "\n"},
        {"size new /new --files --null | tr '\\0' 0", 0, "0\t/new/l00\t/new0"},
        {"size new --depth 0 --ndjson", 0, "{\"path\":\"/\",\"size\":11}\n"},
        {"size sizes --files", 0,
         "1023\t/a\n1.0K\t/b\n9.9K\t/c\n10K\t/d\n1.0M\t/e\n8.0E\t/f\n0\t/g\n8.0E\t/\n"},
        {"size new --top 0", 2, ""},
        {"size cut", 2, "4\t/\n"},
        {"map markup m.svg --width 200 --height 100 && tail -n +6 m.svg", 0, kPicture},
        {"map new no/folder.svg", 2, ""},
        {"map new /dev/full", 2, ""},
        {"map new m.svg --width 1", 2, ""},
        {"--complete map --wi", 0, "--width\tPixels\n"},
        {"--complete ls --color a", 0, "auto\t\nalways\t\n"},
        {"--complete ls --color=n && d --complete ls --color = && d --complete ls --color = n s", 0,
         "--color=never\t\nauto\t\nalways\t\nnever\t\n"},
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
    // On a terminal, unless NO_COLOR says something.
    EXPECT_THAT(run("--version; for no in '' 1; do LS_COLORS=di=31 TERM=xterm NO_COLOR=$no script -qc "
                    "\"'" DIRSNAPSHOT_PROGRAM "' ls new /d\" /dev/null; done")
                    .output,
                testing::ContainsRegex(" \033\\[31m/d/\033\\[0mx\r\n.* /d/x\r\n"));
    // No name writes to a terminal; another program gets it byte for byte, and whoever asks for bytes.
    const std::string raw = "\033[2J\xC2\x9B\xFF\xC3\xBC";
    folder.write("c/" + raw, "");
    std::string shown;
    for (int i = 0; i < 5; i++)
        shown += "?[2J??\xC3\xBC\n" + raw + "\n";
    EXPECT_EQ(run("--version >v; for it in 'ls c' 'diff base c' 'diff base c --fields' "
                  "'size c --files' 'hash c --recursive' 'ls c --null'; do script -qc \"'" DIRSNAPSHOT_PROGRAM
                  "' $it\" /dev/null; echo; d $it; echo; done | "
                  "LC_ALL=C grep -ao '[?[:cntrl:]]\\[2J[^[:cntrl:]]*'")
                  .output,
              shown + raw + "\n" + raw + "\n");
    // A database that is new and of which a part is missing goes again.
    EXPECT_THAT(run("--help").output, testing::HasSubstr("\\u0000"));
    const support::Result full =
        run("--version; trap '' XFSZ; ulimit -f 8; d convert old full --from flat --to sync");
    EXPECT_EQ(full.status, 2);
    EXPECT_FALSE(std::filesystem::exists(folder / "full.db"));
    EXPECT_THAT(full.output, testing::MatchesRegex("[0-9.]+\n"));
}

TEST_F(Dirsnapshot, ComparesFieldsContentsAndPlaces) {
    folder.write("was", "2|/a1|2|5|0|2|/b1|2|5|0|2|/c1|2|5|0|2|/e9|2|9|0|");
    folder.write("now", "2|/a2|2|5|0|2|/b1|2|4|0|2|/c1|3|5|0|2|/f9|2|9|0|");
    const std::string forger = "sed -zi -E 's/^[0-9a-f]{40}(( [0-9]+){5}) [0-9]+ /" + std::string(40, '7') +
                               "\\1 9000000000000000000 /' j; printf torn >>j; ";
    struct Case {
        std::string script;
        int code;
        const char* printed;
    };
    const Case cases[] = {
        {"diff was now --ignore type,mtime --ignore size", 1, "D /e\nA /f\n"},
        {"diff was now --fields", 1, "M /a\nM /b\nM /c\nD /e\nA /f\n"},
        {"diff was now --moves --ignore mtime --json", 1,
         R"([{"change":"modified","fields":["size"],"is":{"mtime":5,"size":2,"type":2},"path":"/a",)"
         R"("was":{"mtime":5,"size":1,"type":2}},)"
         R"({"change":"modified","fields":["type"],"is":{"mtime":5,"size":1,"type":3},"path":"/c",)"
         R"("was":{"mtime":5,"size":1,"type":2}},)"
         R"({"by":"attributes","change":"moved","fields":[],"from":"/e","is":{"mtime":9,"size":9,"type":2},)"
         R"("path":"/f","was":{"mtime":9,"size":9,"type":2}}])"
         "\n"},
        {"diff was now --ignore odd", 2, ""},
        {"diff was now --fields --hashes", 2, ""},
        {"diff was now --content --resume j", 2, ""},
        {"diff was now --resume j", 2, ""},
        {"diff was was --fields --ndjson", 0, ""},
        // By inodes, from the evidence beside a snapshot.
        {"scan base -o s --since s && mkdir base/n && mv base/d base/n/d && echo >>base/kept && mv base/kept "
         "base/n/k && d diff --moves s base --null >o; c=$?; tr '\\0' @ <o; exit $c",
         1, "A /n@R /d@/n/d@RM /kept@/n/k@"},
        {"scan base -o s2 --since s && d diff --moves s2 s", 1, "R /n/d -> /d\nRM /n/k -> /kept\nD /n\n"},
        // By what the files hold.
        {"scan base -o p >o && mkdir p1 q1 && printf aa >p1/x && printf bb >q1/x && touch -d @5 p1/x q1/x && "
         "d "
         "diff --fields p1 q1",
         0, ""},
        {"diff --content p1 q1 --resume j", 1, "M /x\n"},
        {"diff --content p1 q1 --ndjson", 1,
         R"({"change":"modified","fields":["content"],)"
         R"("is":{"content":"9a900f538965a426994e1e90600920aff0b4e8d2","mtime":5,"size":2,"type":2},)"
         R"("path":"/x",)"
         R"("was":{"content":"e0c9035898dd52fc65c41454cec9c4d2611bfb37","mtime":5,"size":2,"type":2}})"
         "\n"},
        // What is kept is believed and goes on behind its last whole record; a changed file is read again.
        {"--version >o; " + forger + "d diff --content p1 q1 --resume j && tr -cd '\\0' <j | wc -c", 0,
         "3\n"},
        {"scan p1 -o ps && printf cc >p1/y && touch -d @5 p1/y && mv p1/y p1/x && d diff --content ps p1 "
         "--resume "
         "j; echo $?; tr -cd '\\0' <j | wc -c",
         0, "M /x\n1\n4\n"},
        {"diff --content ps p1", 2, ""},
        {"--version >o; touch -d @6 p1/x; d diff --content ps p1 --ignore mtime --resume j2", 2, ""},
        {"diff --content p1 q1 --resume was && exit 9; cat was", 0,
         "2|/a1|2|5|0|2|/b1|2|5|0|2|/c1|2|5|0|2|/e9|2|9|0|"},
        {"diff --content p1 q1 --resume no/folder", 2, ""},
    };
    for (const Case& each : cases) {
        const support::Result result = run(each.script);
        EXPECT_EQ(result.status, each.code) << each.script;
        EXPECT_EQ(result.output, each.printed) << each.script << support::contentOf(folder / "said");
    }
}

} // namespace
