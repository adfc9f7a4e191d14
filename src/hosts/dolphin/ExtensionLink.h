// The host core's end of the session bus, in QtDBus: orders become calls, and what comes back becomes the
// core's events. The extension is started once, by the bus, when a plugin is loaded.
//
// Nothing here waits, and nothing is decided: what an answer means is the core's. GUI thread only.
#pragma once

#include "hosts/core/core.h"
#include "hosts/dolphin/menu_items.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QElapsedTimer>
#include <QObject>
#include <QStringList>
#include <chrono>
#include <functional>

namespace hosts::dolphin {

class ExtensionLink : public QObject {
    Q_OBJECT
  public:
    // The core outlives the link. served: the core has taken an event, and may have orders; called from the
    // event loop only. bus: the application's own, which stands already.
    ExtensionLink(TsfCore* core, std::function<void()> served,
                  const QDBusConnection& bus = QDBusConnection::sessionBus());

    // The core's clock, in milliseconds.
    std::int64_t now() const { return clock.elapsed(); }
    // The file manager is held up as long as it is there; one may be within another. The longest of them is
    // told to the extension, from a millisecond on and each time that it has doubled.
    class Turn {
      public:
        explicit Turn(ExtensionLink& ofLink) : link(ofLink) { clock.start(); }
        ~Turn() { link.heldUp(std::chrono::nanoseconds(clock.nsecsElapsed())); }
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

      private:
        ExtensionLink& link;
        QElapsedTimer clock;
    };
    // Any order that goes to the extension.
    void carryOut(const TsfOrder& order);
    // The menu of a class of selections; null: there is none. Lives until the next turn of the event loop.
    const MenuItems* menu(TSyncSelectionClass selectionClass) const;
    // Sends the choice of an item, with the display of this process. What becomes of it is told to the person
    // when it fails.
    void activate(const QString& item, const QStringList& uris);

  private:
    Q_SLOT void hear(const QDBusMessage& signal);

    void takeOwner(const QString& newOwner);
    void listen(bool isToListen);
    QDBusMessage call(const char* method, const QVariantList& arguments = {}) const;
    void ask(const char* method, const TsfOrder& order, const QVariantList& arguments = {});
    void takeAnswer(const QDBusMessage& reply, TsfOrderKind kind, std::uint64_t call);
    void takeDirectories(std::uint64_t call, const QVariantList& arguments);
    void takeMenus(std::uint64_t call, const QVariantList& arguments);
    void takeBadges(std::uint64_t call, const QVariantList& arguments);
    void takeChanges(const QVariantList& arguments);
    void tellPerson(const QString& message);
    void heldUp(std::chrono::nanoseconds duration);

    TsfCore* core;
    std::function<void()> served;
    QDBusConnection bus;
    QDBusServiceWatcher watcher;
    QElapsedTimer clock;
    QString owner; // unique name; empty: the extension is not there
    bool hasHeardOfOwner = false;
    bool isListening = false;
    MenusByClass menus;
    std::chrono::microseconds longest{0}; // that the file manager was held up
    std::chrono::microseconds told{0};    // of that, to this owner
};

} // namespace hosts::dolphin
