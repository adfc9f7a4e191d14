#include "tests/backends/secret/PrivateKeyring.h"

#include <sys/wait.h>

#include <csignal>
#include <pty.h>
#include <termios.h>
#include <vector>

namespace {

// The program on a terminal of its own.
class OnTerminal {
  public:
    explicit OnTerminal(std::vector<const char*> arguments) {
        arguments.insert(arguments.begin(), {SECRET_PROGRAM, "secret"});
        arguments.push_back(nullptr);
        program = forkpty(&terminal, nullptr, nullptr, nullptr);
        if (program == 0) {
            execv(SECRET_PROGRAM, const_cast<char* const*>(arguments.data()));
            _exit(127);
        }
    }
    ~OnTerminal() { close(terminal); }
    OnTerminal(const OnTerminal&) = delete;
    OnTerminal& operator=(const OnTerminal&) = delete;

    // Reads until the text has been shown; false when the program ends first.
    bool shows(const std::string& text) {
        while (shown.find(text) == std::string::npos) {
            char buffer[4096];
            const ssize_t count = read(terminal, buffer, sizeof buffer);
            if (count <= 0) return false;
            shown.append(buffer, static_cast<std::size_t>(count));
        }
        return true;
    }
    void types(const std::string& text) {
        ASSERT_EQ(write(terminal, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    bool echoes() const {
        termios mode{};
        tcgetattr(terminal, &mode);
        return (mode.c_lflag & ECHO) != 0;
    }
    int waitForEnd() {
        shows("\n(never)");
        int status = 0;
        waitpid(program, &status, 0);
        return status;
    }

    std::string shown;

  private:
    pid_t program = -1;
    int terminal = -1;
};

// The exit status of the program in a shell, and what it wrote.
std::pair<int, std::string> inShell(const std::string& command) {
    const support::Result result = support::run("secret() { " SECRET_PROGRAM " secret \"$@\"; }; " + command);
    return {result.status, result.output};
}

TEST(SecretCommand, FromTheShell) {
    PrivateKeyring keyring;
    EXPECT_EQ(inShell("secret exists s").first, 2);
    EXPECT_EQ(inShell("secret remove s").first, 1);
    keyring.start();
    const std::tuple<const char*, int, const char*> steps[] = {
        {"secret exists s", 1, ""},
        {"secret add s", 0, ""},
        {"secret get s", 1, "tsyncfinder secret: the password is empty\n"},
        {"printf 'two\\nlines\\n' | secret set s", 0, ""},
        {"secret get s", 0, "two\nlines"},
        {"head -c 1048577 /dev/zero | secret set s", 1,
         "tsyncfinder secret: no password on standard input, or more than 1 MiB\n"},
        {"head -c 1048576 /dev/zero | secret set s", 0, ""},
        {"secret get s | wc -c", 0, "1048576\n"},
        {"echo bob | secret set s --field username", 0, ""},
        {"secret get --collection login --field username s", 0, "bob"},
        {"secret rename s t && secret exists t", 0, ""},
        {"secret remove t; secret exists t", 1, ""},
        {"secret remove t", 0,
         "tsyncfinder secret: The specified item could not be found in the secret store.\n"},
    };
    for (const auto& [command, status, output] : steps)
        EXPECT_EQ(inShell(command), std::pair(status, std::string(output))) << command;
    EXPECT_NE(inShell("secret set t password").first, 0); // never in an argument list
}

TEST(SecretCommand, OnATerminalThePasswordIsNotEchoed) {
    PrivateKeyring keyring;
    keyring.start();
    ASSERT_EQ(inShell("secret add s").first, 0);
    OnTerminal set({"set", "s"});
    ASSERT_TRUE(set.shows("password of s: "));
    EXPECT_FALSE(set.echoes());
    set.types("hidden\n");
    EXPECT_EQ(set.waitForEnd(), 0) << set.shown;
    EXPECT_EQ(set.shown, "password of s: \r\n");
    EXPECT_TRUE(set.echoes());
    OnTerminal get({"get", "s"});
    EXPECT_EQ(get.waitForEnd(), 0);
    EXPECT_EQ(get.shown, "hidden\r\n");

    OnTerminal interrupted({"set", "s"});
    ASSERT_TRUE(interrupted.shows("password of s: "));
    interrupted.types("half\x03");
    const int status = interrupted.waitForEnd();
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGINT) << status;
    EXPECT_TRUE(interrupted.echoes());
}

} // namespace
