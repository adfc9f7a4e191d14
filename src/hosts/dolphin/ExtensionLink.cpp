#include "hosts/dolphin/ExtensionLink.h"

#include "protocol/names.h"
#include "protocol/translations.h"

#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <algorithm>
#include <array>
#include <limits>
#include <utility>

namespace hosts::dolphin {
namespace {

using Environment = QMap<QString, QString>;

constexpr int forEver = std::numeric_limits<int>::max(); // ms: the core keeps the time

const QString busItself = QStringLiteral("org.freedesktop.DBus");

QDBusMessage callOfBus(const char* method, const QVariantList& arguments) {
    QDBusMessage message = QDBusMessage::createMethodCall(busItself, QStringLiteral("/org/freedesktop/DBus"),
                                                          busItself, QLatin1String(method));
    message.setArguments(arguments);
    return message;
}

// Whether no answer will come, rather than one that makes no sense.
bool isLost(const QString& error) {
    static const char* const names[] = {
        FINDER_SYNC_ERROR_NOT_READY,
        "org.freedesktop.DBus.Error.NoReply",
        "org.freedesktop.DBus.Error.Timeout",
        "org.freedesktop.DBus.Error.TimedOut",
        "org.freedesktop.DBus.Error.Disconnected",
        "org.freedesktop.DBus.Error.NameHasNoOwner",
        "org.freedesktop.DBus.Error.ServiceUnknown",
    };
    return std::any_of(std::begin(names), std::end(names),
                       [&](const char* name) { return error == QLatin1String(name); });
}

// Of a signal or an answer that has the type; the application has its connection's arguments already.
bool hasType(const QDBusMessage& message, const char* types) {
    return message.signature() == QLatin1String(types);
}

QVariantList urisOf(const TsfOrder& order) {
    QStringList uris;
    for (std::size_t i = 0; i < order.count; ++i)
        uris.append(QString::fromUtf8(tsf_item_uri(order.items[i])));
    return {uris};
}

} // namespace

ExtensionLink::ExtensionLink(TsfCore* ofCore, std::function<void()> isServed, const QDBusConnection& ofBus)
    : core(ofCore), served(std::move(isServed)), bus(ofBus),
      watcher(QStringLiteral(FINDER_SYNC_BUS_NAME), bus, QDBusServiceWatcher::WatchForOwnerChange, this) {
    clock.start();
    qDBusRegisterMetaType<Environment>();
    connect(&watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString&, const QString&, const QString& newOwner) {
                hasHeardOfOwner = true;
                takeOwner(newOwner);
            });
    const QString name = QStringLiteral(FINDER_SYNC_BUS_NAME);
    bus.send(callOfBus("StartServiceByName", {name, 0U}));
    auto* const call = new QDBusPendingCallWatcher(bus.asyncCall(callOfBus("GetNameOwner", {name})), this);
    connect(call, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* finished) {
        finished->deleteLater();
        const QDBusPendingReply<QString> reply = *finished;
        if (!reply.isError() && !hasHeardOfOwner) takeOwner(reply.value());
    });
}

void ExtensionLink::takeOwner(const QString& newOwner) {
    if (newOwner == owner) return;
    listen(false);
    owner = newOwner;
    told = {};
    if (owner.isEmpty())
        tsf_core_extension_left(core, now());
    else
        tsf_core_extension_came(core, now());
    served();
}

// --- signals

void ExtensionLink::listen(bool isToListen) {
    if (isToListen == isListening) return;
    isListening = isToListen;
    const QString path = QStringLiteral(FINDER_SYNC_OBJECT_PATH);
    const QString interface = QStringLiteral(FINDER_SYNC_INTERFACE);
    if (isListening)
        bus.connect(owner, path, interface, QString(), this, SLOT(hear(QDBusMessage)));
    else
        bus.disconnect(owner, path, interface, QString(), this, SLOT(hear(QDBusMessage)));
}

