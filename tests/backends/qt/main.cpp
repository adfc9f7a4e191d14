// The tests of the windows run without a screen, in English, and with the toolkit's own style.
#include <gtest/gtest.h>

#include <QApplication>
#include <cstdlib>

int main(int count, char** arguments) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    setenv("LC_ALL", "C.UTF-8", 1);
    testing::InitGoogleTest(&count, arguments);
    QApplication application(count, arguments);
    QApplication::setStyle(QStringLiteral("Fusion"));
    return RUN_ALL_TESTS();
}
