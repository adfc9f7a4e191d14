#include "panels/TSFPShareByEmailController.h"

#include "daemon_client/command_message.h"
#include "daemon_client/sync_path_mapping.h"
#include "paths/path_strings.h"
#include "protocol/names.h"

#include <algorithm>
#include <set>
#include <utility>

namespace panels {
namespace {

bool isDirectory(platform::FileSystem& fileSystem, const std::string& path) {
    const std::optional<platform::FileKind> kind = fileSystem.kind(path);
    return kind && kind->isDirectoryItself();
}

// The address as it will be sent.
const std::string& recipient(const FieldObject& object) {
    if (const auto* token = std::get_if<TSFPEmailToken>(&object)) return token->email;
    return std::get<std::string>(object);
}

} // namespace

TSFPShareByEmailController::TSFPShareByEmailController(Surroundings surroundings,
                                                       const std::string& localPath)
    : around(std::move(surroundings)), _path(localPath), _isDir(isDirectory(around.fileSystem, localPath)) {
    readAddressBook();
    showItem();
    around.log.info("Init Share by email with path ", localPath);
}

void TSFPShareByEmailController::readAddressBook() {
    everybody = around.addressBook.people();
    for (const platform::Person& person : everybody)
        addToIndex(person);
    around.addressBook.readFurther([this, &queue = around.mainQueue,
                                    guard = std::weak_ptr(alive)](std::vector<platform::Person> people) {
        queue.dispatch([this, guard, people = std::move(people)]() mutable {
            if (!guard.expired()) addPeople(std::move(people));
        });
    });
}

void TSFPShareByEmailController::addToIndex(const platform::Person& person) {
    for (const std::string& address : person.emails) {
        if (!person.firstName) {
            _addressBook.erase(address);
            continue;
        }
        std::string& fullName = _addressBook[address];
        fullName = *person.firstName;
        if (person.lastName) fullName += " " + *person.lastName;
    }
}

// An address that is known already keeps its first name.
void TSFPShareByEmailController::addPeople(std::vector<platform::Person> people) {
    const std::size_t before = everybody.size();
    std::set<std::string> known;
    for (const platform::Person& person : everybody)
        known.insert(person.emails.begin(), person.emails.end());
    for (platform::Person& person : people) {
        std::erase_if(person.emails, [&](const std::string& address) { return known.contains(address); });
        if (person.emails.empty()) continue;
        addToIndex(person);
        everybody.push_back(std::move(person));
    }
    if (everybody.size() > before) around.view.peopleHaveCome();
}

void TSFPShareByEmailController::showItem() {
    const std::string name(paths::lastPathComponent(*_path));
    // One text for each kind: a language may need another article, gender or word order.
    around.view.setInfo({_isDir ? "Share folder '%@' with" : "Share file '%@' with", {name}});
    around.view.setIcon(getIconForFile());
}

void TSFPShareByEmailController::setAllPathsInSync(daemon_client::SyncPathTable table) {
    const std::lock_guard guard(lock);
    allPathsInSync = std::move(table);
}

void TSFPShareByEmailController::shareFile(const platform::Dictionary& file) {
    around.mainQueue.dispatch([this, file, guard = std::weak_ptr(alive)] {
        if (guard.expired()) return;
        const std::string* local = platform::textAt(file, "path");
        const std::string* remote = platform::textAt(file, "remote_path");
        _path = remote != nullptr
                    ? std::optional(*remote)
                    : remotePathOfLocalSyncPath(local == nullptr ? std::nullopt : std::optional(*local));
        isRemote = _path.has_value();
        _isDir = platform::flagAt(file, "isDir").value_or(platform::numberAt(file, "isDir").value_or(0) != 0);
        around.view.setOkEnabled(false);
        if (isRemote) {
            showItem();
        } else {
            const std::string name(paths::lastPathComponent(local == nullptr ? "" : *local));
            around.view.setInfo({"'%@' is not in a synced folder and cannot be shared", {name}});
        }
    });
}

std::optional<std::string>
TSFPShareByEmailController::remotePathOfLocalSyncPath(const std::optional<std::string>& localPath) const {
    if (!localPath) return std::nullopt;
    daemon_client::SyncPathTable table;
    {
        const std::lock_guard guard(lock);
        table = allPathsInSync;
    }
    return daemon_client::remotePathOfLocalSyncPath(table, *localPath);
}

TSFPEmailToken TSFPShareByEmailController::tokenFromEmail(const std::string& address) const {
    const auto known = _addressBook.find(address);
    return {address, known == _addressBook.end() ? std::nullopt : std::optional(known->second)};
}

platform::ImageHandle TSFPShareByEmailController::getIconForFile() const {
    if (_isDir) return platform::imageNamed("fldr");
    const std::string_view name = paths::lastPathComponent(_path ? std::string_view(*_path) : "");
    const std::size_t dot = name.rfind('.');
    return platform::imageNamed(dot == std::string_view::npos || dot == 0 ? "."
                                                                          : std::string(name.substr(dot)));
}

std::vector<std::string> TSFPShareByEmailController::completionsForSubstring(std::string_view typed) const {
    return panels::completionsForSubstring(_addressBook, typed);
}

std::vector<FieldObject>
TSFPShareByEmailController::shouldAddObjects(const std::vector<FieldObject>& objects) const {
    std::vector<FieldObject> tokens;
    for (const FieldObject& object : objects) {
        const std::string* entry = std::get_if<std::string>(&object);
        if (entry == nullptr) continue;
        const std::string address = addressInEntry(*entry);
        if (!address.empty()) tokens.emplace_back(tokenFromEmail(address));
    }
    return tokens;
}

std::string TSFPShareByEmailController::displayStringForRepresentedObject(const FieldObject& object) const {
    const auto* given = std::get_if<TSFPEmailToken>(&object);
    const TSFPEmailToken token = given == nullptr ? tokenFromEmail(std::get<std::string>(object)) : *given;
    return token.name.value_or(token.email);
}

std::string TSFPShareByEmailController::editingStringForRepresentedObject(const FieldObject& object) const {
    return recipient(object);
}

TokenStyle TSFPShareByEmailController::styleForRepresentedObject(const FieldObject& object) {
    const auto* entry = std::get_if<std::string>(&object);
    const bool valid = validateEmail(entry == nullptr ? recipient(object) : addressInEntry(*entry));
    return valid ? TokenStyle::rounded : TokenStyle::plainText;
}

void TSFPShareByEmailController::controlTextDidChange() {
    const std::vector<FieldObject> objects = around.view.emails();
    const bool textIsValid = std::all_of(objects.begin(), objects.end(), [](const FieldObject& object) {
        const auto* entry = std::get_if<std::string>(&object);
        return entry == nullptr || validateEmail(*entry);
    });
    around.view.setOkEnabled(textIsValid && !objects.empty() && isRemote);
}

void TSFPShareByEmailController::select() {
    const std::vector<std::string> values = around.view.pickerSelectedValues();
    if (values.empty()) return;
    std::vector<FieldObject> objects = around.view.emails();
    objects.emplace_back(tokenFromEmail(values.back()));
    around.view.setEmails(objects);
    controlTextDidChange();
}

void TSFPShareByEmailController::okAction() {
    std::vector<std::string> recipients;
    for (const FieldObject& object : around.view.emails())
        recipients.push_back(recipient(object));
    if (!recipients.empty() && isRemote) {
        sent = true;
        around.backgroundQueue.dispatch(
            [send = around.send, payload = daemon_client::sharePayload(*_path, _isDir, recipients)] {
                send(TSYNC_COMMAND_SHARE_BY_EMAIL, payload);
            });
    }
    around.view.close();
    around.view.stopModal();
}

void TSFPShareByEmailController::cancelAction() {
    around.view.close();
    around.view.stopModal();
}

} // namespace panels
