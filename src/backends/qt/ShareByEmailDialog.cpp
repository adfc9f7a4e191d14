#include "backends/qt/ShareByEmailDialog.h"

#include "backends/qt/PeopleModel.h"
#include "backends/qt/drawing.h"
#include "backends/qt/images.h"
#include "backends/qt/mnemonics.h"
#include "backends/qt/texts.h"

#include <QAccessible>
#include <QApplication>
#include <QDialogButtonBox>
#include <QDir>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QSortFilterProxyModel>
#include <QStackedWidget>
#include <QToolButton>
#include <QTreeView>
#include <QVBoxLayout>
#include <algorithm>
#include <set>

namespace backends::qt {
namespace {

constexpr int iconSize = 48;
constexpr int namedInvalid = 5; // tokens that are named; more would fill the window

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
    field = new TokenField(*this, this);
    invalid = new QLabel(this);
    invalid->setObjectName(QStringLiteral("invalid"));
    for (QLabel* text : {textFieldInfo, invalid}) {
        text->setTextFormat(Qt::PlainText);
        text->setWordWrap(true);
    }
    QPalette ink = invalid->palette();
    ink.setColor(QPalette::WindowText, errorInk(ink));
    invalid->setPalette(ink);
    invalid->hide();

    auto* top = new QHBoxLayout;
    top->setSpacing(12);
    top->addWidget(imageFile, 0, Qt::AlignTop);
    auto* question = new QVBoxLayout;
    question->addWidget(textFieldInfo);
    question->addWidget(field);
    question->addWidget(invalid);
    top->addLayout(question, 1);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 20, 20, 16);
    layout->setSpacing(12);
    layout->addLayout(top);
    layout->addWidget(buildPicker(), 1);

    auto* buttons = new QDialogButtonBox(this);
    buttonOk = buttons->addButton(shown("OK"), QDialogButtonBox::AcceptRole);
    buttonOk->setObjectName(QStringLiteral("ok"));
    buttonOk->setDefault(true);
    buttonOk->setEnabled(false);
    buttonCancel = buttons->addButton(shown("Cancel"), QDialogButtonBox::RejectRole);
    buttonCancel->setObjectName(QStringLiteral("cancel"));
    layout->addWidget(buttons);
    giveMnemonics(*this);
    field->setFocus();

    connect(buttonOk, &QPushButton::clicked, this, &ShareByEmailDialog::confirm);
    connect(buttonCancel, &QPushButton::clicked, this, [this] { logic->cancelAction(); });
    connect(addButton, &QPushButton::clicked, this, &ShareByEmailDialog::addSelected);
    connect(peoplePicker, &QTreeView::doubleClicked, this, [this] { logic->select(); });
}

QWidget* ShareByEmailDialog::buildPicker() {
    search = new QLineEdit(this);
    search->setObjectName(QStringLiteral("search"));
    search->setPlaceholderText(shown("Search"));
    search->setAccessibleName(shown("Search"));
    search->setClearButtonEnabled(true);
    search->findChild<QToolButton*>()->setAccessibleName(shown("Clear"));
    search->installEventFilter(this);
    auto* heading = new QLabel(shown("Address book"), this);
    heading->setBuddy(search);
    addButton = new QPushButton(shown("Add"), this);
    addButton->setObjectName(QStringLiteral("add"));
    addButton->setEnabled(false);

    peoplePicker = new QTreeView(this);
    peoplePicker->setObjectName(QStringLiteral("peoplePicker"));
    peoplePicker->setAccessibleName(shown("Address book"));
    peoplePicker->setRootIsDecorated(false);
    peoplePicker->setUniformRowHeights(true); // so that ten thousand people open at once
    peoplePicker->setAllColumnsShowFocus(true);
    peoplePicker->setEditTriggers(QAbstractItemView::NoEditTriggers);
    peoplePicker->setSelectionMode(QAbstractItemView::ExtendedSelection);
    peoplePicker->installEventFilter(this);
    nobody = new QLabel(this);
    nobody->setObjectName(QStringLiteral("nobody"));
    nobody->setTextFormat(Qt::PlainText);
    nobody->setWordWrap(true);
    nobody->setAlignment(Qt::AlignCenter);
    people = new QStackedWidget(this);
    people->addWidget(peoplePicker);
    people->addWidget(nobody);

    finding = new QWidget(this);
    auto* row = new QHBoxLayout(finding);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(heading);
    row->addWidget(search, 1);
    row->addWidget(addButton);
    auto* picker = new QWidget(this);
    auto* layout = new QVBoxLayout(picker);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(finding);
    layout->addWidget(people, 1);
    return picker;
}

// With an address book in it.
QSize ShareByEmailDialog::roomy() const {
    const QFontMetrics metrics = fontMetrics();
    return QSize(std::max(540, 70 * metrics.averageCharWidth()), std::max(480, 26 * metrics.lineSpacing()))
        .boundedTo(screen()->availableSize() * 0.9);
}

