// One segment of the jump bar: the image and title of the item selected at its level, then a chevron. It
// measures itself, says what is to be drawn where, pops up the menu of its level, and turns the chosen item
// into an index path relative to that menu.
//
// The bar owns its labels; a label refers to its view and its delegate, which outlive it. Menu items and
// menus that point at a label are released from it when the label goes. Main thread only.
#pragma once

#include "jumpbar/VxJumpBarView.h"
#include "platform/IndexPath.h"
#include "platform/Menu.h"
#include "platform/geometry.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

namespace jumpbar {

inline constexpr double VxJumpBarLabelMargin = 5.0; // left margin, gap after the image, gap after the text
inline constexpr double VxJumpBarLabelChevronRoom = 7.0;
inline constexpr double VxJumpBarLabelFontSize = 12.0;
inline constexpr int VxJumpBarLabelAccessoryMenuLabelTag = -1; // level of the label at the bar's right edge
inline constexpr const char* VxJumpBarSeparator = "VxJumpBarSeparator";
inline constexpr const char* VxJumpBarAccessorySeparator = "VxJumpBarAccessorySeparator";

class VxJumpBarLabelDelegate {
  public:
    virtual platform::MenuHandle menuToPresentWhenClickedForJumpBarLabel(VxJumpBarLabel& label) = 0;
    // `path` is relative to the menu that was presented; its length is at least 1.
    virtual void didReceivedClickOnItemAtIndexPath(VxJumpBarLabel& label,
                                                   const platform::IndexPath& path) = 0;
    virtual void didHighlightOnItem(VxJumpBarLabel& label, platform::MenuItem& item) = 0;

  protected:
    ~VxJumpBarLabelDelegate() = default;
};

// What a label draws, back to front, in its own coordinates; a part that is none is left out.
struct LabelDrawing {
    struct PlacedImage {
        platform::ImageHandle image; // at its natural size
        platform::Point origin;      // of its lower left corner
    };
    struct PlacedText {
        std::string text;
        platform::Rect rect; // truncated at its tail to fit
    };
    std::optional<PlacedImage> accessorySeparator;
    std::optional<PlacedImage> image;
    std::optional<PlacedText> text;
    std::optional<PlacedImage> separator;
};

class VxJumpBarLabel final : public platform::MenuTarget,
                             public platform::MenuDelegate,
                             public std::enable_shared_from_this<VxJumpBarLabel> {
  public:
    VxJumpBarLabel(VxJumpBarView& labelView, int labelLevel) : view(labelView), tag(labelLevel) {}
    ~VxJumpBarLabel();
    VxJumpBarLabel(const VxJumpBarLabel&) = delete;
    VxJumpBarLabel& operator=(const VxJumpBarLabel&) = delete;

    // 1, 2, ... for the labels of the path, VxJumpBarLabelAccessoryMenuLabelTag for the accessory label.
    int level() const { return tag; }
    void setLevel(int level) { tag = level; }

    const platform::ImageHandle& image() const { return labelImage; }
    void setImage(platform::ImageHandle image);
    const std::optional<std::string>& text() const { return labelText; }
    void setText(std::optional<std::string> text);

    bool lastLabel = false;       // the rightmost label of the path: no chevron and no room for one
    std::size_t indexInLevel = 0; // of the shown item in the menu of this level
    bool enabled = true;          // a disabled label ignores clicks
    platform::Rect frame;         // in the bar's coordinates
    VxJumpBarLabelDelegate* delegate = nullptr;

    // The menu popped up by the current click; null between clicks.
    const platform::MenuHandle& clickedMenu() const { return popped; }

    static TextAttributes attributes();
    double minimumWidth() const;
    void sizeToFit(); // sets the frame's width
    LabelDrawing drawing() const;

    void mouseDown();

    // Wires every enabled item of the menu, and of the submenus below enabled items, to this label.
    void setPropretyOnMenu(platform::Menu& menu);

    void willHighlightItem(platform::Menu& menu, platform::MenuItem& item) override;
    void menuClicked(platform::MenuItem& item);
    void performMenuAction(const std::string& action, platform::MenuItem& sender) override;
    void menuDidClose(); // the view's last call for a click

  private:
    bool isAccessory() const { return tag == VxJumpBarLabelAccessoryMenuLabelTag; }
    void releaseMenu(platform::Menu& menu) const;

    VxJumpBarView& view;
    int tag;
    platform::ImageHandle labelImage;
    std::optional<std::string> labelText;
    platform::MenuHandle popped;
    std::weak_ptr<platform::Menu> wired; // the menu whose items may still point here
};

} // namespace jumpbar
