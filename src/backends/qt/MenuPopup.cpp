#include "backends/qt/MenuPopup.h"

#include "backends/qt/MenuItemPainter.h"
#include "backends/qt/texts.h"

#include <QApplication>
#include <QCursor>
#include <QKeyEvent>
#include <QLineEdit>
#include <QListView>
#include <QMouseEvent>
#include <QScreen>
#include <QScrollBar>
#include <QVBoxLayout>
#include <algorithm>

namespace backends::qt {
namespace {

constexpr int outline = 1;
constexpr int padding = 3;             // above and below the items
constexpr int rowsWithoutFilter = 20;  // a longer menu shows its search line at once
constexpr int maximumListHeight = 520; // points
constexpr int submenuDelay = 180;      // milliseconds: longer than a diagonal way into the open submenu

} // namespace

MenuPopup::MenuPopup(const platform::MenuHandle& menu, MenuPopupOwner& popupOwner, QWidget* parent)
    : QFrame(parent, Qt::Popup), owner(popupOwner), model(menu) {
    build();
}

MenuPopup::MenuPopup(const platform::MenuHandle& menu, MenuPopup& parentPopup)
    : QFrame(&parentPopup, Qt::Popup), owner(parentPopup.owner), above(&parentPopup), model(menu) {
    build();
}

void MenuPopup::build() {
    setObjectName(QStringLiteral("menuPopup"));
    setAttribute(Qt::WA_DeleteOnClose);
    setAttribute(Qt::WA_NoMouseReplay); // a click on the label that opened the menu only closes it
    setFrameStyle(QFrame::Box | QFrame::Plain);
    setLineWidth(outline);
    setMouseTracking(true);

    filter = new QLineEdit(this);
    filter->setPlaceholderText(shown("Search"));
    filter->setAccessibleName(shown("Search"));
    filter->setClearButtonEnabled(true);
    filter->setVisible(model.rowCount() > rowsWithoutFilter);
    filter->installEventFilter(this);
    connect(filter, &QLineEdit::textChanged, this, &MenuPopup::typed);

    list = new QListView(this);
    list->setModel(&model);
    list->setItemDelegate(new MenuItemPainter(list));
    list->setFrameShape(QFrame::NoFrame);
    list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    list->setMouseTracking(true);
    list->viewport()->setMouseTracking(true);
    list->installEventFilter(this);
    list->viewport()->installEventFilter(this);
    const QString name = model.menu()->parentItem() == nullptr ? shown("Destination")
                                                               : shownTitle(*model.menu()->parentItem());
    list->setAccessibleName(name);
    setAccessibleName(name);
    connect(list->selectionModel(), &QItemSelectionModel::currentChanged, this, &MenuPopup::currentChanged);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(outline, outline + padding, outline, outline + padding);
    layout->setSpacing(padding);
    layout->addWidget(filter);
    layout->addWidget(list);

    submenuTimer.setSingleShot(true);
    submenuTimer.setInterval(submenuDelay);
    connect(&submenuTimer, &QTimer::timeout, this, [this] {
        const platform::MenuItemHandle item = model.item(list->currentIndex());
        if (item == submenuHolder) return;
        closeSubmenu();
        openSubmenu(false);
    });
    list->setFocus();
}

void MenuPopup::fitTo(const QRect& screen) {
    int contentHeight = 0;
    int contentWidth = 0;
    for (int row = 0; row < model.rowCount(); ++row) {
        const QSize size = MenuItemPainter::sizeOf(model.index(row));
        contentHeight += size.height();
        contentWidth = std::max(contentWidth, size.width());
    }
    const int chrome =
        2 * (outline + padding) + (filter->isHidden() ? 0 : filter->sizeHint().height() + padding);
    const int height = std::min({contentHeight, maximumListHeight, screen.height() - chrome});
    list->setVerticalScrollBarPolicy(height < contentHeight ? Qt::ScrollBarAlwaysOn : Qt::ScrollBarAlwaysOff);
    const int bar = height < contentHeight ? list->verticalScrollBar()->sizeHint().width() : 0;
    list->setFixedHeight(height);
    resize(std::min(contentWidth + bar + 2 * outline, screen.width()), height + chrome);
}

int MenuPopup::topOf(const QModelIndex& index) const {
    return list->mapTo(this, list->viewport()->mapTo(list, list->visualRect(index).topLeft())).y();
}

void MenuPopup::popUp(QPoint at, const platform::MenuItem* item) {
    const QScreen* shownOn = QApplication::screenAt(at);
    const QRect screen = (shownOn != nullptr ? shownOn : QApplication::primaryScreen())->availableGeometry();
    fitTo(screen);
    layout()->activate();
    const QModelIndex index = item == nullptr ? QModelIndex() : model.indexOf(item);
    int top = outline + padding;
    if (index.isValid()) {
        list->scrollTo(index, QAbstractItemView::PositionAtCenter);
        top = topOf(index);
    }
    const int x = std::clamp(at.x(), screen.left(), std::max(screen.left(), screen.right() + 1 - width()));
    const int y =
        std::clamp(at.y() - top, screen.top(), std::max(screen.top(), screen.bottom() + 1 - height()));
    move(x, y);
    openedAt = QCursor::pos();
    show();
    if (index.isValid() && (model.flags(index) & Qt::ItemIsEnabled)) list->setCurrentIndex(index);
}

void MenuPopup::menuChanged(const platform::Menu& menu) {
    if (model.menu().get() == &menu) itemsChanged();
    if (submenu) submenu->menuChanged(menu);
}

void MenuPopup::itemsChanged() {
    const bool hadCurrent = list->currentIndex().isValid();
    closeSubmenu();
    model.reload();
    if (model.rowCount() > rowsWithoutFilter) filter->show();
    const QRect area = screen()->availableGeometry();
    fitTo(area);
    move(x(), std::clamp(y(), area.top(), std::max(area.top(), area.bottom() + 1 - height())));
    if (hadCurrent || openedByKeyboard) selectFirst();
}

void MenuPopup::typed(const QString& text) {
    closeSubmenu();
    model.setFilter(text);
    fitTo(screen()->availableGeometry());
    selectFirst();
}

void MenuPopup::selectFirst() {
    for (int row = 0; row < model.rowCount(); ++row) {
        if (!(model.flags(model.index(row)) & Qt::ItemIsEnabled)) continue;
        list->setCurrentIndex(model.index(row));
        return;
    }
}

void MenuPopup::currentChanged(const QModelIndex& index) {
    const platform::MenuItemHandle item = model.item(index);
    if (!item) return;
    if (item != submenuHolder) submenuTimer.stop();
    owner.itemHighlighted(*model.menu(), *item);
}

void MenuPopup::openSubmenu(bool byKeyboard) {
    const QModelIndex index = list->currentIndex();
    const platform::MenuItemHandle item = model.item(index);
    if (!item || !item->enabled || !item->submenu()) return;
    submenuTimer.stop();
    submenuHolder = item;
    submenu = new MenuPopup(item->submenu(), *this);
    submenu->openedByKeyboard = byKeyboard;
    const QRect row = list->visualRect(index);
    const QRect area = screen()->availableGeometry();
    submenu->fitTo(area);
    QPoint at = list->viewport()->mapToGlobal(row.topRight());
    at.rx() = x() + width() - outline;
    if (at.x() + submenu->width() > area.right()) at.rx() = x() - submenu->width() + outline;
    submenu->popUp(at, nullptr);
    if (byKeyboard) submenu->selectFirst();
}

void MenuPopup::closeSubmenu() {
    if (submenu) submenu->close();
    submenu = nullptr;
    submenuHolder = nullptr;
}

MenuPopup& MenuPopup::root() { return above == nullptr ? *this : above->root(); }

void MenuPopup::choose(const QModelIndex& index) {
    const platform::MenuItemHandle item = model.item(index);
    if (!item || !item->enabled) return;
    MenuPopup& whole = root();
    if (whole.settled) return;
    whole.settled = true;
    MenuPopupOwner& told = owner;
    whole.close(); // this popup lives on until the event loop comes to delete it
    told.itemChosen(item);
}

void MenuPopup::closeEvent(QCloseEvent* event) {
    submenuTimer.stop();
    closeSubmenu();
    QFrame::closeEvent(event);
    if (above != nullptr || settled) return;
    settled = true;
    owner.menuDismissed();
}

bool MenuPopup::navigate(QKeyEvent& key, bool inFilter) {
    switch (key.key()) {
    case Qt::Key_Escape:
        root().close();
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        choose(list->currentIndex());
        return true;
    case Qt::Key_Right:
        if (inFilter && filter->cursorPosition() < filter->text().size()) return false;
        closeSubmenu();
        openSubmenu(true);
        return true;
    case Qt::Key_Left:
        if (inFilter && filter->cursorPosition() > 0) return false;
        if (above != nullptr) above->closeSubmenu();
        return true;
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
        if (!inFilter) return false;
        QApplication::sendEvent(list, &key);
        return true;
    default:
        break;
    }
    if (inFilter) return false;
    if (key.key() == Qt::Key_Space) {
        choose(list->currentIndex());
        return true;
    }
    const bool isText = !key.text().isEmpty() && key.text().at(0).isPrint() &&
                        !(key.modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier));
    if (!isText) return false;
    filter->show();
    filter->setFocus();
    filter->setText(key.text());
    return true;
}

