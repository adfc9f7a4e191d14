// What the jump bar's logic asks of whatever draws it. The view never decides anything.
//
// Main thread only. All geometry is in points with the origin at the lower left.
#pragma once

#include "platform/Font.h"
#include "platform/Image.h"
#include "platform/Menu.h"
#include "platform/geometry.h"

#include <cstddef>
#include <string>

namespace jumpbar {

class VxJumpBarLabel;

// Grey levels of the calibrated white colour space, 0 (black) to 1, each with an opacity.
struct White {
    double white = 0;
    double alpha = 1;
    friend bool operator==(const White&, const White&) = default;
};

struct TextAttributes {
    White foregroundColor;
    platform::Font font;
    bool truncatesTail = false; // text that does not fit ends in an ellipsis
    platform::Point shadowOffset;
    double shadowBlurRadius = 0;
    White shadowColor;
    friend bool operator==(const TextAttributes&, const TextAttributes&) = default;
};

class VxJumpBarView {
  public:
    virtual platform::Size sizeOfText(const std::string& text, const TextAttributes& attributes) = 0;

    // The resource of that name with its natural size; null when it is missing.
    virtual platform::ImageHandle imageNamed(const std::string& name) = 0;

    virtual void setNeedsDisplay() = 0;
    virtual void labelNeedsDisplay(VxJumpBarLabel& label) = 0;

    // Labels were added, moved, resized or removed. A removed label is already gone.
    virtual void layoutChanged() = 0;

    // The items of a menu in the tree were replaced: one that is open shows the new ones.
    virtual void menuChanged(platform::Menu& menu) = 0;

    // Shows the menu so that its item at `index` lies at `location` in the label's own coordinates. Whatever
    // the user does, the view then calls: the menu's delegate for each highlighted item,
    // MenuItem::performAction of the chosen one, and last the label's menuDidClose. It may return at once or
    // when the menu is closed.
    virtual void popUpMenu(VxJumpBarLabel& label, const platform::MenuHandle& menu, std::size_t index,
                           platform::Point location) = 0;

  protected:
    ~VxJumpBarView() = default;
};

} // namespace jumpbar
