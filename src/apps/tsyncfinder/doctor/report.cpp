#include "apps/tsyncfinder/doctor/report.h"

#include "apps/tsyncfinder/settings.h"
#include "apps/tsyncquenz/settings.h"
#include "backends/dbus/FinderSync1Client.h"
#include "platform/Value.h"
#include "platform/json.h"

#include <sys/utsname.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <pwd.h>
#include <string_view>
#include <unistd.h>

namespace apps::tsyncfinder::doctor {
namespace {

constexpr std::chrono::seconds answerBound{2};

// Where nothing has a name that a person gave it.
constexpr std::array<std::string_view, 12> namelessFolders{"/usr/", "/etc/",      "/lib/",     "/lib64/",
                                                           "/bin/", "/opt/",      "/proc/",    "/run/user/",
                                                           "/dev/", "~/.config/", "~/.local/", "~/.icons/"};

void replaceAll(std::string& text, const std::string& name, std::string_view placeholder) {
    if (name.empty()) return;
    for (std::size_t at = 0; (at = text.find(name, at)) != std::string::npos; at += placeholder.size())
        text.replace(at, name.size(), placeholder);
}

bool isOfWord(char letter) { return std::isalnum(static_cast<unsigned char>(letter)) != 0 || letter == '_'; }

// Only where it stands for itself: a person may be called "local".
void replaceWord(std::string& text, const std::string& name, std::string_view placeholder) {
    if (name.empty()) return;
    for (std::size_t at = 0; (at = text.find(name, at)) != std::string::npos;) {
        const std::size_t end = at + name.size();
        const bool isWord =
            (at == 0 || !isOfWord(text[at - 1])) && (end == text.size() || !isOfWord(text[end]));
        if (isWord) text.replace(at, name.size(), placeholder);
        at += isWord ? placeholder.size() : 1;
    }
}

bool beginsPath(const std::string& text, std::size_t at) {
    constexpr std::string_view before = " \"'(=:,";
    return (text[at] == '/' || text[at] == '~') &&
           (at == 0 || before.find(text[at - 1]) != std::string_view::npos);
}

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

std::string nameOfSystem() {
    std::ifstream file("/etc/os-release");
    constexpr std::string_view key = "PRETTY_NAME=";
    for (std::string line; std::getline(file, line);)
        if (line.starts_with(key)) return line.substr(key.size());
    return "unknown";
}

std::string countsOfExtension() {
    std::string text;
    try {
        const platform::Dictionary status = backends::dbus::FinderSync1Client(answerBound).status();
        for (const auto& [key, value] : status) {
            if (value.array() != nullptr) // of names: how many
                text += key + "=" + std::to_string(value.array()->size()) + " ";
            else if (value.string() == nullptr)
                text += key + "=" + platform::jsonDescription(value) + " ";
        }
    } catch (const std::exception&) {
        return "does not answer";
    }
    return text;
}

} // namespace

std::string withoutNames(std::string text) {
    const std::string home = variable("HOME");
    if (home.size() > 1) replaceAll(text, home, "~");
    try {
        replaceAll(text, tsyncquenz::storage().value_or(""), "STORAGE");
    } catch (const std::exception&) {
        text = "…"; // whose settings cannot be read, cannot be told from the rest
    }
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (!beginsPath(text, at)) continue;
        const std::string_view path = std::string_view(text).substr(at);
        if (std::none_of(namelessFolders.begin(), namelessFolders.end(),
                         [path](std::string_view folder) { return path.starts_with(folder); }))
            text.replace(at, std::string::npos, "…");
    }
    utsname machine{};
    ::uname(&machine);
    replaceWord(text, machine.nodename, "HOST");
    if (const passwd* person = ::getpwuid(::getuid())) replaceWord(text, person->pw_name, "USER");
    return text;
}

std::string reportOf(const Findings& findings) {
    utsname machine{};
    ::uname(&machine);
    std::string text = "TSyncFinder " TSYNCFINDER_VERSION "\nSystem: " + nameOfSystem() + ", " +
                       machine.sysname + " " + machine.release + " " + machine.machine +
                       "\nDesktop: " + variable("XDG_CURRENT_DESKTOP") + " " + variable("XDG_SESSION_TYPE") +
                       "\nLanguage: " + variable("LC_ALL") + " " + variable("LANG") + " " +
                       variable("LANGUAGE") + "\nSettings:";
    const SettingsRead read = readSettings();
    for (const Setting& setting : settings)
        text += " " + std::string(setting.key) + "=" + read[setting.key];
    text += "\nExtension: " + countsOfExtension() + "\n";
    for (const Finding& finding : findings) {
        constexpr std::array states{"ok", "warning", "problem"};
        // A storage's complaint is somebody else's text, which may name anything.
        const bool isOurs = finding.check != "storage";
        text += std::string(states[static_cast<std::size_t>(finding.state)]) + " " + finding.check +
                (isOurs ? ": " + withoutNames(finding.text) : "") + "\n";
    }
    return text;
}

} // namespace apps::tsyncfinder::doctor
