#include "apps/tsyncfinder-panel/run_panels.h"

#include "apps/tsyncfinder-panel/DaemonDirectories.h"
#include "apps/tsyncfinder-panel/standard_output.h"
#include "backends/dbus/Bus.h"
#include "backends/dbus/DistributedCenter.h"
#include "backends/dbus/RequestBus.h"
#include "backends/posix/GuardedFileSystem.h"
#include "backends/posix/SerialQueue.h"
#include "backends/qt/MainQueue.h"
#include "backends/qt/SavePanelDialog.h"
#include "backends/qt/ShareByEmailDialog.h"
#include "daemon_client/command_message.h"
#include "platform/NotificationCenter.h"
#ifdef TSYNCFINDER_CONTACTS
#include "backends/contacts/DesktopBooks.h"
#include "backends/contacts/VCardFolder.h"
#endif

#include <QEvent>
#include <QGuiApplication>
#include <QMetaObject>
#include <QWindow>
#include <cstdlib>
#include <memory>
#include <utility>

namespace apps::panel {
namespace {

#ifndef TSYNCFINDER_CONTACTS
struct NoContacts final : platform::AddressBook {
    std::vector<platform::Person> people() override { return {}; }
};
#endif

// Says on standard output that the first frame is on the screen, so that whoever waits can tell a panel that
// a person looks at from one that does not come up. With a token the window comes to the front then: the
// toolkit shows Wayland's to the compositor only with such a wish, and compositors pass over a window that is
// not there yet. Without one nobody asked for the window now, and it stays where it is.
class FirstFrame final : public QObject {
  public:
    FirstFrame(QWidget& ofWindow, bool hasToken)
        : QObject(&ofWindow), window(ofWindow),
          comesToFront(hasToken && QGuiApplication::platformName().startsWith(QLatin1String("wayland"))) {
        window.installEventFilter(this);
    }

  private:
    bool eventFilter(QObject* /*watched*/, QEvent* event) override {
        if (event->type() == QEvent::Paint) {
            window.removeEventFilter(this);
            // The frame goes to the screen when all of it is painted, before the next turn of the loop.
            QMetaObject::invokeMethod(this, &FirstFrame::isShown, Qt::QueuedConnection);
        }
        return false;
    }
    void isShown() {
        writeLine(panels::lineOf(panels::Shown{}));
        if (comesToFront) window.activateWindow();
    }

    QWidget& window;
    const bool comesToFront;
};

// The window belongs to the one that asked, where the window system lets a program say so.
void placeOver(QWidget& dialog, unsigned long parentWindow) {
    if (parentWindow == 0) return;
    dialog.winId(); // makes the window
    if (QWindow* parent = QWindow::fromWinId(static_cast<WId>(parentWindow)))
        dialog.windowHandle()->setTransientParent(parent);
}

} // namespace

int runDestinationPanel(const panels::PanelRequest& request, const panels::DestinationRequest& destination,
                        platform::ProcessLog& log) {
    backends::qt::MainQueue mainQueue;
    backends::posix::GuardedFileSystem fileSystem;
    platform::NotificationCenter localCenter;
    backends::posix::SerialQueue replies("panel-replies");
    backends::dbus::RequestBus requests(replies, localCenter, log);
    DaemonDirectories directories(requests, mainQueue, log);
    backends::qt::SavePanelDialog dialog({directories, mainQueue, fileSystem, log});
    dialog.setPurpose(destination.purpose);
    if (destination.purpose == panels::DestinationPurpose::sync)
        dialog.panel().setForSync(destination.paths.front());
    else
        dialog.panel().setForArchive(destination.paths);
    placeOver(dialog, request.parentXWindow());
    new FirstFrame(dialog, !request.activationToken.empty());
    const int response = dialog.runModal();
    panels::DestinationAnswer answer;
    if (response != panels::cancelResponse) answer.path = dialog.panel().selectedPath();
    writeAnswer(panels::lineOf(answer));
    return panels::PanelExit::answered;
}

int runSharePanel(const panels::PanelRequest& request, const panels::ShareRequest& share,
                  platform::ProcessLog& log) {
    backends::qt::MainQueue mainQueue;
    backends::posix::GuardedFileSystem fileSystem;
#ifdef TSYNCFINDER_CONTACTS
    backends::contacts::VCardFolder folder(backends::contacts::contactsFolder(), log);
    backends::contacts::DesktopBooks addressBook(folder, log);
#else
    NoContacts addressBook;
#endif
    std::unique_ptr<backends::dbus::Bus> bus;
    std::unique_ptr<backends::dbus::DistributedCenter> center;
    try {
        bus = std::make_unique<backends::dbus::Bus>("panel-bus");
        center = std::make_unique<backends::dbus::DistributedCenter>(*bus, log);
        bus->start([] {});
    } catch (const sdbus::Error& error) {
        log.error("No session bus: ", std::string_view(error.what()));
    }
    bool posted = false;
    const auto send = [&](const std::string& name, const platform::Dictionary& payload) {
        posted = center && daemon_client::postCommand(*center, log, name, payload);
    };
    panels::ShareAnswer answer;
    {
        backends::posix::SerialQueue background("panel-sender"); // runs dry when it goes
        backends::qt::ShareByEmailDialog dialog({addressBook, mainQueue, background, fileSystem, log, send},
                                                share.path);
        dialog.controller().setAllPathsInSync(share.allPathsInSync);
        dialog.controller().shareFile({{"path", share.path}, {"isDir", share.isDirectory}});
        placeOver(dialog, request.parentXWindow());
        new FirstFrame(dialog, !request.activationToken.empty());
        dialog.runModal();
        if (dialog.controller().hasSent()) answer.recipients = dialog.recipients();
    }
    answer.isSent = posted;
    writeAnswer(panels::lineOf(answer));
    return panels::PanelExit::answered;
}

} // namespace apps::panel
