// Finding the parts of a window as a person would: by what is shown now. Real events then go to them.
#pragma once

#include <gtest/gtest.h>

#include <QApplication>
#include <QDialog>
#include <QListView>
#include <QTest>
#include <QTimer>
#include <functional>

namespace backends::qt {

inline bool eventually(const std::function<bool()>& happened) { return QTest::qWaitFor(happened, 10000); }

// The innermost open menu's list, or null.
inline QListView* openList() {
    QWidget* popup = QApplication::activePopupWidget();
    return popup == nullptr || popup->objectName() != "menuPopup" ? nullptr : popup->findChild<QListView*>();
}

inline QStringList rowsOf(const QListView& list) {
    QStringList rows;
    for (int row = 0; row < list.model()->rowCount(); ++row)
        rows.append(list.model()->index(row, 0).data().toString());
    return rows;
}

// The middle of the row of that title, in the list's viewport.
inline QPoint middleOf(const QListView& list, const QString& title) {
    const auto row = rowsOf(list).indexOf(title);
    return list.visualRect(list.model()->index(static_cast<int>(row), 0)).center();
}

// Where the keyboard's events go: into the innermost popup, or else into the window.
inline QWidget* focused() {
    QWidget* popup = QApplication::activePopupWidget();
    if (popup == nullptr) return QApplication::focusWidget();
    return openList() != nullptr ? popup->focusWidget() : popup;
}
inline void key(Qt::Key pressed) { QTest::keyClick(focused(), pressed); }
inline void type(const QString& text) { QTest::keyClicks(focused(), text); }
inline void click(QWidget* widget) { QTest::mouseClick(widget, Qt::LeftButton); }

// Runs the person's doings when the dialog is shown; they are to end it.
inline void whenShown(QDialog& dialog, const std::function<void()>& person) {
    QTimer::singleShot(0, &dialog, [&dialog, person] {
        EXPECT_TRUE(QTest::qWaitForWindowActive(&dialog));
        person();
        if (!dialog.isVisible()) return;
        ADD_FAILURE() << "the window is still open";
        dialog.reject();
    });
}

inline QString currentOf(const QListView& list) { return list.currentIndex().data().toString(); }

} // namespace backends::qt
