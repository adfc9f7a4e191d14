#include "backends/qt/MenuPopup.h"

#include "backends/qt/MenuItemPainter.h"
#include "backends/qt/drawing.h"
#include "backends/qt/texts.h"

#include <QApplication>
#include <QCursor>
#include <QKeyEvent>
#include <QLineEdit>
#include <QListView>
#include <QMouseEvent>
#include <QScreen>
#include <QScrollBar>
#include <QStyleOption>
#include <QStylePainter>
#include <QVBoxLayout>
#include <algorithm>

namespace backends::qt {
namespace {

constexpr double padding = 3;             // points: above and below the items
constexpr int rowsWithoutFilter = 20;     // a longer menu shows its search line at once
constexpr double maximumListHeight = 520; // points
constexpr double step = 24;               // points: of a submenu below its row
constexpr double leastHeight = 140;       // points: of a submenu below its row, before it opens above
constexpr int submenuDelay = 180;         // milliseconds: longer than a diagonal way into the open submenu

} // namespace

MenuPopup::MenuPopup(const platform::MenuHandle& menu, MenuPopupOwner& popupOwner, QWidget* parent)
    : QWidget(parent, Qt::Popup), owner(popupOwner), model(menu) {
    build();
}

MenuPopup::MenuPopup(const platform::MenuHandle& menu, MenuPopup& parentPopup)
    : QWidget(&parentPopup, Qt::Popup), owner(parentPopup.owner), above(&parentPopup), model(menu) {
    build();
}

void MenuPopup::build() {
    setObjectName(QStringLiteral("menuPopup"));
    setAttribute(Qt::WA_DeleteOnClose);
    setAttribute(Qt::WA_NoMouseReplay); // a click on the label that opened the menu only closes it
    // The looks of the desktop's own menus, and their shadow where the window system draws one.
    setAttribute(Qt::WA_X11NetWmWindowTypePopupMenu);
    setProperty("_KDE_NET_WM_FORCE_SHADOW", true);
    setPalette(QApplication::palette("QMenu"));
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
    list->viewport()->setAutoFillBackground(false); // the menu's own shows
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
    const int frame = frameWidth();
    layout->setContentsMargins(frame, frame + pixels(padding), frame, frame + pixels(padding));
    layout->setSpacing(pixels(padding));
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

int MenuPopup::frameWidth() const {
    return std::max(1, style()->pixelMetric(QStyle::PM_MenuPanelWidth, nullptr, this));
}

// From the upper edge of the popup.
int MenuPopup::topOfList() const {
    const int search = filter->isHidden() ? 0 : filter->sizeHint().height() + pixels(padding);
    return frameWidth() + pixels(padding) + search;
}

// The height of the first rows.
QSize MenuPopup::contentSize(int rows) const {
    QSize size(0, 0);
    for (int row = 0; row < rows; ++row) {
        const QSize one = MenuItemPainter::sizeOf(model.index(row));
        size = {std::max(size.width(), one.width()), size.height() + one.height()};
    }
    return size;
}

void MenuPopup::fitTo(QSize room) {
    const QSize content = contentSize(model.rowCount());
    const int chrome = topOfList() + pixels(padding) + frameWidth();
    const int height = std::min({content.height(), pixels(maximumListHeight), room.height() - chrome});
    const bool scrolls = height < content.height();
    list->setVerticalScrollBarPolicy(scrolls ? Qt::ScrollBarAlwaysOn : Qt::ScrollBarAlwaysOff);
    const int bar = scrolls ? list->verticalScrollBar()->sizeHint().width() : 0;
    list->setFixedHeight(height);
    int width = content.width() + bar + 2 * frameWidth();
    if (!filter->text().isEmpty()) width = std::max(width, this->width()); // does not jump while one types
    layout()->activate(); // or the former height of the list would hold the popup open
    resize(std::min(width, room.width()), height + chrome);
}

void MenuPopup::popUp(QPoint at, const platform::MenuItem& item) {
    const QScreen* shownOn = QApplication::screenAt(at);
    const QRect area = (shownOn != nullptr ? shownOn : QApplication::primaryScreen())->availableGeometry();
    fitTo(area.size());
    const QModelIndex index = model.indexOf(&item);
    const int before = contentSize(index.isValid() ? index.row() : 0).height();
    const int furthest = contentSize(model.rowCount()).height() - list->height();
    int scrolled = std::clamp(before - list->height() / 2, 0, furthest);
    const int x =
        std::clamp(at.x() - frameWidth(), area.left(), std::max(area.left(), area.right() + 1 - width()));
    const int y = std::clamp(at.y() - topOfList() - before + scrolled, area.top(),
                             std::max(area.top(), area.bottom() + 1 - height()));
    scrolled =
        std::clamp(y + topOfList() + before - at.y(), 0, furthest); // where the screen's edge was in the way
    move(x, y);
    openedAt = QCursor::pos();
    show();
    if (index.isValid() && (model.flags(index) & Qt::ItemIsEnabled)) list->setCurrentIndex(index);
    list->scrollTo(index); // lays the rows out
    list->verticalScrollBar()->setValue(scrolled);
}

// The row is the one that this submenu belongs to, in the coordinates of the screen.
void MenuPopup::placeBeside(const QRect& row, const QRect& area) {
    fitTo(area.size());
    const int overlap = frameWidth();
    const int right = above->x() + above->width() - overlap;
    const int left = above->x() - width() + overlap;
    const bool fitsRight = right + width() <= area.right() + 1;
    const bool fitsLeft = left >= area.left();
    const bool isFirst = above->above == nullptr;
    opensToTheLeft = isFirst ? !fitsRight && fitsLeft : above->opensToTheLeft;
    const int lowest = std::max(area.top(), area.bottom() + 1 - height());
    if (opensToTheLeft ? fitsLeft : fitsRight) {
        move(opensToTheLeft ? left : right, std::clamp(row.top() - topOfList(), area.top(), lowest));
        return;
    }
    const int below = area.bottom() - row.bottom();
    int y = row.bottom() + 1;
    if (below < std::min(height(), pixels(leastHeight)))
        y = std::max(area.top(), row.top() - height());
    else
        fitTo({area.width(), below});
    move(
        std::clamp(above->x() + pixels(step), area.left(), std::max(area.left(), area.right() + 1 - width())),
        y);
}

void MenuPopup::keepOnScreen() {
    const QRect area = screen()->availableGeometry();
    if (above != nullptr) {
        const QModelIndex holder = above->model.indexOf(above->submenuHolder.get());
        QRect row = above->list->visualRect(holder);
        row.moveTopLeft(above->list->viewport()->mapToGlobal(row.topLeft()));
        placeBeside(row, area);
        return;
    }
    fitTo(area.size());
    move(x(), std::clamp(y(), area.top(), std::max(area.top(), area.bottom() + 1 - height())));
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
    keepOnScreen();
    if (hadCurrent || openedByKeyboard) selectFirst();
}

void MenuPopup::typed(const QString& text) {
    closeSubmenu();
    model.setFilter(text);
    fitTo(screen()->availableGeometry().size());
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
    owner.itemHighlighted(*model.menu(), *item); // again, so that what got no answer is asked for again
    submenuHolder = item;
    submenu = new MenuPopup(item->submenu(), *this);
    submenu->openedByKeyboard = byKeyboard;
    submenu->keepOnScreen();
    submenu->openedAt = QCursor::pos();
    submenu->show();
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
    QWidget::closeEvent(event);
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
    return QWidget::eventFilter(watched, event);
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

void MenuPopup::paintEvent(QPaintEvent*) {
    QStylePainter painter(this);
    QStyleOptionMenuItem background;
    background.initFrom(this);
    background.state = QStyle::State_None;
    background.menuRect = rect();
    painter.drawPrimitive(QStyle::PE_PanelMenu, background);
    QStyleOptionFrame frame;
    frame.initFrom(this);
    frame.state = QStyle::State_None;
    frame.lineWidth = frameWidth();
    painter.drawPrimitive(QStyle::PE_FrameMenu, frame);
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
