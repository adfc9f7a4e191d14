#include "backends/qt/accessibility.h"

#include "backends/qt/JumpBarLabelWidget.h"
#include "backends/qt/JumpBarWidget.h"
#include "backends/qt/MenuPopup.h"

#include <QAccessible>
#include <QAccessibleWidget>

namespace backends::qt {
namespace {

// A label is a button that opens a menu.
class AccessibleLabel final : public QAccessibleWidget {
  public:
    explicit AccessibleLabel(JumpBarLabelWidget& widget)
        : QAccessibleWidget(&widget, QAccessible::ButtonMenu), label(widget) {}

    QAccessible::State state() const override {
        QAccessible::State state = QAccessibleWidget::state();
        state.hasPopup = true;
        return state;
    }
    QStringList actionNames() const override {
        return QStringList{pressAction(), showMenuAction()} + QAccessibleWidget::actionNames();
    }
    void doAction(const QString& action) override {
        if (action == pressAction() || action == showMenuAction())
            label.openMenu();
        else
            QAccessibleWidget::doAction(action);
    }

  private:
    JumpBarLabelWidget& label;
};

// A widget of that role from which a menu may hang. The toolkit tells of no popup by itself.
template <typename Widget>
class WithMenu final : public QAccessibleWidget {
  public:
    WithMenu(Widget& holder, QAccessible::Role role) : QAccessibleWidget(&holder, role), widget(holder) {}

    int childCount() const override { return QAccessibleWidget::childCount() + (widget.openMenu() ? 1 : 0); }
    QAccessibleInterface* child(int index) const override {
        return index == QAccessibleWidget::childCount() && widget.openMenu()
                   ? QAccessible::queryAccessibleInterface(widget.openMenu())
                   : QAccessibleWidget::child(index);
    }
    int indexOfChild(const QAccessibleInterface* item) const override {
        return item != nullptr && item->object() == widget.openMenu() && widget.openMenu()
                   ? QAccessibleWidget::childCount()
                   : QAccessibleWidget::indexOfChild(item);
    }

  private:
    Widget& widget;
};

QAccessibleInterface* interfaceOf(const QString&, QObject* object) {
    if (auto* label = qobject_cast<JumpBarLabelWidget*>(object)) return new AccessibleLabel(*label);
    if (auto* bar = qobject_cast<JumpBarWidget*>(object))
        return new WithMenu<JumpBarWidget>(*bar, QAccessible::Grouping);
    if (auto* popup = qobject_cast<MenuPopup*>(object))
        return new WithMenu<MenuPopup>(*popup, QAccessible::PopupMenu);
    return nullptr;
}

} // namespace

void describeToAssistivePrograms() { QAccessible::installFactory(interfaceOf); }

} // namespace backends::qt
