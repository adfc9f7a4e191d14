// The share-by-email panel's window: the item, the recipients' field, the address book, OK and Cancel. OK is
// held back while a token is not an address: the window names such tokens and sends nothing. Main thread
// only.
#pragma once

#include "backends/qt/TokenField.h"
#include "panels/TSFPShareByEmailController.h"

#include <QDialog>
#include <memory>

class QLabel;
class QLineEdit;
class QPushButton;
class QSortFilterProxyModel;
class QStackedWidget;
class QTreeView;

namespace backends::qt {

class ShareByEmailDialog final : public QDialog,
                                 private panels::TSFPShareByEmailView,
                                 private TokenFieldDelegate {
    Q_OBJECT
  public:
    struct Surroundings {
        platform::AddressBook& addressBook;
        platform::Queue& mainQueue;
        platform::Queue& backgroundQueue;
        platform::FileSystem& fileSystem;
        platform::ProcessLog& log;
        panels::TSFPShareByEmailController::Sender send;
    };
    // What is given outlives the window.
    ShareByEmailDialog(const Surroundings& surroundings, const std::string& localPath);
    ~ShareByEmailDialog() override;

    panels::TSFPShareByEmailController& controller() { return *logic; }

    // What the field holds, as it would be sent.
    std::vector<std::string> recipients() const;

    void runModal();

    bool eventFilter(QObject* watched, QEvent* event) override; // Enter in the address book adds people
    void reject() override; // Escape and the window's close button are Cancel

  private:
    void setInfo(const platform::DisplayText& info) override;
    void setIcon(const platform::ImageHandle& icon) override;
    void setOkEnabled(bool enabled) override;
    std::vector<panels::FieldObject> emails() const override;
    void setEmails(const std::vector<panels::FieldObject>& objects) override;
    std::vector<std::string> pickerSelectedValues() const override;
    void peopleHaveCome() override;
    void close() override;
    void stopModal() override;

    std::vector<std::string> completionsForSubstring(std::string_view typed) override;
    std::vector<panels::FieldObject>
    shouldAddObjects(const std::vector<panels::FieldObject>& objects) override;
    std::string displayStringForRepresentedObject(const panels::FieldObject& object) override;
    std::string editingStringForRepresentedObject(const panels::FieldObject& object) override;
    panels::TokenStyle styleForRepresentedObject(const panels::FieldObject& object) override;
    void controlTextDidChange() override;

    void build();
    QWidget* buildPicker();
    void fillPicker();
    QSize roomy() const;
    void showFound();   // after the search has changed
    void addSelected(); // everybody who is selected in the picker
    void confirm();     // OK
    void noteInvalid();

    QLabel* textFieldInfo = nullptr;
    QLabel* imageFile = nullptr;
    TokenField* field = nullptr;
    QLabel* invalid = nullptr; // which tokens are not addresses; hidden when all are
    QWidget* finding = nullptr;
    QLineEdit* search = nullptr;
    QTreeView* peoplePicker = nullptr;
    QStackedWidget* people = nullptr; // the picker, or why nobody is in it
    QLabel* nobody = nullptr;
    QSortFilterProxyModel* found = nullptr;
    QPushButton* addButton = nullptr;
    QPushButton* buttonOk = nullptr;
    QPushButton* buttonCancel = nullptr;
    std::unique_ptr<panels::TSFPShareByEmailController> logic;
};

} // namespace backends::qt
