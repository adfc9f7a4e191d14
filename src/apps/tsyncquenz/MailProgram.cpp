#include "apps/tsyncquenz/MailProgram.h"

#include "apps/tsyncquenz/settings.h"
#include "backends/posix/ChildProcess.h"

#include <sdbus-c++/sdbus-c++.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <sstream>
#include <system_error>
#include <unistd.h>

namespace apps::tsyncquenz {
namespace {

using service::Done;
using service::Failure;
using service::Mail;
using service::Outcome;
using service::Trouble;

constexpr auto portal = "org.freedesktop.portal.Desktop";
constexpr auto portalObject = "/org/freedesktop/portal/desktop";
constexpr auto emailInterface = "org.freedesktop.portal.Email";
constexpr std::uint32_t versionOfSeveral = 3; // of the interface, the first that takes several recipients
constexpr std::chrono::seconds portalBound{25};

// False where there is no portal, or one that cannot.
bool composeByPortal(const Mail& mail) {
    try {
        const auto connection = sdbus::createSessionBusConnection();
        const auto proxy = sdbus::createProxy(*connection, portal, portalObject);
        const std::uint32_t version = proxy->getProperty("version").onInterface(emailInterface);
        std::map<std::string, sdbus::Variant> options{{"subject", sdbus::Variant(mail.subject)},
                                                      {"body", sdbus::Variant(mail.text)}};
        if (version >= versionOfSeveral)
            options.emplace("addresses", sdbus::Variant(mail.recipients));
        else if (mail.recipients.size() == 1)
            options.emplace("address", sdbus::Variant(mail.recipients.front()));
        else
            return false;
        auto call = proxy->createMethodCall(emailInterface, "ComposeEmail");
        call << std::string() << options; // no parent window
        proxy->callMethod(call, portalBound);
        return true;
    } catch (const sdbus::Error&) {
        return false;
    }
}

std::string programInPath(const std::string& name) {
    const char* path = std::getenv("PATH");
    std::istringstream folders(path != nullptr ? path : "");
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (!folder.starts_with('/')) continue;
        std::string program = std::filesystem::path(folder) / name;
        if (::access(program.c_str(), X_OK) == 0) return program;
    }
    return {};
}

Outcome<Done> composeByXdgEmail(const Mail& mail) {
    const std::string program = programInPath("xdg-email");
    if (program.empty())
        return Failure{Trouble::impossible,
                       "no mail program can be opened: install xdg-utils or a desktop portal"};
    std::vector<std::string> arguments{"--utf8", "--subject", mail.subject, "--body", mail.text};
    for (const std::string& recipient : mail.recipients)
        if (!recipient.starts_with('-')) arguments.push_back(recipient);
    try {
        // The mail program outlives this process.
        backends::posix::ChildProcess child({program, environment(), false, arguments});
        if (child.wait() == 0) return Done{};
    } catch (const std::system_error& error) {
        return Failure{Trouble::impossible, "xdg-email cannot be started: " + error.code().message()};
    }
    return Failure{Trouble::impossible, "xdg-email found no mail program"};
}

} // namespace

Outcome<Done> MailProgram::compose(const Mail& mail) {
    if (composeByPortal(mail)) return Done{};
    return composeByXdgEmail(mail);
}

} // namespace apps::tsyncquenz
