// The share-by-email panel without its window: the user names the people with whom a synced file or folder is
// shared, and OK posts one command message.
//
// Use: make the controller (the address book is read then, once; the part that takes longer comes later),
// call setAllPathsInSync and shareFile, run the view modally. shareFile works on the main queue after the
// call has returned, so what the user sees comes from it. An item outside every synced folder has no remote
// path: the panel says so and OK stays disabled.
//
// What the controller uses is not retained and outlives it. Main thread only, but for setAllPathsInSync and
// remotePathOfLocalSyncPath, which any thread may call: the table has a lock of its own.
#pragma once

#include "daemon_client/SyncPathTable.h"
#include "panels/TSFPEmailToken.h"
#include "panels/email_entry.h"
#include "platform/AddressBook.h"
#include "platform/DisplayText.h"
#include "platform/FileSystem.h"
#include "platform/Image.h"
#include "platform/ProcessLog.h"
#include "platform/Queue.h"
#include "platform/Value.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace panels {

// What the recipients' field holds: tokens, and text that is still being typed.
using FieldObject = std::variant<std::string, TSFPEmailToken>;

enum class TokenStyle {
    plainText = 1, // an address that breaks the e-mail rule
    rounded = 2,
};

class TSFPShareByEmailView {
  public:
    virtual void setInfo(const platform::DisplayText& info) = 0;
    virtual void setIcon(const platform::ImageHandle& icon) = 0; // the name as iconNameForFile gives it
    virtual void setOkEnabled(bool enabled) = 0;
    virtual std::vector<FieldObject> emails() const = 0;
    virtual void setEmails(const std::vector<FieldObject>& objects) = 0;
    virtual std::vector<std::string> pickerSelectedValues() const = 0; // addresses selected in the picker
    virtual void peopleHaveCome() = 0;                                 // more of them are in people()
    virtual void close() = 0;
    virtual void stopModal() = 0;

  protected:
    ~TSFPShareByEmailView() = default;
};

class TSFPShareByEmailController final {
  public:
    // Posts one command message; called on the background queue.
    using Sender = std::function<void(const std::string& commandName, const platform::Dictionary& payload)>;

    struct Surroundings {
        TSFPShareByEmailView& view;
        platform::AddressBook& addressBook;
        platform::Queue& mainQueue;
        platform::Queue& backgroundQueue;
        platform::FileSystem& fileSystem;
        platform::ProcessLog& log;
        Sender send;
    };

    // initWithShareFile
    TSFPShareByEmailController(Surroundings surroundings, const std::string& localPath);

    void setAllPathsInSync(daemon_client::SyncPathTable table);

    // Keys "path" (local) or "remote_path", and "isDir": true, or a number other than 0.
    void shareFile(const platform::Dictionary& file);

    std::optional<std::string> remotePathOfLocalSyncPath(const std::optional<std::string>& localPath) const;
    TSFPEmailToken tokenFromEmail(const std::string& address) const;

    // The folder icon, or "." and the extension of the item's last component ("." without one).
    platform::ImageHandle getIconForFile() const;

    // The recipients' field asks its delegate.
    std::vector<std::string> completionsForSubstring(std::string_view typed) const;
    std::vector<FieldObject> shouldAddObjects(const std::vector<FieldObject>& objects) const;
    std::string displayStringForRepresentedObject(const FieldObject& object) const;
    std::string editingStringForRepresentedObject(const FieldObject& object) const;
    static TokenStyle styleForRepresentedObject(const FieldObject& object);

    void controlTextDidChange(); // the rule for OK
    void select();               // adds the picker's choice
    void okAction();             // posts the command when there is a recipient, and closes
    void cancelAction();
    static void togglePeoplePicker() {} // the picker is always shown

    const std::vector<platform::Person>& people() const { return everybody; } // what the picker shows
    std::string folderOfPeople() const { return around.addressBook.folder(); }
    const AddressIndex& addressBook() const { return _addressBook; }
    bool hasSent() const { return sent; } // okAction has posted the command

  private:
    void readAddressBook();
    void addPeople(std::vector<platform::Person> people);
    void addToIndex(const platform::Person& person);
    void showItem();

    Surroundings around;
    std::vector<platform::Person> everybody; // the address book as it was when the panel was made
    AddressIndex _addressBook;
    mutable std::mutex lock; // guards allPathsInSync
    daemon_client::SyncPathTable allPathsInSync;
    std::optional<std::string> _path; // local, then remote; none outside every synced folder
    bool isRemote = false;            // _path is the remote path
    bool _isDir = false;
    bool sent = false;
    std::shared_ptr<bool> alive = std::make_shared<bool>(true); // work that comes late finds it gone
};

} // namespace panels
