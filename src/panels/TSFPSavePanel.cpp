#include "panels/TSFPSavePanel.h"

#include "paths/path_strings.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace panels {
namespace {

// A service that answers as it should does so before anybody reads that it is waited for.
constexpr std::chrono::milliseconds waitUntold{700};

std::string lastComponent(const std::string& path) { return std::string(paths::lastPathComponent(path)); }

} // namespace

// A level under way: its list, then the count of each folder in it.
struct TSFPSavePanel::Fetch {
    enum class State { underWay, late, unanswered, done };
    platform::MenuHandle level;
    std::string remotePath;
    State state = State::underWay;
    std::vector<std::string> paths;
    std::vector<bool> mayHaveFolders; // per path: counted, or the count did not come
    std::size_t outstanding = 0;
};

TSFPSavePanel::~TSFPSavePanel() {
    if (isAwake) around.jumpBar.delegate = nullptr;
}

void TSFPSavePanel::setLocalPathVariables(const std::vector<std::string>& localPaths) {
    if (localPaths.empty()) return;
    if (localPaths.size() > 1) {
        _possibleRemoteFolderName.emplace(1, '/');
        return;
    }
    const std::string& path = localPaths.front();
    // When a slow disk does not tell in time what a path is, the path's own name is proposed: what is synced
    // is a folder.
    _possibleRemoteFolderName = platform::isDirectoryItself(around.fileSystem, path).value_or(true)
                                    ? lastComponent(path)
                                    : lastComponent(std::string(paths::parentPath(path)));
}

void TSFPSavePanel::setMessage(platform::DisplayText text) {
    message = std::move(text);
    if (isAwake) around.view.setMessage(message);
}

void TSFPSavePanel::setForSync(const std::string& localPath) {
    _isSync = true;
    setLocalPathVariables({localPath});
    around.mainQueue.dispatch([this, localPath, guard = std::weak_ptr(alive)] {
        if (!guard.expired()) setMessage({"Where do you want to sync\n\n%@?", {localPath}});
    });
}

void TSFPSavePanel::setForArchive(const std::vector<std::string>& localPaths) {
    if (localPaths.empty()) return;
    _isSync = false;
    setLocalPathVariables(localPaths);
    if (localPaths.size() == 1)
        setMessage({"Do you want to archive\n\n%@?", {localPaths.front()}});
    else
        setMessage({"Do you want to archive selected files?", {}});
    around.log.info("Set Message Text");
}

void TSFPSavePanel::awakeFromNib() {
    isAwake = true;
    around.jumpBar.delegate = this;
    if (!message.format.empty()) around.view.setMessage(message);

    rootImage = platform::imageNamed(spaceImageName);
    folderImage = platform::imageNamed(folderImageName);
    newFolderImage = platform::imageNamed(newFolderImageName);

    const platform::MenuHandle rootMenu = platform::Menu::create();
    const platform::MenuItemHandle root = rootMenu->addItem(rootTitle);
    root->representedObject = "/";
    root->image = rootImage;
    rootMenu->addItem(platform::MenuItem::separatorItem());
    topLevel = platform::Menu::create();
    root->setSubmenu(topLevel);

    around.jumpBar.setMenu(rootMenu);
    around.jumpBar.changeFontAndImageInMenu(*rootMenu);
    initialSelection = around.jumpBar.selectedIndexPath();
    fetchLevel(topLevel, "/");
}

void TSFPSavePanel::showRow(platform::Menu& level, const char* title) {
    level.removeAllItems();
    level.addItem(title)->enabled = false;
    jumpbar::VxJumpBar::changeFontAndImageInMenu(level);
    around.jumpBar.menuDidChange(level);
    tellServiceState();
}

void TSFPSavePanel::fetchLevel(const platform::MenuHandle& level, const std::string& remotePath) {
    const auto fetch = std::make_shared<Fetch>();
    fetch->level = level;
    fetch->remotePath = remotePath;
    std::shared_ptr<Fetch>& last = fetches[level.get()];
    if (last && last->state != Fetch::State::unanswered) return;
    last = fetch;
    showRow(*level, loadingTitle);
    around.mainQueue.dispatchAfter(waitUntold, [this, fetch, guard = std::weak_ptr(alive)] {
        if (guard.expired() || fetch->state != Fetch::State::underWay) return;
        fetch->state = Fetch::State::late;
        tellServiceState();
    });
    around.directories.directoriesNotInSyncAtRemoteDirecory(
        remotePath,
        [this, fetch, guard = std::weak_ptr(alive)](std::optional<std::vector<std::string>> paths) {
            if (!guard.expired()) listArrived(fetch, std::move(paths));
        });
}

