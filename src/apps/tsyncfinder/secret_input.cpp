#include "apps/tsyncfinder/secret_input.h"

#include <sys/signalfd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <iostream>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace apps::tsyncfinder {
namespace {

// Holds back the signals of the terminal and turns its echo off, until the end of the object.
class QuietTerminal {
  public:
    QuietTerminal(int descriptor, bool echo) : terminal(descriptor) {
        sigset_t signals;
        sigemptyset(&signals);
        for (const int signal : {SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGTSTP})
            sigaddset(&signals, signal);
        pthread_sigmask(SIG_BLOCK, &signals, &formerSignals);
        pending = signalfd(-1, &signals, SFD_CLOEXEC);
        tcgetattr(terminal, &formerMode);
        termios mode = formerMode;
        if (!echo) mode.c_lflag = (mode.c_lflag & ~static_cast<tcflag_t>(ECHO)) | ECHONL;
        tcsetattr(terminal, TCSAFLUSH, &mode);
    }
    QuietTerminal(const QuietTerminal&) = delete;
    QuietTerminal& operator=(const QuietTerminal&) = delete;
    ~QuietTerminal() {
        tcsetattr(terminal, TCSAFLUSH, &formerMode);
        if (pending >= 0) close(pending);
        pthread_sigmask(SIG_SETMASK, &formerSignals, nullptr);
    }

    // Waits until a line can be read; false when a signal has come first.
    bool waitForLine() const {
        pollfd ready[] = {{terminal, POLLIN, 0}, {pending, POLLIN, 0}};
        while (poll(ready, 2, -1) < 0 && errno == EINTR) {
        }
        return ready[1].revents == 0;
    }

  private:
    int terminal;
    int pending = -1; // readable while one of the held back signals waits
    termios formerMode{};
    sigset_t formerSignals{};
};

// Up to the end of the input, or of its first line.
std::optional<platform::SecretBytes> readBytes(int input, bool oneLine) {
    platform::SecretBytes bytes(std::size_t{4096});
    std::size_t used = 0;
    for (;;) {
        if (used == bytes.view().size()) {
            if (used > longestSecret) return std::nullopt;
            platform::SecretBytes larger(used * 2);
            std::ranges::copy(bytes.view(), larger.bytes().begin());
            bytes = std::move(larger);
        }
        const ssize_t count = read(input, bytes.bytes().data() + used, bytes.view().size() - used);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 || (count == 0 && oneLine)) return std::nullopt;
        used += static_cast<std::size_t>(count);
        if (count == 0 || (oneLine && bytes.view()[used - 1] == '\n')) break;
    }
    if (used > 0 && bytes.view()[used - 1] == '\n') --used;
    if (used > longestSecret) return std::nullopt;
    bytes.shrinkTo(used);
    return bytes;
}

} // namespace

std::optional<platform::SecretBytes> readSecret(int input, const std::string& prompt, bool echo) {
    if (!isatty(input)) return readBytes(input, false);
    for (;;) {
        const QuietTerminal terminal(input, echo);
        std::cerr << prompt << std::flush;
        if (terminal.waitForLine()) return readBytes(input, true);
    }
}

} // namespace apps::tsyncfinder
