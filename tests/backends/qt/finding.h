// Finding the parts of a window as a person would: by what is shown now. Real events then go to them.
#pragma once

#include <QApplication>
#include <QListView>
#include <QPointer>
#include <QTest>
#include <QWidget>
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

inline QString currentOf(const QListView& list) { return list.currentIndex().data().toString(); }

} // namespace backends::qt
