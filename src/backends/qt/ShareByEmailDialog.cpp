#include "backends/qt/ShareByEmailDialog.h"

#include "backends/qt/Images.h"
#include "backends/qt/PeopleModel.h"
#include "backends/qt/texts.h"

#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSortFilterProxyModel>
#include <QTreeView>
#include <QVBoxLayout>

namespace backends::qt {
namespace {

constexpr int iconSize = 48;

} // namespace

ShareByEmailDialog::ShareByEmailDialog(const Surroundings& surroundings, const std::string& localPath) {
    build();
    logic = std::make_unique<panels::TSFPShareByEmailController>(
        panels::TSFPShareByEmailController::Surroundings{
            *this, surroundings.addressBook, surroundings.mainQueue, surroundings.backgroundQueue,
            surroundings.fileSystem, surroundings.log, surroundings.send},
        localPath);
    fillPicker();
}

ShareByEmailDialog::~ShareByEmailDialog() = default;

void ShareByEmailDialog::build() {
    setObjectName(QStringLiteral("TSFPShareByEmailController"));
    setWindowTitle(shown("Share by email"));

    imageFile = new QLabel(this);
    imageFile->setFixedSize(iconSize, iconSize);
    textFieldInfo = new QLabel(this);
    textFieldInfo->setObjectName(QStringLiteral("textFieldInfo"));
    textFieldInfo->setTextFormat(Qt::PlainText);
    textFieldInfo->setWordWrap(true);
    field = new TokenField(*this, this);

    search = new QLineEdit(this);
    search->setObjectName(QStringLiteral("search"));
    search->setPlaceholderText(shown("Search"));
    search->setAccessibleName(shown("Search"));
    search->setClearButtonEnabled(true);
    peoplePicker = new QTreeView(this);
    peoplePicker->setObjectName(QStringLiteral("peoplePicker"));
    peoplePicker->setAccessibleName(shown("Address book"));
    peoplePicker->setRootIsDecorated(false);
    peoplePicker->setUniformRowHeights(true); // so that ten thousand people open at once
    peoplePicker->setAllColumnsShowFocus(true);
    peoplePicker->setEditTriggers(QAbstractItemView::NoEditTriggers);
    peoplePicker->setSelectionMode(QAbstractItemView::ExtendedSelection);
    addButton = new QPushButton(shown("Add"), this);
    addButton->setObjectName(QStringLiteral("add"));
    addButton->setAutoDefault(false);
    addButton->setEnabled(false);

    auto* buttons = new QDialogButtonBox(this);
    buttonOk = buttons->addButton(shown("OK"), QDialogButtonBox::AcceptRole);
    buttonOk->setObjectName(QStringLiteral("ok"));
    buttonOk->setDefault(true);
    buttonOk->setEnabled(false);
    buttonCancel = buttons->addButton(shown("Cancel"), QDialogButtonBox::RejectRole);
    buttonCancel->setObjectName(QStringLiteral("cancel"));
    buttonCancel->setAutoDefault(false); // Enter is OK, also while OK is still disabled

    auto* top = new QHBoxLayout;
    top->setSpacing(12);
    top->addWidget(imageFile, 0, Qt::AlignTop);
    auto* question = new QVBoxLayout;
    question->addWidget(textFieldInfo);
    question->addWidget(field);
    top->addLayout(question, 1);
    auto* finding = new QHBoxLayout;
    finding->addWidget(search, 1);
    finding->addWidget(addButton);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 20, 20, 16);
    layout->setSpacing(12);
    layout->addLayout(top);
    layout->addLayout(finding);
    layout->addWidget(peoplePicker, 1);
    layout->addWidget(buttons);
    resize(540, 480);
    field->setFocus();

    connect(buttonOk, &QPushButton::clicked, this, [this] { logic->okAction(); });
    connect(buttonCancel, &QPushButton::clicked, this, [this] { logic->cancelAction(); });
    connect(addButton, &QPushButton::clicked, this, [this] { logic->select(); });
    connect(peoplePicker, &QTreeView::doubleClicked, this, [this] { logic->select(); });
}

void ShareByEmailDialog::fillPicker() {
    found = new QSortFilterProxyModel(this);
    found->setSourceModel(new PeopleModel(logic->people(), found));
    found->setFilterCaseSensitivity(Qt::CaseInsensitive);
    found->setFilterKeyColumn(-1);
    peoplePicker->setModel(found);
    peoplePicker->header()->setStretchLastSection(true);
    peoplePicker->header()->resizeSection(0, 220);
    connect(search, &QLineEdit::textChanged, found, &QSortFilterProxyModel::setFilterFixedString);
    connect(peoplePicker->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this] { addButton->setEnabled(peoplePicker->selectionModel()->hasSelection()); });
    const bool isEmpty = found->rowCount() == 0;
    search->setEnabled(!isEmpty);
    peoplePicker->setEnabled(!isEmpty);
}

std::vector<std::string> ShareByEmailDialog::recipients() const {
    std::vector<std::string> addresses;
    for (const panels::FieldObject& object : emails())
        addresses.push_back(logic->editingStringForRepresentedObject(object));
    return addresses;
}

void ShareByEmailDialog::runModal() { exec(); }

void ShareByEmailDialog::reject() { logic->cancelAction(); }

void ShareByEmailDialog::setInfo(const platform::DisplayText& info) { textFieldInfo->setText(shown(info)); }

void ShareByEmailDialog::setIcon(const platform::ImageHandle& icon) {
    imageFile->setPixmap(themedFileIcon(icon->name).pixmap(QSize(iconSize, iconSize), devicePixelRatioF()));
}

void ShareByEmailDialog::setOkEnabled(bool enabled) { buttonOk->setEnabled(enabled); }
std::vector<panels::FieldObject> ShareByEmailDialog::emails() const { return field->objects(); }
void ShareByEmailDialog::setEmails(const std::vector<panels::FieldObject>& objects) {
    field->setObjects(objects);
}

std::vector<std::string> ShareByEmailDialog::pickerSelectedValues() const {
    std::vector<std::string> addresses;
    for (const QModelIndex& index : peoplePicker->selectionModel()->selectedRows(1))
        addresses.push_back(index.data(Qt::DisplayRole).toString().toStdString());
    return addresses;
}

void ShareByEmailDialog::close() { hide(); }
void ShareByEmailDialog::stopModal() { done(0); }

std::vector<std::string> ShareByEmailDialog::completionsForSubstring(std::string_view typed) {
    return logic->completionsForSubstring(typed);
}
std::vector<panels::FieldObject>
ShareByEmailDialog::shouldAddObjects(const std::vector<panels::FieldObject>& objects) {
    return logic->shouldAddObjects(objects);
}
std::string ShareByEmailDialog::displayStringForRepresentedObject(const panels::FieldObject& object) {
    return logic->displayStringForRepresentedObject(object);
}
std::string ShareByEmailDialog::editingStringForRepresentedObject(const panels::FieldObject& object) {
    return logic->editingStringForRepresentedObject(object);
}
panels::TokenStyle ShareByEmailDialog::styleForRepresentedObject(const panels::FieldObject& object) {
    return panels::TSFPShareByEmailController::styleForRepresentedObject(object);
}
void ShareByEmailDialog::controlTextDidChange() { logic->controlTextDidChange(); }

} // namespace backends::qt
