#include "apps/tsyncfinder-panel/run_panels.h"
#include "apps/tsyncfinder-panel/standard_output.h"
#include "backends/qt/texts.h"

#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QTimer>
#include <QWindow>

namespace apps::panel {
namespace {

constexpr int waitForFocus = 1500; // milliseconds

} // namespace

int runClipboard(const panels::ClipboardRequest& request) {
    QClipboard* clipboard = QGuiApplication::clipboard();
    const QString text = QString::fromStdString(request.text);
    int status = panels::PanelExit::notWritten;
    bool isDone = false;
    const auto put = [&] {
        if (isDone) return;
        isDone = true;
        clipboard->setText(text);
        const bool isWritten = clipboard->ownsClipboard() || clipboard->text() == text;
        status = isWritten ? panels::PanelExit::answered : panels::PanelExit::notWritten;
        writeAnswer(panels::lineOf(panels::ClipboardAnswer{isWritten}));
        if (!isWritten) {
            QCoreApplication::exit(status);
            return;
        }
        QObject::connect(clipboard, &QClipboard::dataChanged, qApp, [clipboard] {
            if (!clipboard->ownsClipboard()) QCoreApplication::quit();
        });
    };

    // Under Wayland only a program whose window has the keyboard may set the clipboard: a small window says
    // what happens, and goes.
    QLabel notice(backends::qt::shown("Link copied"));
    if (QGuiApplication::platformName().startsWith(QStringLiteral("wayland"))) {
        notice.setMargin(16);
        notice.show();
        QObject::connect(qApp, &QGuiApplication::focusWindowChanged, qApp, [&](const QWindow* window) {
            if (window == nullptr) return;
            put();
            QTimer::singleShot(waitForFocus, &notice, &QWidget::hide);
        });
        QTimer::singleShot(waitForFocus, qApp, put);
    } else {
        QTimer::singleShot(0, qApp, put);
    }
    QApplication::setQuitOnLastWindowClosed(false);
    QApplication::exec();
    return status;
}

} // namespace apps::panel