bool MenuPopup::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
    case QEvent::KeyPress:
        if (watched == list || watched == filter)
            return navigate(*static_cast<QKeyEvent*>(event), watched == filter);
        break;
    case QEvent::MouseMove:
        if (watched == list->viewport()) hover(static_cast<QMouseEvent*>(event)->globalPosition().toPoint());
        break;
    case QEvent::MouseButtonPress:
        if (watched == list->viewport()) mayRelease = true;
        break;
    case QEvent::MouseButtonRelease:
        if (watched == list->viewport()) {
            release(static_cast<QMouseEvent*>(event)->globalPosition().toPoint());
            return true;
        }
        break;
    default:
        break;
    }
    return QFrame::eventFilter(watched, event);
}

MenuPopup* MenuPopup::popupAt(QPoint global) {
    for (MenuPopup* popup = this; popup != nullptr; popup = popup->above)
        if (popup->frameGeometry().contains(global)) return popup;
    return nullptr;
}

// The innermost open popup gets all mouse events, wherever the mouse is.
void MenuPopup::hover(QPoint global) {
    if (QApplication::mouseButtons() != Qt::NoButton &&
        (global - root().openedAt).manhattanLength() >= QApplication::startDragDistance())
        mayRelease = true;
    MenuPopup* popup = popupAt(global);
    if (popup == nullptr) return;
    const QPoint inList = popup->list->viewport()->mapFromGlobal(global);
    const QModelIndex index = popup->list->indexAt(inList);
    if (index.isValid() && (popup->model.flags(index) & Qt::ItemIsEnabled)) {
        if (index != popup->list->currentIndex()) popup->list->setCurrentIndex(index);
        // Only the mouse opens submenus by staying: the keyboard would be taken along into them.
        const bool isOpen = popup->model.item(index) == popup->submenuHolder;
        if (!isOpen && !popup->submenuTimer.isActive()) popup->submenuTimer.start();
    }
    // On the way into a submenu other items were crossed: the one it belongs to is current again.
    for (MenuPopup* parent = popup->above; parent != nullptr; parent = parent->above) {
        parent->submenuTimer.stop();
        const QModelIndex holder = parent->model.indexOf(parent->submenuHolder.get());
        if (holder.isValid() && holder != parent->list->currentIndex()) {
            const QSignalBlocker quiet(parent->list->selectionModel());
            parent->list->setCurrentIndex(holder);
            parent->list->viewport()->update();
        }
    }
}

void MenuPopup::release(QPoint global) {
    if (!mayRelease) return;
    mayRelease = false;
    MenuPopup* popup = popupAt(global);
    if (popup == nullptr) return;
    const QModelIndex index = popup->list->indexAt(popup->list->viewport()->mapFromGlobal(global));
    if (index.isValid()) popup->choose(index);
}

void MenuPopup::mouseMoveEvent(QMouseEvent* event) { hover(event->globalPosition().toPoint()); }

void MenuPopup::mousePressEvent(QMouseEvent* event) {
    const QPoint global = event->globalPosition().toPoint();
    if (popupAt(global) == nullptr) {
        root().close();
        return;
    }
    mayRelease = true;
    hover(global);
}

void MenuPopup::mouseReleaseEvent(QMouseEvent* event) { release(event->globalPosition().toPoint()); }

} // namespace backends::qt
