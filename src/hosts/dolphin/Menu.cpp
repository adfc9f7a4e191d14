#include "hosts/dolphin/Menu.h"

#include "protocol/translations.h"

#include <QIcon>
#include <algorithm>
#include <utility>

namespace hosts::dolphin {

Menu::Menu(BadgeKeeper& ofKeeper, Selection ofSelection)
    : keeper(ofKeeper), selection(std::move(ofSelection)) {
    if (selection.count > 0) begin();
}

void Menu::begin() {
    const MenuItems* const nothing = keeper.menuOf(TSYNC_CLASS_NOTHING);
    if (nothing == nullptr) { // the extension is not there, or has not answered yet
        if (tops.empty()) tops.push_back(std::make_unique<QAction>());
        tops[0]->setVisible(false);
        keeper.wait(this);
        return;
    }
    isBegun = true;
    // Whoever shows it took its actions at once: an entry that waited is the only one.
    const std::size_t count = tops.empty() ? nothing->size() : std::min(nothing->size(), tops.size());
    for (std::size_t i = 0; i < count; ++i) {
        if (tops.size() == i) tops.push_back(std::make_unique<QAction>());
        make(*tops[i], (*nothing)[i]);
        tops[i]->setVisible(true);
    }
    fill();
}

Menu::~Menu() = default;

QList<QAction*> Menu::actions() const {
    QList<QAction*> actions;
    for (const auto& top : tops)
        actions.append(top.get());
    return actions;
}

void Menu::fill() {
    if (!isBegun) {
        begin();
        return;
    }
    selection.looked = 0;
    look();
}

void Menu::look() {
    const auto held = keeper.turn();
    const std::optional<TSyncSelectionClass> selectionClass = keeper.classify(selection);
    if (!selectionClass) {
        if (selection.isLookedThrough())
            keeper.wait(this);
        else
            QTimer::singleShot(0, this, &Menu::look);
        return;
    }
    const MenuItems* const items = keeper.menuOf(*selectionClass);
    if (items == nullptr || *selectionClass == TSYNC_CLASS_NOTHING) return;
    for (std::size_t i = 0; i < items->size() && i < tops.size(); ++i)
        make(*tops[i], (*items)[i]);
}

void Menu::make(QAction& action, const MenuItem& item) {
    const QByteArray title = item.title.toUtf8();
    QString text = QString::fromUtf8(tsyncTranslated(title.constData(), tsyncMessageLocale()));
    action.setText(text.replace(QLatin1Char('&'), QLatin1String("&&"))); // it marks no key here
    if (!item.image.isEmpty())
        action.setIcon(item.image.startsWith(QLatin1Char('/'))
                           ? QIcon(item.image)
                           : QIcon::fromTheme(QStringLiteral("tsyncfinder")));
    action.setEnabled(item.isEnabled &&
                      (!item.hasSubmenu || !item.submenu.empty())); // it would open to nothing
    if (!item.hasSubmenu) {
        connect(&action, &QAction::triggered, this,
                [this, identifier = item.identifier] { keeper.activate(identifier, selection); });
    } else if (!item.submenu.empty()) {
        submenus.push_back(std::make_unique<QMenu>());
        QMenu* const menu = submenus.back().get();
        action.setMenu(menu);
        for (const MenuItem& below : item.submenu)
            make(*menu->addAction(QString()), below);
    }
}

} // namespace hosts::dolphin
