// The keeper of Dolphin's plugins by itself: 10,000 shown items with an extension that answers at once, and a
// menu about all of them. Memory is what malloc gave out; times are the processor's of the calling thread.
#include "hosts/dolphin/BadgeKeeper.h"
#include "hosts/dolphin/Menu.h"
#include "tests/support/PrivateBus.h"

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QElapsedTimer>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <malloc.h>

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
    hosts::dolphin::BadgeKeeper keeper;
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
    until([&] { return keeper.classify(urls, false).has_value(); });
    idle();
    row("memory of a shown item", static_cast<double>(givenOut() - before) / itemCount, "bytes", 300);
    row("longest question about one item", longest, "ms", 5);

    const std::size_t calls = extension.calls;
    double slowest = 0;
    for (int round = 0; round < 20; ++round) {
        const double start = workedMilliseconds();
        if (!keeper.classify(urls, false)) return 1;
        slowest = std::max(slowest, workedMilliseconds() - start);
    }
    idle();
    row("class of a selection of all of them, longest of 20", slowest, "ms", 5);
    row("calls for that", static_cast<double>(extension.calls - calls), "    ", 0);

    // The desktop's own process asks for menus too: what holds it up holds up the whole shell.
    extension.mood = "silent";
    double longestMenu = 0;
    for (int round = 0; round < 20; ++round) {
        QList<QUrl> others = urls; // the first ones are new to it
        for (int i = 0; i < 1000; ++i)
            others[i] = QUrl::fromLocalFile(QString::asprintf("/home/ana/Cloud/new %d of %d.txt", i, round));
        const auto start = std::chrono::steady_clock::now();
        const hosts::dolphin::Menu menu(keeper, others, false);
        const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
        if (menu.actions().isEmpty()) return 1;
        longestMenu = std::max(longestMenu, took.count());
    }
    row("menu about 10,000 items, 1,000 unknown, extension silent", longestMenu, "ms", 5);
}
