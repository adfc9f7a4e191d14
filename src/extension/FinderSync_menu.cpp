// The menus: what the selection is, and the menu that its class gets.
#include "extension/FinderSync.h"

namespace extension {
namespace {

constexpr std::string_view menuImage = "statusbaricon.png";

platform::Value describe(const std::vector<platform::FileURL>& urls) {
    platform::Array items;
    for (const platform::FileURL& url : urls)
        items.emplace_back(url.uri());
    return items;
}

} // namespace

platform::MenuHandle FinderSync::menuOfClass(SelectionClass selectionClass) const {
    return menuOf(selectionClass, around.resources.pathForImage(menuImage)
                                      ? platform::imageNamed(std::string(menuImage))
                                      : nullptr);
}

platform::MenuHandle FinderSync::menuForMenuKind(platform::FIMenuKind,
                                                 const std::vector<platform::FileURL>& selectedItemURLs) {
    around.log.info("Added TovikDrive main menu");
    if (around.log.isOn(platform::LogLevel::info))
        around.log.info("Selected Item URLS: ", describe(selectedItemURLs));

    SelectionFacts facts = tsyncNoSelection(false, false);
    if (!selectedItemURLs.empty()) {
        if (const auto kind = around.fileSystem.kind(selectedItemURLs.front().path())) {
            facts.firstExists = true;
            facts.firstIsDirectory = kind->isDirectory;
        }
    }
    if (!facts.firstExists) {
        around.log.info("Selected Item not exists");
        return menuOfClass(SelectionClass::nothing);
    }
    for (const platform::FileURL& item : selectedItemURLs) {
        bool isRoot = true;
        const bool isInSync = isPathInSync(item.path(), isRoot);
        around.log.debug("Check In Sync: ", isInSync ? 1 : 0);
        tsyncSelect(&facts, isInSync, isRoot);
    }
    around.log.info("All In Sync: ", facts.allInSync ? 1 : 0, ", not: ", facts.noneInSync ? 1 : 0,
                    ", base: ", facts.allRoots ? 1 : 0);
    return menuOfClass(classOf(facts));
}

} // namespace extension
