// Finding the parts of a window as a person would: by what is shown now. Real events then go to them.
#pragma once

#include <gtest/gtest.h>

#include <QAccessible>
#include <QApplication>
#include <QDialog>
#include <QListView>
#include <QMetaEnum>
#include <QTest>
#include <QTimer>
#include <algorithm>
#include <functional>
#include <iterator>
#include <regex>
#include <string>
#include <utility>
#include <vector>

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

// What assistive programs are told of a window and all that is shown in it: each part, and what they read of
// it, "role|name|action,action". Parents stand before their children.
using Read = std::vector<std::pair<QAccessibleInterface*, std::string>>;
inline Read read(QAccessibleInterface* part) {
    Read all;
    auto* const actions = part->actionInterface();
    const QString names = actions == nullptr ? QString() : actions->actionNames().join(u',');
    if (!part->state().invisible)
        all.emplace_back(part, QMetaEnum::fromType<QAccessible::Role>().valueToKey(part->role()) +
                                   (u'|' + part->text(QAccessible::Name) + u'|' + names).toStdString());
    for (int i = 0; i < part->childCount(); ++i)
        std::ranges::copy(read(part->child(i)), std::back_inserter(all));
    return all;
}
// The lines that match.
inline std::string readingOf(QDialog& dialog, const std::string& pattern) {
    std::string lines;
    for (const auto& [part, text] : read(QAccessible::queryAccessibleInterface(&dialog)))
        if (std::regex_search(text, std::regex(pattern))) lines += text + "\n";
    return lines;
}
inline void perform(QDialog& dialog, const std::string& wanted, const QString& action) {
    const Read all = read(QAccessible::queryAccessibleInterface(&dialog));
    const auto found = std::ranges::find(all, wanted, &Read::value_type::second);
    ASSERT_TRUE(found != all.end()) << wanted;
    found->first->actionInterface()->doAction(action);
}

inline QString currentOf(const QListView& list) { return list.currentIndex().data().toString(); }

} // namespace backends::qt