void ExtensionLink::hear(const QDBusMessage& signal) {
    const Turn held(*this);
    if (!isListening || signal.service() != owner) return; // it was on its way when that ended
    const QString member = signal.member();
    if (member == QLatin1String(FINDER_SYNC_BADGES_CHANGED) &&
        hasType(signal, FINDER_SYNC_BADGES_CHANGED_TYPES)) {
        takeChanges(signal.arguments());
    } else if (member == QLatin1String(FINDER_SYNC_DIRECTORIES_CHANGED) &&
               hasType(signal, FINDER_SYNC_DIRECTORIES_CHANGED_TYPES)) {
        const auto count = static_cast<std::size_t>(signal.arguments()[1].toStringList().size());
        if (tsf_core_heard(core, now(), count)) takeDirectories(0, signal.arguments());
    } else if (tsf_core_heard(core, now(), 0) && member == QLatin1String(FINDER_SYNC_MENUS_CHANGED)) {
        tsf_core_menus_changed(core);
    }
    served();
}

void ExtensionLink::takeChanges(const QVariantList& arguments) {
    std::vector<std::pair<QByteArray, QStringList>> changes;
    std::size_t count = 0;
    const auto list = arguments[1].value<QDBusArgument>();
    list.beginArray();
    while (!list.atEnd() && count <= TSF_MAXIMUM_CHANGES) {
        QString directory;
        QStringList items;
        list.beginStructure();
        list >> directory >> items;
        list.endStructure();
        count += 1 + static_cast<std::size_t>(items.size());
        changes.emplace_back(directory.toUtf8(), items);
    }
    if (!tsf_core_heard(core, now(), count)) return;
    const std::uint64_t sequence = arguments[0].toULongLong();
    for (const auto& [directory, items] : changes) {
        if (items.isEmpty()) tsf_core_directory_changed(core, sequence, directory.constData());
        for (const QString& item : items)
            tsf_core_item_changed(core, sequence, item.toUtf8().constData());
    }
}

// --- orders

QDBusMessage ExtensionLink::call(const char* method, const QVariantList& arguments) const {
    QDBusMessage message =
        QDBusMessage::createMethodCall(owner, QStringLiteral(FINDER_SYNC_OBJECT_PATH),
                                       QStringLiteral(FINDER_SYNC_INTERFACE), QLatin1String(method));
    message.setAutoStartService(false);
    message.setArguments(arguments);
    return message;
}

void ExtensionLink::ask(const char* method, const TsfOrder& order, const QVariantList& arguments) {
    auto* const watch = new QDBusPendingCallWatcher(bus.asyncCall(call(method, arguments), forEver), this);
    connect(watch, &QDBusPendingCallWatcher::finished, this,
            [this, kind = order.kind, id = order.call](QDBusPendingCallWatcher* finished) {
                const Turn held(*this);
                finished->deleteLater();
                takeAnswer(finished->reply(), kind, id);
                served();
            });
}

void ExtensionLink::carryOut(const TsfOrder& order) {
    switch (order.kind) {
    case TSF_GO_ON:
    case TSF_UPDATE_MENUS:
        break;
    case TSF_LISTEN:
    case TSF_STOP_LISTENING:
        listen(order.kind == TSF_LISTEN);
        break;
    case TSF_BEGIN_OBSERVING:
        bus.send(call(FINDER_SYNC_BEGIN_OBSERVING, {QString::fromUtf8(order.uri)}));
        break;
    case TSF_END_OBSERVING:
        bus.send(call(FINDER_SYNC_END_OBSERVING, {QString::fromUtf8(order.uri)}));
        break;
    case TSF_ASK_DIRECTORIES:
        ask(FINDER_SYNC_WATCHED_DIRECTORIES, order);
        break;
    case TSF_ASK_MENUS:
        ask(FINDER_SYNC_MENUS_BY_CLASS, order);
        break;
    case TSF_ASK_BADGES:
        ask(FINDER_SYNC_BADGES_FOR_ITEMS, order, urisOf(order));
        break;
    }
}

// --- answers

void ExtensionLink::takeAnswer(const QDBusMessage& reply, TsfOrderKind kind, std::uint64_t call) {
    const QVariantList arguments = reply.arguments();
    if (reply.type() == QDBusMessage::ErrorMessage) {
        if (!isLost(reply.errorName())) tsf_core_nonsense(core, now(), call);
    } else if (kind == TSF_ASK_DIRECTORIES && hasType(reply, FINDER_SYNC_WATCHED_DIRECTORIES_OUT)) {
        takeDirectories(call, arguments);
    } else if (kind == TSF_ASK_MENUS && hasType(reply, FINDER_SYNC_MENUS_BY_CLASS_OUT)) {
        takeMenus(call, arguments);
    } else if (kind == TSF_ASK_BADGES && hasType(reply, FINDER_SYNC_BADGES_FOR_ITEMS_OUT)) {
        takeBadges(call, arguments);
    } else {
        tsf_core_nonsense(core, now(), call);
    }
}

