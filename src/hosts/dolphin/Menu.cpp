#include "hosts/dolphin/Menu.h"

#include "protocol/translations.h"

#include <QIcon>
#include <utility>

namespace hosts::dolphin {

Menu::Menu(BadgeKeeper& ofKeeper, QList<QUrl> ofSelection, bool isDirectory)
    : keeper(ofKeeper), selection(std::move(ofSelection)), isFirstDirectory(isDirectory) {
    const MenuItems* const nothing = keeper.menuOf(TSYNC_CLASS_NOTHING);
    if (nothing == nullptr || selection.isEmpty()) return;
    for (const MenuItem& item : *nothing) {
        tops.push_back(std::make_unique<QAction>());
        make(*tops.back(), item);
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
    const std::optional<TSyncSelectionClass> selectionClass = keeper.classify(selection, isFirstDirectory);
    if (!selectionClass) {
        keeper.wait(this);
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
