// Both plugins as Dolphin loads them, in one process: they share what is known, each selection gets the menu
// of its class, and an extension that talks nonsense does them no harm.
#include "tests/hosts/nautilus-family/FakeExtension.h"
#include "tests/hosts/selection_cases.h"
#include "tests/support/PrivateBus.h"

#include <gtest/gtest.h>

#include <KAbstractFileItemActionPlugin>
#include <KFileItem>
#include <KFileItemListProperties>
#include <KOverlayIconPlugin>
#include <KPluginFactory>
#if QT_VERSION_MAJOR == 5
#include <KIO/UDSEntry>
#endif
#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QPluginLoader>
#include <chrono>
#include <optional>
#include <set>

namespace {

bool until(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition() && std::chrono::steady_clock::now() < end)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 20);
    return condition();
}

// The disk is not asked: there is no such item.
KFileItem item(const QUrl& url, bool isDirectory) {
    const mode_t mode = isDirectory ? S_IFDIR : S_IFREG;
#if QT_VERSION_MAJOR == 5
    KIO::UDSEntry entry;
    entry.fastInsert(KIO::UDSEntry::UDS_NAME, url.fileName());
    entry.fastInsert(KIO::UDSEntry::UDS_FILE_TYPE, mode);
    return {entry, url};
#else
    return {url, {}, mode};
#endif
}

// One menu, with the class's name in it.
GVariant* menuOf(const std::string& name) {
    const std::string text =
        "('TovikDrive', '', '', '', true, true, [<('" + name + "', '', 'x', '', true, false, @av [])>])";
    return g_variant_new_parsed(text.c_str());
}

TEST(DolphinPlugins, BadgeItemsOfferMenusAndOutliveNonsense) {
    const support::PrivateBus bus;
    qputenv("QT_QPA_PLATFORM", "offscreen");
    int count = 1;
    char name[] = "test";
    char* arguments[] = {name, nullptr};
    const QApplication application(count, arguments);
    std::optional<fake::Extension> extension;
    const auto inStep = [](const std::string& uri) {
        return g_variant_new("(sbb)", "sync", hosts_test::isInSync(uri), hosts_test::isRoot(uri));
    };
    const auto uploading = [](const std::string&) { return g_variant_new("(sbb)", "upload", TRUE, FALSE); };
    const auto come = [&] {
        extension.emplace(TSYNCFINDER_INTROSPECTION);
        extension->badge = inStep;
        extension->menu = menuOf;
    };
    come();

    QPluginLoader overlays(OVERLAY);
    QPluginLoader actions(ACTION);
    auto* const overlay = qobject_cast<KOverlayIconPlugin*>(overlays.instance());
    auto* const factory = qobject_cast<KPluginFactory*>(actions.instance());
    ASSERT_NE(overlay, nullptr) << overlays.errorString().toStdString();
    ASSERT_NE(factory, nullptr) << actions.errorString().toStdString();
    auto* const action = factory->create<KAbstractFileItemActionPlugin>(qApp);
    ASSERT_NE(action, nullptr);

    const QUrl file = QUrl::fromLocalFile(QStringLiteral("/root/größe 1.txt"));
    const auto first = action->actions(KFileItemListProperties(KFileItemList{item(file, false)}), nullptr);
    ASSERT_EQ(first.size(), 1) << "nothing of the extension is known yet";
    EXPECT_FALSE(first[0]->isVisible());
    EXPECT_TRUE(until([&] { return first[0]->isVisible() && first[0]->menu() != nullptr; }));

    const QStringList sync("emblem-tsyncfinder-sync"), upload("emblem-tsyncfinder-upload");
    std::multiset<QUrl> changed; // to that; what is told of the badge before may come late
    QObject::connect(overlay, &KOverlayIconPlugin::overlaysChanged, qApp, [&](const QUrl& url) {
        if (overlay->getOverlays(url) == upload) changed.insert(url); // as Dolphin asks for what it shows
    });
    const auto shows = [&](const QStringList& emblems) {
        return until([&] { return overlay->getOverlays(file) == emblems; });
    };
    EXPECT_TRUE(shows(sync));
    EXPECT_EQ(overlay->getOverlays(QUrl(QStringLiteral("sftp://host/x"))), QStringList());
    extension->badge = uploading;
    changed.clear();
    extension->emitChanged("file:///root", file.toEncoded().toStdString());
    EXPECT_TRUE(until([&] { return changed.count(file) == 1; }));
    EXPECT_EQ(overlay->getOverlays(file), upload);

    extension->badge = inStep;
    for (const hosts_test::SelectionCase& each : hosts_test::selectionCases) {
        KFileItemList items;
        for (const std::string& uri : each.uris)
            items.append(item(QUrl(QString::fromStdString(uri)), each.isDirectory));
        const QList<QAction*> tops = action->actions(KFileItemListProperties(items), nullptr);
        ASSERT_EQ(tops.size(), 1) << each.expected;
        // It is there at once, and has its entries when the items are known.
        const auto title = [&] {
            return tops[0]->menu() != nullptr ? tops[0]->menu()->actions()[0]->text() : "";
        };
        EXPECT_TRUE(until([&] { return title() == QLatin1String(each.expected); }))
            << each.expected << " " << title().toStdString();
    }

    for (const char* const mood : {"wrong-types", "wrong-count", "huge"}) {
        extension->mood = mood;
        extension->emitChanged("file:///root");
        EXPECT_TRUE(shows({})) << mood;
        come();
        EXPECT_TRUE(shows(sync)) << "a new one is given a chance after " << mood;
    }
    extension->emit(FINDER_SYNC_BADGES_CHANGED, g_variant_new("(s)", "nonsense"));
    for (int i = 0; i < 5'000; ++i)
        extension->emitChanged("file:///root");
    extension->badge = uploading; // and no signal of it
    EXPECT_TRUE(shows(upload)) << "after a flood";
    delete action;
}

} // namespace
