#include "backends/qt/PeopleModel.h"

#include "backends/qt/texts.h"

namespace backends::qt {

PeopleModel::PeopleModel(const std::vector<platform::Person>& people, QObject* parent)
    : QAbstractTableModel(parent) {
    for (const platform::Person& person : people) {
        QString name = QString::fromStdString(person.firstName.value_or(""));
        if (person.lastName) name += QStringLiteral(" ") + QString::fromStdString(*person.lastName);
        for (const std::string& email : person.emails)
            rows.push_back({name.trimmed(), QString::fromStdString(email)});
    }
}

int PeopleModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(rows.size());
}

int PeopleModel::columnCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : 2; }

QVariant PeopleModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || (role != Qt::DisplayRole && role != Qt::ToolTipRole)) return {};
    const Row& row = rows[static_cast<std::size_t>(index.row())];
    return index.column() == 0 ? row.name : row.email;
}

QVariant PeopleModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
    return section == 0 ? shown("Name") : shown("E-mail");
}

} // namespace backends::qt
