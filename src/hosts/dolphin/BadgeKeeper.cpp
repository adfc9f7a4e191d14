#include "hosts/dolphin/BadgeKeeper.h"

#include "hosts/dolphin/Menu.h"

#include <QCoreApplication>
#include <QThread>
#include <QVariant>
#include <algorithm>
#include <array>
#include <new>
#include <string>
#include <string_view>

namespace hosts::dolphin {
namespace {

constexpr qint64 turnBudget = 500'000;        // ns of the core's orders in one turn of the event loop
constexpr qint64 showingBudget = 2'000'000;   // ns of telling the file manager
constexpr qint64 selectionBudget = 2'000'000; // ns of looking at a selection
constexpr int mostShown = 200;                // items that it is told of in one turn

// What is kept unescaped, as in the extension and in other desktop programs: equal paths are equal URIs.
constexpr std::array<bool, 256> areKept = [] {
    std::array<bool, 256> kept{};
    for (const char letter : std::string_view("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                              "0123456789-._~/!$&'()*+,;=:@"))
        kept[static_cast<unsigned char>(letter)] = true;
    return kept;
}();

// A menu may be about thousands of items: QUrl's own escaping takes several times as long.
std::string uriOf(const QUrl& url) {
    static constexpr std::string_view digits = "0123456789ABCDEF";
    const QByteArray path = url.path(QUrl::FullyDecoded).toUtf8();
    std::string uri = "file://";
    uri.reserve(uri.size() + static_cast<std::size_t>(path.size()) * 3 / 2);
    for (const char letter : path) {
        const auto byte = static_cast<unsigned char>(letter);
        if (areKept[byte])
            uri += letter;
        else
            (uri += '%').append({digits[byte / 16], digits[byte % 16]});
    }
    return uri;
}

QUrl urlOf(const TsfItem* item) {
    return QUrl::fromLocalFile(QUrl::fromPercentEncoding(tsf_item_uri(item) + std::size("file://") - 1));
}

} // namespace

BadgeKeeper* BadgeKeeper::shared() {
    // The plugins are modules of their own, each with its code; a former version's keeper is another thing.
    constexpr const char* name = "tsyncfinder-" TSYNCFINDER_VERSION;
    QCoreApplication* const application = QCoreApplication::instance();
    auto* keeper = static_cast<BadgeKeeper*>(application->property(name).value<QObject*>());
    if (keeper != nullptr || QThread::currentThread() != application->thread()) return keeper;
    keeper = new BadgeKeeper;
    application->setProperty(name, QVariant::fromValue<QObject*>(keeper));
    return keeper;
}

BadgeKeeper::BadgeKeeper()
    : core(tsf_core_new(nullptr)), link(core, [this] { serve(); }), work(this), showing(this) {
    if (core == nullptr) throw std::bad_alloc(); // as Qt does
    tsf_core_doubt_ends(core);
    link.setParent(this);
    work.setSingleShot(true);
    showing.setSingleShot(true);
    connect(&work, &QTimer::timeout, this, &BadgeKeeper::serve);
    connect(&showing, &QTimer::timeout, this, &BadgeKeeper::showAnew);
}

BadgeKeeper::~BadgeKeeper() { tsf_core_free(core); }

// --- what the core wants

void BadgeKeeper::arm() {
    if (tsf_core_has_invalid(core) && !showing.isActive()) showing.start(0);
    const std::int64_t now = link.now();
    const std::int64_t wakes = tsf_core_wakes(core, now);
    if (wakes == INT64_MAX) {
        work.stop();
        return;
    }
    const int pause = static_cast<int>(wakes - now);
    if (!work.isActive() || work.remainingTime() > pause || (pause > 0 && work.remainingTime() < pause))
        work.start(pause);
}

void BadgeKeeper::serve() {
    const ExtensionLink::Turn held(link);
    QElapsedTimer turn;
    turn.start();
    TsfOrder order;
    while (turn.nsecsElapsed() < turnBudget && tsf_core_next(core, link.now(), &order)) {
        if (order.kind == TSF_UPDATE_MENUS)
            fillMenus();
        else
            link.carryOut(order);
    }
    arm();
}

void BadgeKeeper::showAnew() {
    const ExtensionLink::Turn held(link);
    const bool isMenuFilled = std::any_of(
        waiting.begin(), waiting.end(), [](const QPointer<Menu>& menu) { return menu && menu->hasItems(); });
    QElapsedTimer turn;
    turn.start();
    for (int i = 0; i < mostShown && turn.nsecsElapsed() < showingBudget; ++i) {
        TsfItem* const item = tsf_core_next_invalid(core);
        if (item == nullptr) break;
        if (changed) changed(urlOf(item));
        if (!tsf_item_was_asked(item) && !isMenuFilled) tsf_item_unseen(item);
    }
    arm();
}

// --- items

TsfItem* BadgeKeeper::itemOf(const QUrl& url) {
    return url.isLocalFile() && url.host().isEmpty() ? tsf_core_item(core, uriOf(url).c_str()) : nullptr;
}

QString BadgeKeeper::emblem(const QUrl& url) {
    const ExtensionLink::Turn held(link);
    TsfItem* const item = itemOf(url);
    if (item == nullptr) return {};
    const char* const name = tsf_item_emblem(item);
    arm(); // in another turn: items come many in one, and the first answer matters most
    return name != nullptr ? QLatin1String("emblem-") + QLatin1String(name) : QString();
}

// --- menus

std::optional<TSyncSelectionClass> BadgeKeeper::classify(Selection& selection) {
    QElapsedTimer turn;
    turn.start();
    int& looked = selection.looked;
    if (looked == 0) tsf_selection_begin(&selection.found, true, selection.isFirstDirectory);
    bool mayDiffer = true;
    while (looked < selection.count && mayDiffer) {
        mayDiffer = tsf_selection_add(&selection.found, itemOf(selection.url(looked)));
        if (++looked % 64 == 0 && turn.nsecsElapsed() >= selectionBudget) break;
    }
    if (!mayDiffer) looked = selection.count; // the others make no difference
    TSyncSelectionClass found = TSYNC_CLASS_NOTHING;
    const bool isKnown = selection.isLookedThrough() && tsf_selection_class(core, &selection.found, &found);
    arm();
    return isKnown ? std::optional(found) : std::nullopt;
}

void BadgeKeeper::wait(Menu* menu) {
    std::erase_if(waiting, [](const QPointer<Menu>& each) { return each.isNull(); });
    waiting.emplace_back(menu);
}

void BadgeKeeper::fillMenus() {
    std::vector<QPointer<Menu>> menus;
    menus.swap(waiting); // those that wait on come again
    for (const QPointer<Menu>& menu : menus)
        if (menu) menu->fill();
}

void BadgeKeeper::activate(const QString& item, const Selection& selection) {
    QStringList uris;
    for (int i = 0; i < selection.count; ++i)
        if (const QUrl url = selection.url(i); url.isLocalFile())
            uris.append(QString::fromStdString(uriOf(url)));
    link.activate(item, uris);
}

} // namespace hosts::dolphin