void ShareByEmailDialog::fillPicker() {
    found = new QSortFilterProxyModel(this);
    found->setSourceModel(new PeopleModel(logic->people(), found));
    found->setFilterCaseSensitivity(Qt::CaseInsensitive);
    found->setFilterKeyColumn(-1);
    peoplePicker->setModel(found);
    connect(search, &QLineEdit::textChanged, this, &ShareByEmailDialog::showFound);
    connect(peoplePicker->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this] { addButton->setEnabled(peoplePicker->selectionModel()->hasSelection()); });

    QSize size = roomy();
    if (found->rowCount() == 0) {
        QString folder = QString::fromStdString(logic->folderOfPeople());
        if (const QString home = QDir::homePath(); folder.startsWith(home + u'/'))
            folder.replace(0, home.size(), u'~');
        nobody->setText(
            shown(breakable({"No contacts in %@.\nPut vCard files (.vcf) there to choose from them here.",
                             {folder.toStdString()}})));
        finding->hide();
        people->setCurrentWidget(nobody);
        people->setVisible(!folder.isEmpty());
        size.setHeight(0); // what the layout needs
    }
    resize(size.boundedTo(screen()->availableSize() * 0.9));
    peoplePicker->header()->setStretchLastSection(true);
    peoplePicker->header()->resizeSection(0, width() * 2 / 5);
}

void ShareByEmailDialog::showFound() {
    found->setFilterFixedString(search->text());
    const bool isFound = found->rowCount() > 0;
    if (!isFound) nobody->setText(shown("Nobody is found"));
    people->setCurrentWidget(isFound ? static_cast<QWidget*>(peoplePicker) : nobody);
    // Enter adds whoever is selected: after a search the first one, without a search nobody.
    if (isFound && !search->text().isEmpty())
        peoplePicker->setCurrentIndex(found->index(0, 0));
    else
        peoplePicker->clearSelection();
}

bool ShareByEmailDialog::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Return || key == Qt::Key_Enter) {
            addSelected();
            search->selectAll(); // the next search replaces this one
            return true;
        }
        if (watched == search && key == Qt::Key_Down) {
            peoplePicker->setFocus();
            return true;
        }
    }
    return QDialog::eventFilter(watched, event);
}

void ShareByEmailDialog::addSelected() { field->add(pickerSelectedValues()); }

void ShareByEmailDialog::confirm() {
    if (field->invalidTokens().isEmpty()) {
        logic->okAction();
        return;
    }
    field->focusInvalidToken();
    QApplication::beep();
    QAccessibleEvent alert(invalid, QAccessible::Alert);
    QAccessible::updateAccessibility(&alert);
}

void ShareByEmailDialog::noteInvalid() {
    QStringList texts = field->invalidTokens();
    invalid->setVisible(!texts.isEmpty());
    if (texts.size() > namedInvalid) texts = texts.mid(0, namedInvalid) + QStringList{QStringLiteral("…")};
    const platform::DisplayText note{"Not an e-mail address: %@",
                                     {texts.join(QStringLiteral(", ")).toStdString()}};
    invalid->setText(shown(breakable(note)));
    invalid->setAccessibleName(shown(note));
}

std::vector<std::string> ShareByEmailDialog::recipients() const {
    std::vector<std::string> addresses;
    for (const panels::FieldObject& object : emails())
        addresses.push_back(logic->editingStringForRepresentedObject(object));
    return addresses;
}

void ShareByEmailDialog::runModal() { exec(); }

void ShareByEmailDialog::reject() { logic->cancelAction(); }

void ShareByEmailDialog::setInfo(const platform::DisplayText& info) {
    textFieldInfo->setText(shown(breakable(info)));
    textFieldInfo->setAccessibleName(shown(info));
}

void ShareByEmailDialog::setIcon(const platform::ImageHandle& icon) {
    imageFile->setPixmap(themedFileIcon(icon->name).pixmap(QSize(iconSize, iconSize), devicePixelRatioF()));
    imageFile->setAccessibleName(icon->name == "fldr" ? shown("Folder") : shown("File"));
}

void ShareByEmailDialog::setOkEnabled(bool enabled) { buttonOk->setEnabled(enabled); }
std::vector<panels::FieldObject> ShareByEmailDialog::emails() const { return field->objects(); }
void ShareByEmailDialog::setEmails(const std::vector<panels::FieldObject>& objects) {
    field->setObjects(objects);
    noteInvalid();
}

std::vector<std::string> ShareByEmailDialog::pickerSelectedValues() const {
    std::vector<std::string> addresses;
    for (const QModelIndex& index : peoplePicker->selectionModel()->selectedRows(1))
        addresses.push_back(index.data(Qt::DisplayRole).toString().toStdString());
    return addresses;
}

// The rows are made anew; what is typed, and who is selected, stays.
void ShareByEmailDialog::peopleHaveCome() {
    const std::vector<std::string> values = pickerSelectedValues();
    const std::set<std::string> selected(values.begin(), values.end());
    QAbstractItemModel* const before = found->sourceModel();
    found->setSourceModel(new PeopleModel(logic->people(), found));
    delete before;
    peoplePicker->header()->resizeSection(0, width() * 2 / 5);
    if (finding->isHidden()) { // there was nobody
        finding->show();
        people->show();
        resize(width(), std::max(height(), roomy().height()));
    }
    showFound();
    for (int row = 0; row < found->rowCount(); ++row) {
        const QModelIndex address = found->index(row, 1);
        if (selected.contains(address.data(Qt::DisplayRole).toString().toStdString()))
            peoplePicker->selectionModel()->select(address,
                                                   QItemSelectionModel::Select | QItemSelectionModel::Rows);
    }
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
void ShareByEmailDialog::controlTextDidChange() {
    logic->controlTextDidChange();
    noteInvalid();
}

} // namespace backends::qt
