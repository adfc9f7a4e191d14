#include "backends/qt/PeopleModel.h"

#include "backends/qt/texts.h"

#include <QCollator>
#include <QLocale>
#include <algorithm>
#include <tuple>

namespace backends::qt {

PeopleModel::PeopleModel(const std::vector<platform::Person>& people, QObject* parent)
    : QAbstractTableModel(parent) {
    for (const platform::Person& person : people) {
        QString name = QString::fromStdString(person.firstName.value_or(""));
        if (person.lastName) name += QStringLiteral(" ") + QString::fromStdString(*person.lastName);
        for (const std::string& email : person.emails)
            rows.push_back({name.trimmed(), QString::fromStdString(email)});
    }
    // The C locale orders code points: small letters and accents would come after Z.
    const QLocale language = QLocale().collation();
    const QCollator collator(language == QLocale::c() ? QLocale(QLocale::English) : language);
    std::vector<std::tuple<bool, QCollatorSortKey, std::size_t>> order;
    order.reserve(rows.size());
    for (std::size_t row = 0; row < rows.size(); ++row) {
        const bool isUnnamed = rows[row].name.isEmpty();
        order.emplace_back(isUnnamed, collator.sortKey(isUnnamed ? rows[row].email : rows[row].name), row);
    }
    std::sort(order.begin(), order.end());
    std::vector<Row> ordered;
    ordered.reserve(rows.size());
    for (const auto& [isUnnamed, key, row] : order)
        ordered.push_back(std::move(rows[row]));
    rows = std::move(ordered);
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
