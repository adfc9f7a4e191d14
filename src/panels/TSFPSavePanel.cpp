#include "panels/TSFPSavePanel.h"

#include "foundation/path_strings.h"

#include <utility>

namespace panels {
namespace {

std::string lastComponent(const std::string& path) {
    return std::string(foundation::lastPathComponent(path));
}

platform::MenuItemHandle messageRow(const char* title) {
    auto row = platform::MenuItem::create(title);
    row->enabled = false;
    return row;
}

} // namespace

// A level under way: its list, then the count of each folder in it.
struct TSFPSavePanel::Fetch {
    platform::MenuHandle level;
    std::string remotePath;
    bool answered = false;
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
        _possibleRemoteFolderName = "/";
        return;
    }
    const std::string& path = localPaths.front();
    // Of a path that a slow disk does not tell of in time its own name is proposed: what is synced is a
    // folder.
    _possibleRemoteFolderName = platform::isDirectoryItself(around.fileSystem, path).value_or(true)
                                    ? lastComponent(path)
                                    : lastComponent(std::string(foundation::parentPath(path)));
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

void TSFPSavePanel::fetchLevel(const platform::MenuHandle& level, const std::string& remotePath) {
    if (!askedFor.insert(level.get()).second) return;
    if (level->numberOfItems() == 0) {
        level->addItem(messageRow(loadingTitle));
    } else { // it got no answer before; its other rows stay until it gets one
        level->itemAtIndex(0)->title = loadingTitle;
        level->itemAtIndex(0)->attributedTitle.reset(); // which still says so
    }
    jumpbar::VxJumpBar::changeFontAndImageInMenu(*level);

    const auto fetch = std::make_shared<Fetch>();
    fetch->level = level;
    fetch->remotePath = remotePath;
    around.directories.directoriesNotInSyncAtRemoteDirecory(
        remotePath,
        [this, fetch, guard = std::weak_ptr(alive)](std::optional<std::vector<std::string>> paths) {
            if (!guard.expired()) listArrived(fetch, std::move(paths));
        });
}

void TSFPSavePanel::listArrived(const std::shared_ptr<Fetch>& fetch,
                                std::optional<std::vector<std::string>> paths) {
    fetch->answered = paths.has_value();
    fetch->paths = std::move(paths).value_or(std::vector<std::string>{});
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

void TSFPSavePanel::putInPlace(const Fetch& fetch) {
    platform::Menu& level = *fetch.level;
    const bool nothingChosenYet =
        fetch.level == topLevel && around.jumpBar.selectedIndexPath() == initialSelection;
    const platform::MenuItemHandle selected = around.jumpBar.selectedMenuItem();
    const std::optional<platform::Value> selectedHere =
        selected && selected->menu() == &level ? selected->representedObject : std::nullopt;

    level.removeAllItems();
    platform::MenuItemHandle proposed; // the folder that is named like the local one, or the one to be made
    if (!fetch.answered) {
        level.addItem(messageRow(noAnswerTitle));
        askedFor.erase(&level);
    }
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
            foundation::stringByAppendingPathComponent(fetch.remotePath, *_possibleRemoteFolderName);
        proposed->image = newFolderImage;
    }
    jumpbar::VxJumpBar::changeFontAndImageInMenu(level);
    around.jumpBar.menuDidChange(level);

    if (selectedHere)
        restoreSelection(fetch.level, *selectedHere);
    else if (_isSync && nothingChosenYet && proposed)
        around.jumpBar.setSelectedMenuItem(*proposed);
}

// The selected item was replaced with its level: its successor is selected, or else the folder above.
void TSFPSavePanel::restoreSelection(const platform::MenuHandle& level, const platform::Value& selected) {
    for (const platform::MenuItemHandle& item : level->items()) {
        if (item->representedObject == selected) {
            around.jumpBar.setSelectedMenuItem(*item);
            return;
        }
    }
    around.jumpBar.setSelectedMenuItem(*level->parentItem());
}

void TSFPSavePanel::didHighlightMenuItem(jumpbar::VxJumpBar&, platform::MenuItem& item) {
    if (item.isSeparatorItem() || !item.submenu() || !item.representedObject) return;
    const platform::MenuHandle& level = item.submenu();
    const bool gotNoAnswer = level->numberOfItems() > 0 && level->itemAtIndex(0)->title == noAnswerTitle &&
                             !level->itemAtIndex(0)->representedObject;
    if (level->numberOfItems() == 0 || gotNoAnswer) fetchLevel(level, *item.representedObject->string());
}

void TSFPSavePanel::didSelectItemAtIndexPath(jumpbar::VxJumpBar& bar, const platform::IndexPathHandle& path) {
    const platform::MenuItemHandle item = bar.menuItemAtIndexPath(*path);
    if (!item || !item->representedObject) return;
    _path = *item->representedObject->string();
    around.view.setOkEnabled(isAcceptable(_isSync, *_path));
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