void TSFPSavePanel::listArrived(const std::shared_ptr<Fetch>& fetch,
                                std::optional<std::vector<std::string>> paths) {
    if (!paths) {
        fetch->state = Fetch::State::unanswered;
        showRow(*fetch->level, noAnswerTitle);
        return;
    }
    fetch->paths = *std::move(paths);
    fetch->mayHaveFolders.assign(fetch->paths.size(), true);
    fetch->outstanding = fetch->paths.size();
    if (fetch->paths.empty()) putInPlace(*fetch);
    for (std::size_t index = 0; index < fetch->paths.size(); ++index) {
        around.directories.countDirectoriesAtPath(
            fetch->paths[index],
            [this, fetch, index, guard = std::weak_ptr(alive)](std::optional<std::uint64_t> count) {
                if (guard.expired()) return;
                fetch->mayHaveFolders[index] = count != std::uint64_t{0};
                if (--fetch->outstanding == 0) putInPlace(*fetch);
            });
    }
}

void TSFPSavePanel::putInPlace(Fetch& fetch) {
    fetch.state = Fetch::State::done;
    platform::Menu& level = *fetch.level;
    const bool nothingChosenYet =
        fetch.level == topLevel && around.jumpBar.selectedIndexPath() == initialSelection;

    level.removeAllItems(); // the row that said that the list was under way: nothing in it could be chosen
    platform::MenuItemHandle proposed; // the folder that is named like the local one, or the one to be made
    for (std::size_t index = 0; index < fetch.paths.size(); ++index) {
        const auto item = level.addItem(lastComponent(fetch.paths[index]));
        item->representedObject = fetch.paths[index];
        item->image = folderImage;
        if (fetch.mayHaveFolders[index]) item->setSubmenu(platform::Menu::create());
        if (item->title == _possibleRemoteFolderName) proposed = item;
    }
    if (_isSync && !proposed && _possibleRemoteFolderName) {
        level.addItem(platform::MenuItem::separatorItem());
        proposed = level.addItem(lastComponent(*_possibleRemoteFolderName));
        proposed->representedObject =
            paths::stringByAppendingPathComponent(fetch.remotePath, *_possibleRemoteFolderName);
        proposed->image = newFolderImage;
    }
    jumpbar::VxJumpBar::changeFontAndImageInMenu(level);
    around.jumpBar.menuDidChange(level);
    tellServiceState();
    if (_isSync && nothingChosenYet && proposed) around.jumpBar.setSelectedMenuItem(*proposed);
}

void TSFPSavePanel::tellServiceState() {
    const auto isAny = [this](Fetch::State state) {
        return std::any_of(fetches.begin(), fetches.end(),
                           [state](const auto& each) { return each.second->state == state; });
    };
    around.view.setServiceState(isAny(Fetch::State::late)         ? ServiceState::awaited
                                : isAny(Fetch::State::unanswered) ? ServiceState::silent
                                                                  : ServiceState::answers);
}

void TSFPSavePanel::askAgain() {
    std::vector<std::shared_ptr<Fetch>> unanswered;
    for (const auto& [level, fetch] : fetches)
        if (fetch->state == Fetch::State::unanswered) unanswered.push_back(fetch);
    for (const std::shared_ptr<Fetch>& fetch : unanswered)
        fetchLevel(fetch->level, fetch->remotePath);
}

void TSFPSavePanel::didHighlightMenuItem(jumpbar::VxJumpBar&, platform::MenuItem& item) {
    if (item.isSeparatorItem() || !item.submenu() || !item.representedObject) return;
    fetchLevel(item.submenu(), *item.representedObject->string());
}

void TSFPSavePanel::didSelectItemAtIndexPath(jumpbar::VxJumpBar& bar, const platform::IndexPathHandle& path) {
    const platform::MenuItemHandle item = bar.menuItemAtIndexPath(*path);
    if (!item || !item->representedObject) return;
    _path = *item->representedObject->string();
    around.view.setOkEnabled(isAcceptable(_isSync, *_path));
    std::vector<std::string> titles;
    for (const platform::MenuItem* each = item.get(); each != nullptr; each = each->parentItem())
        titles.insert(titles.begin(), each->title);
    around.view.setChoice(titles, item->image == newFolderImage);
}

void TSFPSavePanel::okClicked() {
    if (!_path || !isAcceptable(_isSync, *_path)) return;
    around.view.stopModalWithCode(okResponse);
    around.view.close();
}

void TSFPSavePanel::cancelClicked() {
    around.view.stopModalWithCode(cancelResponse);
    around.view.close();
}

} // namespace panels
