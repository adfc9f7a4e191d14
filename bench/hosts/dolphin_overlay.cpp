// An overlay plugin of Dolphin whose effect on the GUI thread is recorded (loop_times.h): the product's
// keeper behind it or, with INSTANT, the lower bound, which knows every item's emblem at once and never tells
// of another. Every event of the keeper and of what it owns is delivered by a stopwatch.
#include "bench/hosts/loop_times.h"
#include "hosts/dolphin/BadgeKeeper.h"

#include <sys/mman.h>

#include <KOverlayIconPlugin>
#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QEvent>
#include <QSet>
#include <algorithm>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace {

std::uint64_t microseconds(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<std::uint64_t>(time.tv_sec) * 1'000'000 +
           static_cast<std::uint64_t>(time.tv_nsec) / 1000;
}

LoopTimes* mapped() {
    static LoopTimes unread;
    const int file = ::open(qgetenv("TSYNCFINDER_LOOP_TIMES").constData(), O_RDWR);
    void* const memory = ::mmap(nullptr, sizeof(LoopTimes), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    return memory == MAP_FAILED ? &unread : static_cast<LoopTimes*>(memory);
}

class Stopwatch : public QObject {
    Q_OBJECT
  public:
    explicit Stopwatch(QObject* ofKeeper) : keeper(ofKeeper) {
        QCoreApplication::instance()->installEventFilter(this);
        connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::aboutToBlock, this,
                [this] { times->longest_turn = std::max(times->longest_turn, std::exchange(inTurn, 0)); });
    }
    static std::uint64_t worked() { return microseconds(CLOCK_THREAD_CPUTIME_ID); }

    template <typename Work>
    auto time(Work work) {
        const bool isOuter = !isRunning;
        const std::uint64_t start = worked();
        isRunning = true;
        const auto result = work();
        if (isOuter) {
            const std::uint64_t took = worked() - start;
            times->longest_callback = std::max(times->longest_callback, took);
            times->total += took;
            inTurn += took;
            isRunning = false;
        }
        return result;
    }
    bool eventFilter(QObject* receiver, QEvent* event) override {
        if (isRunning || (event->type() != QEvent::Timer && event->type() != QEvent::MetaCall)) return false;
        const QObject* owner = receiver;
        while (owner != nullptr && owner != keeper)
            owner = owner->parent();
        return owner != nullptr && time([&] { return QCoreApplication::sendEvent(receiver, event), true; });
    }

    LoopTimes* const times = mapped();

  private:
    const QObject* const keeper;
    bool isRunning = false;
    std::uint64_t inTurn = 0;
};

} // namespace

class TimedOverlay : public KOverlayIconPlugin {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "com.quarnhold.TSyncFinder.TimedOverlay" FILE "dolphin_overlay.json")
  public:
    TimedOverlay() {
#ifndef INSTANT
        keeper->changed = [this](const QUrl& url) { Q_EMIT overlaysChanged(url, {}); };
#endif
    }
    QStringList getOverlays(const QUrl& url) override {
        const QString emblem = watch.time([&] { return emblemOf(url); });
        LoopTimes& times = *watch.times;
        ++times.questions;
        if (url.adjusted(QUrl::RemoveFilename | QUrl::StripTrailingSlash) == folder) {
            note(asked, url, times.asked, times.last_asked);
            if (!emblem.isEmpty()) note(badged, url, times.badged, times.last_badged);
        }
        return emblem.isEmpty() ? QStringList() : QStringList(emblem);
    }

  private:
    static void note(QSet<QUrl>& seen, const QUrl& url, std::uint64_t& count, std::uint64_t& last) {
        if (count == 0) seen.clear(); // whoever reads the figures begins anew
        if (seen.contains(url)) return;
        seen.insert(url);
        ++count;
        last = microseconds(CLOCK_MONOTONIC);
    }
#ifdef INSTANT
    static QString emblemOf(const QUrl&) { return QStringLiteral("emblem-tsyncfinder-sync"); }
    Stopwatch watch{nullptr};
#else
    QString emblemOf(const QUrl& url) { return keeper->emblem(url); }
    hosts::dolphin::BadgeKeeper* const keeper = hosts::dolphin::BadgeKeeper::shared();
    Stopwatch watch{keeper};
#endif
    // Other folders' items are asked about too, and are no part of what is waited for.
    const QUrl folder = QUrl::fromLocalFile(qEnvironmentVariable("TSYNCFINDER_LOOP_FOLDER"));
    QSet<QUrl> asked;
    QSet<QUrl> badged;
};

#include "dolphin_overlay.moc"
