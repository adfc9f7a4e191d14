#include "hosts/terminal/EntryWatch.h"

#include <sys/inotify.h>

#include <array>
#include <unistd.h>

namespace hosts::terminal {
namespace {

constexpr std::uint32_t comesAndGoes =
    IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_ONLYDIR | IN_DONT_FOLLOW;

} // namespace

EntryWatch::EntryWatch() : notifier(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {}

EntryWatch::~EntryWatch() {
    if (notifier >= 0) ::close(notifier);
}

void EntryWatch::add(const std::string& directory) {
    const int number = ::inotify_add_watch(notifier, directory.c_str(), comesAndGoes);
    if (number >= 0) directories[number] = directory;
}

std::vector<std::string> EntryWatch::take(bool& isLost) {
    std::vector<std::string> paths;
    alignas(inotify_event) std::array<char, 16'384> buffer;
    for (;;) {
        const ssize_t count = ::read(notifier, buffer.data(), buffer.size());
        if (count <= 0) return paths;
        for (std::size_t at = 0; at < static_cast<std::size_t>(count);) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer.data() + at);
            at += sizeof *event + event->len;
            isLost = isLost || (event->mask & IN_Q_OVERFLOW) != 0;
            const auto directory = directories.find(event->wd);
            if (directory == directories.end()) continue;
            if ((event->mask & IN_IGNORED) != 0)
                directories.erase(directory);
            else if (event->len > 0)
                paths.push_back((directory->second == "/" ? "" : directory->second) + "/" + event->name);
        }
    }
}

} // namespace hosts::terminal