void ExtensionLink::takeDirectories(std::uint64_t call, const QVariantList& arguments) {
    const QStringList list = arguments[1].toStringList(); // whether they are set makes no difference here
    std::vector<QByteArray> texts;
    std::vector<const char*> uris;
    if (list.size() <= TSF_MAXIMUM_DIRECTORIES)
        for (const QString& uri : list)
            texts.push_back(uri.toUtf8());
    uris.reserve(texts.size());
    for (const QByteArray& text : texts)
        uris.push_back(text.constData());
    tsf_core_directories(core, now(), call, uris.data(), static_cast<std::size_t>(list.size()));
}

void ExtensionLink::takeMenus(std::uint64_t call, const QVariantList& arguments) {
    MenusByClass read = readMenus(arguments[0].value<QDBusArgument>(), TSF_MAXIMUM_MENUS);
    if (tsf_core_menus(core, now(), call, static_cast<std::size_t>(read.size()))) menus = std::move(read);
}

void ExtensionLink::takeBadges(std::uint64_t call, const QVariantList& arguments) {
    std::array<QByteArray, TSF_MAXIMUM_BATCH> names;
    std::array<TsfAnswer, TSF_MAXIMUM_BATCH> answers{};
    std::size_t count = 0;
    const auto list = arguments[1].value<QDBusArgument>();
    list.beginArray();
    for (; !list.atEnd() && count <= TSF_MAXIMUM_BATCH; ++count) { // one more than asked is wrong already
        QString badge;
        bool isInSync = false;
        bool isRoot = false;
        list.beginStructure();
        list >> badge >> isInSync >> isRoot;
        list.endStructure();
        if (count == TSF_MAXIMUM_BATCH) continue;
        names[count] = badge.toUtf8();
        answers[count] = {names[count].constData(), isInSync, isRoot};
    }
    tsf_core_badges(core, now(), call, arguments[0].toULongLong(), answers.data(), count);
}

// --- for the owner

const MenuItems* ExtensionLink::menu(TSyncSelectionClass selectionClass) const {
    if (!tsf_core_has_menus(core)) return nullptr;
    const auto found = menus.constFind(QLatin1String(tsyncSelectionClassName(selectionClass)));
    return found != menus.constEnd() ? &found.value() : nullptr;
}

void ExtensionLink::heldUp(std::chrono::nanoseconds duration) {
    longest = std::max(longest, std::chrono::duration_cast<std::chrono::microseconds>(duration));
    if (owner.isEmpty() || longest < std::max(std::chrono::microseconds(FINDER_SYNC_LONG_TURN), 2 * told))
        return;
    told = longest;
    bus.send(call(FINDER_SYNC_TELL_LONGEST, {static_cast<qulonglong>(longest.count())}));
}

void ExtensionLink::activate(const QString& item, const QStringList& uris) {
    if (tsf_core_state(core) != TSF_THERE) {
        tellPerson(QStringLiteral("The sync service does not answer."));
        return;
    }
    Environment environment;
    for (const char* const variable : {FINDER_SYNC_DISPLAY_VARIABLES})
        if (qEnvironmentVariableIsSet(variable))
            environment.insert(QLatin1String(variable), qEnvironmentVariable(variable));
    const QDBusMessage message =
        call(FINDER_SYNC_ACTIVATE, {item, uris, QVariant::fromValue(environment), QString(), QVariantMap()});
    auto* const watch = new QDBusPendingCallWatcher(bus.asyncCall(message), this);
    connect(watch, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* finished) {
        finished->deleteLater();
        if (finished->isError()) tellPerson(finished->error().message());
    });
}

void ExtensionLink::tellPerson(const QString& message) {
    const QString shown =
        QString::fromUtf8(tsyncTranslated(message.toUtf8().constData(), tsyncMessageLocale()));
    QDBusMessage notify = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("/org/freedesktop/Notifications"),
        QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("Notify"));
    const QString name = QStringLiteral("TovikDrive");
    notify.setArguments(
        {name, 0U, QStringLiteral("tsyncfinder"), name, shown, QStringList(), QVariantMap(), -1});
    bus.send(notify);
}

} // namespace hosts::dolphin
