// The command-line tool from outside: arguments in, exit code, output and files out.
#include "platform/json.h"
#include "tests/snapshot/support.h"

#include <gmock/gmock.h>
#include <sys/wait.h>

namespace {

using testing::HasSubstr;

struct Finished {
    int code;
    std::string output;
};

// Standard error ends up in the file "said".
Finished shell(const std::string& command) {
    FILE* pipe = popen((command + " 2>said").c_str(), "r");
    Finished run;
    char buffer[4096];
    while (size_t count = fread(buffer, 1, sizeof buffer, pipe))
        run.output.append(buffer, count);
    run.code = WEXITSTATUS(pclose(pipe));
    return run;
}

Finished tool(const std::string& arguments) { return shell(DIRSNAPSHOT_PROGRAM " " + arguments); }

// A snapshot in the file "s" and a directory "t".
class DirsnapshotTool : public InNewFolder {
  protected:
    DirsnapshotTool() {
        store("s", snapshot);
        std::filesystem::create_directories("t/d");
        store("t/a.txt", "hello world\n");
        store("t/d/b\xFF", "");
    }
    const std::string snapshot = "6|/a.txt12|2|1600000000|1600000001|2|/d0|1|1|2|"
                                 "5|/d/b\xFF"
                                 "0|2|1600000200|1600000201|2|/l5|3|3|4|";
};

TEST_F(DirsnapshotTool, ScansListsAndConverts) {
    EXPECT_EQ(tool("ls s d --json").output, "[{\"modified\":1600000200,\"path\":\"/d/"
                                            "b\\u0000ff\",\"size\":0,\"started\":1600000201,\"type\":2}]\n");
    const std::string everything = tool("ls s --recursive --type flat").output;
    EXPECT_EQ(std::count(everything.begin(), everything.end(), '\n'), 4) << everything;
    EXPECT_THAT(everything, HasSubstr(" /d/b\xFF\n"));
    const auto hashes = platform::valueOfJson(tool("hash s --recursive --json").output);
    ASSERT_TRUE(hashes && hashes->array() && hashes->array()->size() == 5);
    EXPECT_EQ(*find(*hashes->array()->at(1).dictionary(), "path"), platform::Value("/a.txt"));

    for (const char* silent : {"convert s q --from flat --to sync", "convert q r --from sync --to flat",
                               "scan t -o n --type backup --no-recursive", "scan t -o all", "diff all t",
                               "scan t -o again --since again", "scan t -o other --type sync --since again",
                               "scan t -o last --since other --structure", "diff last t"}) {
        const Finished run = tool(silent);
        EXPECT_EQ(run.code, 0) << silent;
        EXPECT_EQ(run.output + support::contentOf("said"), "") << silent;
    }
    EXPECT_EQ(support::contentOf("r"), snapshot);
    EXPECT_EQ(support::contentOf("last.evidence").size(), 24U + 4 * 40);
    EXPECT_EQ(tool("ls n d --json").output, "[]\n");
}

TEST_F(DirsnapshotTool, ExitsWithTwoAndSaysWhy) {
    for (const char* arguments : {
             "sha1 nothing",
             "ls t /none",
             "ls nothing",
             "ls a.txt --type odd",
             "scan t/a.txt -o s",
             "scan t -o no/folder",
             "scan t -o t/d --type flat",
             "scan t -o /dev/full",
             "scan t -o no/folder --type sync",
             "convert t/a.txt s --from flat --to flat",
             "diff t nothing --json",
             "ls t >/dev/full",
             "ls --help >/dev/full",
             "",
         }) {
        const Finished run = tool(arguments);
        EXPECT_EQ(run.code, 2) << arguments;
        EXPECT_EQ(run.output, "") << arguments;
        EXPECT_NE(support::contentOf("said"), "") << arguments;
    }
    EXPECT_THAT(tool("--help").output, HasSubstr("\\u0000"));
}

TEST_F(DirsnapshotTool, TellsWhenAPartIsMissing) {
    store("cut", "2|/a1|2|1|1|2|/b");
    const Finished listing = tool("ls cut --json");
    EXPECT_EQ(listing.code, 2);
    EXPECT_THAT(listing.output, HasSubstr("\"/a\""));
    EXPECT_EQ(tool("diff cut cut").code, 2);
    EXPECT_EQ(tool("convert cut c --from flat --to flat").code, 2);
    EXPECT_FALSE(std::filesystem::exists("c"));

    std::string deep = "t";
    for (int i = 0; i < 5; i++)
        deep += "/" + std::string(200, 'x');
    std::filesystem::create_directories(deep);
    EXPECT_EQ(tool("scan t -o most").code, 2);
    EXPECT_THAT(support::contentOf("most"), HasSubstr("/a.txt12|2|"));
}

TEST_F(DirsnapshotTool, PrintsDigestsAsSha1sumDoes) {
    store("odd\\name\nhere", "x");
    for (const char* files : {"t/a.txt 'odd\\name\nhere'", "- <t/a.txt"})
        EXPECT_EQ(tool("sha1 " + std::string(files)).output, shell("sha1sum " + std::string(files)).output);
}

} // namespace
