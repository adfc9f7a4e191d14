// The command-line tool from outside: arguments in, exit code, output and files out.
#include "platform/Json.h"
#include "tests/snapshot/support.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <fcntl.h>

namespace {

using testing::HasSubstr;

struct Finished {
    int code;
    std::string output;
    std::string messages;
};

Finished shell(const std::string& command) {
    FILE* pipe = popen((command + " 2>messages").c_str(), "r");
    std::string output;
    char buffer[4096];
    while (size_t count = fread(buffer, 1, sizeof buffer, pipe))
        output.append(buffer, count);
    int status = pclose(pipe);
    Finished run{WIFEXITED(status) ? WEXITSTATUS(status) : -1, output, contents("messages")};
    std::filesystem::remove("messages");
    return run;
}

Finished tool(const std::string& arguments) { return shell(DIRSNAPSHOT_PROGRAM " " + arguments); }

class DirsnapshotTool : public InNewFolder {
  protected:
    DirsnapshotTool() {
        std::filesystem::create_directories("t/d");
        store("t/a.txt", "hello world\n");
        store("t/d/b\xFF", "");
        std::filesystem::create_symlink("a.txt", "t/l");
        setTime("t/a.txt", 1600000000);
        setTime("t/d/b\xFF", 1600000200);
        setTime("t/l", 1600000300);
        setTime("t/d", 1600000400);
    }

    static void setTime(const char* path, time_t seconds) {
        const timespec times[2] = {{seconds + 1, 0}, {seconds, 0}};
        EXPECT_EQ(utimensat(AT_FDCWD, path, times, AT_SYMLINK_NOFOLLOW), 0);
    }
};

TEST_F(DirsnapshotTool, ScansListsAndConverts) {
    EXPECT_EQ(tool("scan t -o s").code, 0);
    std::string bytes = contents("s");
    EXPECT_THAT(bytes, testing::StartsWith("6|/a.txt12|2|1600000000|1600000001|2|/d"));
    EXPECT_THAT(bytes, HasSubstr("5|/d/b\xFF"
                                 "0|2|1600000200|1600000201|2|/l5|3|1600000300|1600000301|"));
    EXPECT_EQ(tool("ls s d --json").output, "[{\"modified\":1600000200,\"path\":\"/d/"
                                            "b\\u0000ff\",\"size\":0,\"started\":1600000201,\"type\":2}]\n");
    EXPECT_EQ(tool("ls s /a.txt").output.substr(0, 15), "-           12 ");
    Finished everything = tool("ls s --recursive --type flat");
    EXPECT_EQ(std::count(everything.output.begin(), everything.output.end(), '\n'), 4) << everything.output;
    EXPECT_THAT(everything.output, HasSubstr(" /d/b\xFF\n"));

    for (const char* done : {"convert s q --from flat --to sync", "convert q r --from sync --to flat",
                             "scan t -o n --type backup --no-recursive"}) {
        Finished run = tool(done);
        EXPECT_EQ(run.code, 0) << done;
        EXPECT_EQ(run.output + run.messages, "") << done;
    }
    EXPECT_EQ(contents("r"), bytes);
    EXPECT_EQ(tool("ls n d --json").output, "[]\n");
}

TEST_F(DirsnapshotTool, ComparesAndHashes) {
    ASSERT_EQ(tool("scan t -o old").code, 0);
    Finished same = tool("diff old t");
    EXPECT_EQ(same.code, 0);
    EXPECT_EQ(same.output, "");
    EXPECT_EQ(tool("diff t t --json").output, "{\"added\":[],\"deleted\":[],\"modified\":[],\"unchanged\":["
                                              "\"/a.txt\",\"/d\",\"/d/b\\u0000ff\"]}\n");
    store("t/new", "");
    std::filesystem::remove("t/l");
    setTime("t/a.txt", 1700000000);
    Finished different = tool("diff old t");
    EXPECT_EQ(different.code, 1);
    EXPECT_EQ(different.output, "A /new\nM /a.txt\nD /l\n");

    auto hashes = platform::valueOfJson(tool("hash old --recursive --json").output);
    ASSERT_TRUE(hashes && hashes->array() && hashes->array()->size() == 5);
    EXPECT_EQ(*find(*hashes->array()->at(1).dictionary(), "path"), platform::Value("/a.txt"));
    EXPECT_EQ(tool("hash old a.txt").output, "494fe2ff2530830cfbdfbbe5f376141de2364bb5  /a.txt\n");
}

TEST_F(DirsnapshotTool, AnswersByItsExitCode) {
    const struct {
        const char* arguments;
        int code;
        const char* output;
    } cases[] = {
        {"excluded Caches '' ''", 0, "excluded\n"},
        {"excluded Cache Library '' --json", 1, "{\"excluded\":false}\n"},
        {"match '*.tmp' /a/b.tmp", 0, "match\n"},
        {"match x /a/b.tmp --json", 1, "{\"match\":false}\n"},
        {"match 'a|*)|(' /x", 1, "no match\n"},
        {"sha1 nothing", 2, ""},
        {"ls t /none", 2, ""},
        {"ls nothing", 2, ""},
        {"ls a.txt --type odd", 2, ""},
        {"scan t/a.txt -o s", 2, ""},
        {"scan t -o no/folder", 2, ""},
        {"scan t -o t/d --type flat", 2, ""},
        {"scan t -o /dev/full", 2, ""},
        {"scan t -o no/folder --type sync", 2, ""},
        {"convert t/a.txt s --from flat --to flat", 2, ""},
        {"diff t nothing --json", 2, ""},
        {"ls t >/dev/full", 2, ""},
        {"ls --help >/dev/full", 2, ""},
        {"", 2, ""},
    };
    for (const auto& [arguments, code, output] : cases) {
        Finished run = tool(arguments);
        EXPECT_EQ(run.code, code) << arguments << run.messages;
        EXPECT_EQ(run.output, output) << arguments;
        EXPECT_EQ(run.messages.empty(), code != 2) << arguments;
    }
    for (const char* command : {"", "scan", "ls", "diff", "hash", "convert", "excluded", "match", "sha1"}) {
        Finished help = tool(std::string(command) + " --help");
        EXPECT_EQ(help.code, 0);
        EXPECT_THAT(help.output, HasSubstr("\\u0000"));
    }
}

TEST_F(DirsnapshotTool, TellsWhenAPartIsMissing) {
    store("cut", "2|/a1|2|1|1|2|/b");
    Finished listing = tool("ls cut --json");
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
    EXPECT_THAT(contents("most"), HasSubstr("/a.txt12|2|"));
}

TEST_F(DirsnapshotTool, PrintsDigestsAsSha1sumDoes) {
    store("odd\\name\nhere", "x");
    for (const char* files : {"t/a.txt 'odd\\name\nhere'", "- <t/a.txt"})
        EXPECT_EQ(tool("sha1 " + std::string(files)).output, shell("sha1sum " + std::string(files)).output);
}

} // namespace
