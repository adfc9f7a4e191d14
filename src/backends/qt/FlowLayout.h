// Places its items from left to right in rows, as words in a text. The last one takes the rest of its row.
#pragma once

#include <QLayout>
#include <memory>
#include <vector>

namespace backends::qt {

class FlowLayout final : public QLayout {
  public:
    using QLayout::QLayout;
    ~FlowLayout() override;

    void insertWidget(int index, QWidget* widget);

    void addItem(QLayoutItem* item) override; // takes the item over
    int count() const override { return static_cast<int>(items.size()); }
    QLayoutItem* itemAt(int index) const override;
    QLayoutItem* takeAt(int index) override;
    QSize sizeHint() const override { return minimumSize(); }
    QSize minimumSize() const override;
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override { return place(QRect(0, 0, width, 0), false); }
    void setGeometry(const QRect& rect) override;

  private:
    int place(const QRect& rect, bool move) const; // the height it takes

    std::vector<std::unique_ptr<QLayoutItem>> items;
};

} // namespace backends::qt
