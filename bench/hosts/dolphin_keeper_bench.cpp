// Dolphin's plugins without Dolphin: the keeper's 10,000 shown items with an extension that answers at once,
// and the menus that the plugin gives for all of them. Memory is what malloc gave out; times are the
// processor's of the calling thread.
#include "hosts/dolphin/BadgeKeeper.h"
#include "tests/support/PrivateBus.h"

#include <KAbstractFileItemActionPlugin>
#include <KFileItem>
#include <KFileItemListProperties>
#include <KPluginFactory>
#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QElapsedTimer>
#include <QPluginLoader>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <malloc.h>
#include <vector>

// Qt's and GLib's headers share the main loop here, but not a word.
#undef signals
#include "tests/hosts/nautilus-family/FakeExtension.h"

namespace {

constexpr int itemCount = 10'000;

double workedMilliseconds() {
    timespec worked{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &worked);
    return static_cast<double>(worked.tv_sec) * 1e3 + static_cast<double>(worked.tv_nsec) / 1e6;
}

std::size_t givenOut() {
    const struct mallinfo2 info = ::mallinfo2();
    return info.uordblks + info.hblkhd;
}

void row(const char* what, double value, const char* unit, double limit) {
    std::printf("%-58s %9.3f %s  limit %.0f  %s\n", what, value, unit, limit,
                value <= limit ? "held" : "ABOVE");
}

// The extension lives in the same event loop: its calls are over when nothing has happened for a while.
void idle() {
    QElapsedTimer quiet;
    quiet.start();
    while (quiet.elapsed() < 200)
        if (QCoreApplication::eventDispatcher()->processEvents(QEventLoop::AllEvents)) quiet.restart();
}

// As in a listing: the disk is not asked.
KFileItem listed(const QString& path) {
    return {QUrl::fromLocalFile(path), QStringLiteral("text/plain"), S_IFREG};
}

// The first turn of 20 menus about items of which the first `unknown` ones are new each time: the longest,
// and by the clock the median, since what waits holds up the desktop's shell too.
void rowsOfMenus(const char* what, KAbstractFileItemActionPlugin& plugin, KFileItemList items, int unknown) {
    double longest = 0;
    std::vector<double> elapsed;
    for (int round = 0; round < 20; ++round) {
        for (int i = 0; i < unknown; ++i)
            items[i] = listed(QString::asprintf("/home/ana/Cloud/new %d of %d.txt", i, round));
        const KFileItemListProperties properties(items);
        const auto start = std::chrono::steady_clock::now();
        const double startWorked = workedMilliseconds();
        const bool isEmpty = plugin.actions(properties, nullptr).isEmpty();
        longest = std::max(longest, workedMilliseconds() - startWorked);
        const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
        elapsed.push_back(took.count());
        if (isEmpty) std::exit(1);
    }
    std::sort(elapsed.begin(), elapsed.end());
    row(what, longest, "ms", 5);
    row("    elapsed, median", elapsed[elapsed.size() / 2], "ms", 5);
}

template <typename Condition>
void until(Condition condition) {
    while (!condition())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

} // namespace

int main(int count, char** arguments) {
    const support::PrivateBus bus;
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(count, arguments);
    fake::Extension extension(TSYNCFINDER_INTROSPECTION);
    extension.badge = [](const std::string&) { return g_variant_new("(sbb)", "sync", FALSE, FALSE); };
    extension.menu = [](const std::string&) {
        return g_variant_new_parsed(
            "('TovikDrive', '', '', '', true, true, [<('Stop', '', '', '', true, false, @av [])>])");
    };
    hosts::dolphin::BadgeKeeper& keeper = *hosts::dolphin::BadgeKeeper::shared(); // the plugin's, too
    QPluginLoader module(QStringLiteral(ACTION));
    auto* const factory = qobject_cast<KPluginFactory*>(module.instance());
    if (factory == nullptr) return 1;
    auto* const plugin = factory->create<KAbstractFileItemActionPlugin>(qApp);
    keeper.changed = [&keeper](const QUrl& url) { keeper.emblem(url); }; // each of them is shown
    QList<QUrl> urls;
    for (int i = 0; i < itemCount; ++i)
        urls.append(QUrl::fromLocalFile(QString::asprintf("/home/ana/Cloud/report of week %05d.txt", i)));
    keeper.emblem(QUrl::fromLocalFile(QStringLiteral("/home/ana/Cloud/first.txt")));
    until([&] { return extension.asked > 0; });
    idle();

    const std::size_t before = givenOut();
    double longest = 0;
    for (const QUrl& url : urls) {
        const double start = workedMilliseconds();
        keeper.emblem(url);
        longest = std::max(longest, workedMilliseconds() - start);
    }
    hosts::dolphin::Selection selection{[&urls](int i) { return urls[i]; }, itemCount};
    const auto classify = [&] {
        selection.looked = 0;
        for (;;) {
            const auto found = keeper.classify(selection);
            if (found || selection.isLookedThrough()) return found.has_value();
        }
    };
    until(classify);
    idle();
    row("memory of a shown item", static_cast<double>(givenOut() - before) / itemCount, "bytes", 300);
    row("longest question about one item", longest, "ms", 5);

    const std::size_t calls = extension.calls;
    double slowest = 0;
    for (int round = 0; round < 20; ++round) {
        const double start = workedMilliseconds();
        if (!classify()) return 1;
        slowest = std::max(slowest, workedMilliseconds() - start);
    }
    idle();
    row("class of a selection of all of them, in turns, longest of 20", slowest, "ms", 5);
    row("calls for that", static_cast<double>(extension.calls - calls), "    ", 0);

    // The desktop's own process asks for menus too: what holds it up holds up the whole shell.
    KFileItemList items;
    for (const QUrl& url : urls)
        items.append(listed(url.toLocalFile()));
    plugin->actions(KFileItemListProperties(items.mid(0, 1)), nullptr); // the toolkit gets ready for menus
    rowsOfMenus("menu about all of them, its first turn, longest of 20", *plugin, items, 0);
    extension.mood = "silent";
    rowsOfMenus("the same, extension silent", *plugin, items, 0);
    rowsOfMenus("the same, 1,000 of them unknown", *plugin, items, 1000);
    return 0;
}
