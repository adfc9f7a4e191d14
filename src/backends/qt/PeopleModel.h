// The people of the address book as rows of name and e-mail address, one row an address, ordered by name as
// the session's language orders names; people without a name come last. Main thread only.
#pragma once

#include "platform/AddressBook.h"

#include <QAbstractTableModel>
#include <QString>
#include <vector>

namespace backends::qt {

class PeopleModel final : public QAbstractTableModel {
    Q_OBJECT
  public:
    PeopleModel(const std::vector<platform::Person>& people, QObject* parent);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

  private:
    struct Row {
        QString name;
        QString email;
    };
    std::vector<Row> rows;
};

} // namespace backends::qt
