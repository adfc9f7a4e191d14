// The lower bound of a panel's opening: a dialog of the same toolkit with a label and a button, and nothing
// behind it. Says on standard output when its first frame is painted.
#include <QApplication>
#include <QDialog>
#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>
#include <cstdio>

namespace {

class BareDialog final : public QDialog {
  protected:
    void paintEvent(QPaintEvent* event) override {
        QDialog::paintEvent(event);
        if (isSaid) return;
        isSaid = true;
        QTimer::singleShot(0, this, [] {
            std::puts("{\"shown\":true}");
            std::fflush(stdout);
        });
    }

  private:
    bool isSaid = false;
};

} // namespace

int main(int count, char** words) {
    QApplication application(count, words);
    BareDialog dialog;
    auto* layout = new QVBoxLayout(&dialog);
    layout->addWidget(new QLabel(QStringLiteral("Where do you want to sync"), &dialog));
    layout->addWidget(new QPushButton(QStringLiteral("OK"), &dialog));
    return dialog.exec();
}
