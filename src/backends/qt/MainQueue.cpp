#include "backends/qt/MainQueue.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>
#include <QTimer>
#include <utility>

namespace backends::qt {

void MainQueue::dispatch(Work work) {
    QMetaObject::invokeMethod(QCoreApplication::instance(), std::move(work), Qt::QueuedConnection);
}

void MainQueue::dispatchAfter(std::chrono::milliseconds delay, Work work) {
    // A timer belongs to the thread that starts it, so it is started on the main one.
    dispatch(
        [delay, later = std::move(work)] { QTimer::singleShot(delay, QCoreApplication::instance(), later); });
}

void MainQueue::dispatchAndWait(Work work) {
    if (QThread::currentThread() == QCoreApplication::instance()->thread())
        work();
    else
        QMetaObject::invokeMethod(QCoreApplication::instance(), std::move(work),
                                  Qt::BlockingQueuedConnection);
}

} // namespace backends::qt
