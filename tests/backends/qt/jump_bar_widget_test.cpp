#include "backends/qt/JumpBarWidget.h"
#include "tests/backends/qt/finding.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>

namespace backends::qt {
namespace {

platform::MenuHandle menuWith(std::initializer_list<const char*> titles) {
    const platform::MenuHandle menu = platform::Menu::create();
    for (const char* title : titles) {
        const auto item = menu->addItem(title);
        item->representedObject = title;
        item->image = platform::imageNamed("fldr");
    }
    return menu;
}

QImage pictureOf(QWidget& widget, double scale) {
    QImage image(widget.size() * scale, QImage::Format_RGB32);
    image.setDevicePixelRatio(scale);
    image.fill(Qt::red); // what the bar does not draw would show
    widget.render(&image, {}, {}, QWidget::DrawChildren);
    return image;
}

int greyAt(const QImage& image, int x, int y) {
    const QColor color = image.pixelColor(x, y);
    EXPECT_EQ(color.red(), color.blue());
    return color.red();
}

TEST(JumpBarWidget, DrawsItsOwnGreysInEveryThemeAndByTheKeyState) {
    QWidget window;
    window.resize(300, 60);
    JumpBarWidget widget(&window);
    widget.setGeometry(0, 0, 300, 30);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    QPalette dark;
    dark.setColor(QPalette::Window, Qt::darkBlue);
    window.setPalette(dark);
    for (const double scale : {1.0, 2.0}) {
        const QImage image = pictureOf(widget, scale);
        const int right = image.width() - 1;
        const int below = image.height() - 1;
        for (const QPoint& edge :
             {QPoint(0, 0), QPoint(right, 0), QPoint(0, below), QPoint(right, below / 2)})
            EXPECT_NEAR(greyAt(image, edge.x(), edge.y()), 84, 1); // of 255: 0.33
        const int inside = static_cast<int>(scale);
        EXPECT_GT(greyAt(image, 50, inside), greyAt(image, 50, below - inside) + 20) << "lightest above";
    }
    QWidget other;
    other.show();
    other.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&other));
    widget.bar().setEnabled(true);
    EXPECT_NEAR(greyAt(pictureOf(widget, 1.0), 0, 0), 128, 1) << "its window is not the key window";
}

TEST(JumpBarWidget, ShrinksDrawsAndDropsLabelsWithTheLayout) {
    JumpBarWidget widget;
    widget.resize(400, 30);
    const platform::MenuHandle menu = menuWith({"A folder with a long name"});
    menu->itemAtIndex(0)->setSubmenu(menuWith({"Another folder with a long name"}));
    menu->itemAtIndex(0)->submenu()->itemAtIndex(0)->setSubmenu(menuWith({"Last"}));
    widget.bar().setMenu(menu);
    widget.bar().setSelectedIndexPath(platform::indexPath({0, 0, 0}));
    widget.bar().setAccessoryMenu(menuWith({"Tools"}));
    widget.show();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&widget));
    const auto label = [&](int level) {
        return widget.findChild<QWidget*>(QStringLiteral("jumpBarLabel%1").arg(level));
    };
    const auto endOf = [&](int level) { return label(level)->geometry().right() + 1; };
    for (const int width : {640, 180}) {
        widget.resize(width, 30);
        EXPECT_EQ(label(2)->x(), endOf(1));
        EXPECT_EQ(label(3)->x(), endOf(2));
        EXPECT_EQ(endOf(-1), width);
    }
    EXPECT_LE(endOf(3), label(-1)->x());
    EXPECT_EQ(label(1)->toolTip(), "<qt>A folder with a long name") << "a shrunk label is not shown whole";
    // The icon of the folder is drawn at both scales, at its place: 5 points from the left, in the middle.
    for (const double scale : {1.0, 2.0}) {
        const QColor pixel = pictureOf(widget, scale).pixelColor(QPoint(15, 17) * scale);
        EXPECT_GT(pixel.blue(), pixel.red() + 40);
    }
    label(3)->setFocus();
    QTest::keyClick(label(3), Qt::Key_Left);
    EXPECT_TRUE(label(2)->hasFocus());
    widget.bar().setSelectedIndexPath(platform::indexPath({0}));
    EXPECT_TRUE(label(1)->hasFocus()) << "the focus stays in the bar";
    EXPECT_TRUE(eventually([&] { return label(2) == nullptr; }));

    click(label(-1));
    ASSERT_NE(openList(), nullptr);
    QApplication::activePopupWidget()->close();
    EXPECT_EQ(widget.bar().labels().at(-1)->clickedMenu(), nullptr);
    widget.bar().setEnabled(false);
    click(label(-1));
    EXPECT_EQ(openList(), nullptr);
}

} // namespace
} // namespace backends::qt
