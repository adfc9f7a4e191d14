// tsyncfinder-panel: one panel, asked for on standard input and answered on standard output, then it ends.
#include "apps/tsyncfinder-panel/run_panels.h"
#include "apps/tsyncfinder-panel/standard_output.h"
#include "backends/log/StandardErrorLog.h"
#include "backends/qt/drawing.h"
#include "backends/qt/texts.h"
#include "panels/panel_messages.h"

#include <QApplication>
#include <QIcon>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <iterator>
#include <string>
#include <variant>

namespace {

constexpr auto usage =
    "tsyncfinder-panel: shows one panel of the TSyncFinder extension.\n"
    "The extension starts it; it reads a request, one JSON object, from standard input and\n"
    "writes the answer, one JSON object, to standard output. It takes no arguments.\n";

// The toolkit ends the process without a word when there is no display, so it is asked first.
bool hasDisplay() {
    const auto isSet = [](const char* name) {
        const char* value = std::getenv(name);
        return value != nullptr && *value != '\0';
    };
    return isSet("WAYLAND_DISPLAY") || isSet("DISPLAY") || isSet("QT_QPA_PLATFORM");
}

} // namespace

int main(int argumentCount, char** arguments) {
    using namespace apps::panel;
    if (argumentCount > 1) {
        const bool asksForHelp =
            std::strcmp(arguments[1], "--help") == 0 || std::strcmp(arguments[1], "-h") == 0;
        (asksForHelp ? std::cout : std::cerr) << usage;
        return asksForHelp ? EXIT_SUCCESS : panels::PanelExit::unusableRequest;
    }
    const std::string input{std::istreambuf_iterator<char>(std::cin), {}};
    const auto read = panels::panelRequestOfJson(input);
    if (const auto* problem = std::get_if<std::string>(&read)) {
        writeAnswer(panels::lineOf(panels::Refusal{*problem}));
        return panels::PanelExit::unusableRequest;
    }
    const auto& request = std::get<panels::PanelRequest>(read);
    if (!hasDisplay()) {
        writeAnswer(panels::lineOf(panels::Refusal{"there is no display"}));
        return panels::PanelExit::noDisplay;
    }
    if (!request.activationToken.empty()) {
        setenv("XDG_ACTIVATION_TOKEN", request.activationToken.c_str(), 1); // Wayland
        setenv("DESKTOP_STARTUP_ID", request.activationToken.c_str(), 1);   // X
    }

    backends::log::StandardErrorLog log("tsyncfinder-panel", platform::LogLevel::info);
    QApplication application(argumentCount, arguments);
    backends::qt::translateToolkit();
    QApplication::setApplicationName(QStringLiteral("tsyncfinder"));
    QApplication::setDesktopFileName(QStringLiteral("tsyncfinder"));
    QApplication::setPalette(backends::qt::withReadablePlaceholders(QApplication::palette()));
    QApplication::setWindowIcon(QIcon::fromTheme(QStringLiteral("tsyncfinder")));
    if (const auto* destination = std::get_if<panels::DestinationRequest>(&request.panel))
        return runDestinationPanel(request, *destination, log);
    if (const auto* share = std::get_if<panels::ShareRequest>(&request.panel))
        return runSharePanel(request, *share, log);
    return runClipboard(std::get<panels::ClipboardRequest>(request.panel));
}
