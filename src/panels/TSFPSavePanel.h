// The remote destination panel without its window: the user chooses the folder of the remote space to which a
// local folder is synced or selected items are archived.
//
// It fills a tree of menus from the daemon, level by level, and shows it in a jump bar. A level is asked for
// when its folder is first highlighted: until the answer is there it holds one disabled row, then it is put
// in place in one go. Each level is asked for once; only one that got no answer is asked for again, when its
// folder is highlighted again or the person says so. Nothing here ever waits.
//
// A new folder is offered in a level that is known to hold none of the name, and nowhere else: while the
// service is slow or silent, a sync is offered only the root, which cannot be chosen.
//
// Use: make the panel, call setForSync or setForArchive, let the view load and call awakeFromNib, run the
// view modally, and read selectedPath when the response was not 0. The view, the bar, the directories, the
// queue and the log are not retained and outlive the panel. Main thread only.
#pragma once

#include "jumpbar/VxJumpBar.h"
#include "panels/RemoteDirectories.h"
#include "platform/DisplayText.h"
#include "platform/FileSystem.h"
#include "platform/Menu.h"
#include "platform/ProcessLog.h"
#include "platform/Queue.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace panels {

// Response codes of a modal run.
inline constexpr int cancelResponse = 0;
inline constexpr int okResponse = 1;

// Titles of the tree. Only the first is an item's name; the others are rows without a represented object,
// which a view shows in the person's language.
inline constexpr const char* rootTitle = "Tovik Space";
inline constexpr const char* loadingTitle = "Loading…";
inline constexpr const char* noAnswerTitle = "No answer from the sync service";

// Names of images that a view resolves: the icon of the whole space, of a folder, of a folder to be made.
inline constexpr const char* spaceImageName = "thom";
inline constexpr const char* folderImageName = "fldr";
inline constexpr const char* newFolderImageName = "new_folder.png";

// How the daemon bears the questions for folders, as far as the person has to know.
enum class ServiceState {
    answers,
    awaited, // an answer is long in coming
    silent,  // there was none: it can be asked again
};

class TSFPSavePanelView {
  public:
    virtual void setMessage(const platform::DisplayText& message) = 0;
    // The titles from the root to the chosen folder, and whether that folder is still to be made.
    virtual void setChoice(const std::vector<std::string>& titles, bool isNew) = 0;
    virtual void setServiceState(ServiceState state) = 0;
    virtual void setOkEnabled(bool enabled) = 0;
    virtual void stopModalWithCode(int response) = 0; // ends the modal session
    virtual void close() = 0;                         // then the window

  protected:
    ~TSFPSavePanelView() = default;
};

class TSFPSavePanel final : private jumpbar::VxJumpBarDelegate {
  public:
    struct Surroundings {
        TSFPSavePanelView& view;
        jumpbar::VxJumpBar& jumpBar;
        RemoteDirectories& directories;
        platform::Queue& mainQueue;
        platform::FileSystem& fileSystem;
        platform::ProcessLog& log;
    };
    explicit TSFPSavePanel(const Surroundings& surroundings) : around(surroundings) {}
    ~TSFPSavePanel();
    TSFPSavePanel(const TSFPSavePanel&) = delete;
    TSFPSavePanel& operator=(const TSFPSavePanel&) = delete;

    void setForSync(const std::string& localPath);
    void setForArchive(const std::vector<std::string>& localPaths); // empty: changes nothing

    void awakeFromNib(); // builds the tree's first level and asks for the second
    void okClicked();    // ignored while the choice is not acceptable
    void cancelClicked();
    void askAgain(); // for every level that got no answer

    // The remote path chosen so far; none before the tree is built.
    const std::optional<std::string>& selectedPath() const { return _path; }

    // The panel's rule for OK: the root cannot be chosen for a sync.
    static bool isAcceptable(bool isSync, const std::string& remotePath) {
        return !isSync || remotePath != "/";
    }

  private:
    struct Fetch;

    void didSelectItemAtIndexPath(jumpbar::VxJumpBar& bar, const platform::IndexPathHandle& path) override;
    void didHighlightMenuItem(jumpbar::VxJumpBar& bar, platform::MenuItem& item) override;

    void setLocalPathVariables(const std::vector<std::string>& localPaths);
    void setMessage(platform::DisplayText text);
    void fetchLevel(const platform::MenuHandle& level, const std::string& remotePath);
    void listArrived(const std::shared_ptr<Fetch>& fetch, std::optional<std::vector<std::string>> paths);
    void showRow(platform::Menu& level, const char* title); // the only one, which cannot be chosen
    void putInPlace(Fetch& fetch);
    void tellServiceState();

    Surroundings around;
    platform::DisplayText message;
    bool isAwake = false; // the view is loaded
    std::optional<std::string> _path;
    std::optional<std::string> _possibleRemoteFolderName;
    bool _isSync = false;

    platform::ImageHandle rootImage, folderImage, newFolderImage;
    platform::MenuHandle topLevel;              // the root item's submenu
    platform::IndexPathHandle initialSelection; // the root, until the user or the panel chooses
    std::map<const platform::Menu*, std::shared_ptr<Fetch>> fetches; // the last one of each level
    std::shared_ptr<bool> alive = std::make_shared<bool>(true);      // late completions find it gone
};

} // namespace panels
