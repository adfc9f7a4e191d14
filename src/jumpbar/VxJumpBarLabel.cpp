#include "jumpbar/VxJumpBarLabel.h"

#include "jumpbar/index_path_helpers.h"

#include <cmath>
#include <utility>

namespace jumpbar {
namespace {

const char* const menuClickedAction = "menuClicked:";
constexpr double accessoryPopUpX = -9.0; // so that the current item's image appears over the label's
constexpr double pathPopUpX = -16.0;
constexpr double popUpBelowTop = 4.0;

} // namespace

VxJumpBarLabel::~VxJumpBarLabel() {
    if (const platform::MenuHandle menu = wired.lock()) releaseMenu(*menu);
}

void VxJumpBarLabel::releaseMenu(platform::Menu& menu) const {
    if (menu.delegate == this) menu.delegate = nullptr;
    for (const platform::MenuItemHandle& item : menu.items()) {
        if (item->target == this) item->target = nullptr;
        if (item->submenu()) releaseMenu(*item->submenu());
    }
}

void VxJumpBarLabel::setImage(platform::ImageHandle image) {
    if (image == labelImage) return;
    labelImage = std::move(image);
    view.labelNeedsDisplay(*this);
}

void VxJumpBarLabel::setText(std::optional<std::string> text) {
    if (text == labelText) return;
    labelText = std::move(text);
    view.labelNeedsDisplay(*this);
}

TextAttributes VxJumpBarLabel::attributes() {
    TextAttributes attributes;
    attributes.foregroundColor = {0.0, 1.0};
    attributes.font = platform::systemFont(VxJumpBarLabelFontSize);
    attributes.truncatesTail = true;
    attributes.shadowOffset = {0, -1}; // a light engraved look
    attributes.shadowBlurRadius = 0;
    attributes.shadowColor = {1.0, 0.5};
    return attributes;
}

double VxJumpBarLabel::minimumWidth() const {
    return (labelImage ? labelImage->size.width + VxJumpBarLabelMargin : 0.0) + VxJumpBarLabelMargin +
           (lastLabel ? 0.0 : VxJumpBarLabelChevronRoom);
}

void VxJumpBarLabel::sizeToFit() {
    const double textWidth = labelText ? std::ceil(view.sizeOfText(*labelText, attributes()).width) : 0.0;
    const double imageWidth = labelImage ? std::ceil(labelImage->size.width) : 0.0;
    const double margins = (labelImage ? 3 : 2) * VxJumpBarLabelMargin;
    frame.width = margins + textWidth + imageWidth + (lastLabel ? 0.0 : VxJumpBarLabelChevronRoom);
}

LabelDrawing VxJumpBarLabel::drawing() const {
    LabelDrawing drawing;
    const bool hasChevron = !lastLabel && !isAccessory();
    const double middle = frame.height / 2;
    double x = VxJumpBarLabelMargin;
    if (isAccessory()) {
        if (platform::ImageHandle divider = view.imageNamed(VxJumpBarAccessorySeparator)) {
            x = divider->size.width + VxJumpBarLabelMargin;
            const double y = middle - divider->size.height / 2;
            drawing.accessorySeparator = {std::move(divider), {1.0, y}};
        }
    }
    if (labelImage) {
        drawing.image = {labelImage, {x, std::floor(middle - labelImage->size.height / 2)}};
        x += std::ceil(labelImage->size.width) + VxJumpBarLabelMargin;
    }
    if (labelText) {
        const double width =
            frame.width - x - VxJumpBarLabelMargin - (hasChevron ? VxJumpBarLabelChevronRoom : 0.0);
        if (width > 0) {
            const double height = view.sizeOfText(*labelText, attributes()).height;
            drawing.text = {*labelText, {x, middle - height / 2, width, height}};
            x += width + VxJumpBarLabelMargin;
        }
    }
    if (hasChevron) {
        if (platform::ImageHandle chevron = view.imageNamed(VxJumpBarSeparator)) {
            const double y = middle - chevron->size.height / 2;
            drawing.separator = {std::move(chevron), {x, y}};
        }
    }
    return drawing;
}

void VxJumpBarLabel::mouseDown() {
    if (!enabled || delegate == nullptr) return;
    popped = delegate->menuToPresentWhenClickedForJumpBarLabel(*this);
    if (!popped) return;
    setPropretyOnMenu(*popped);
    wired = popped;
    const platform::MenuHandle menu = popped; // outlives a view that closes the menu before it returns
    view.popUpMenu(*this, menu, indexInLevel,
                   {isAccessory() ? accessoryPopUpX : pathPopUpX, frame.height - popUpBelowTop});
}

void VxJumpBarLabel::setPropretyOnMenu(platform::Menu& menu) {
    menu.delegate = this;
    for (const platform::MenuItemHandle& item : menu.items()) {
        if (!item->enabled) continue;
        item->target = this;
        item->action = menuClickedAction;
        if (item->submenu()) setPropretyOnMenu(*item->submenu());
    }
}

void VxJumpBarLabel::willHighlightItem(platform::Menu&, platform::MenuItem& item) {
    if (delegate != nullptr) delegate->didHighlightOnItem(*this, item);
    if (popped) setPropretyOnMenu(*popped); // the delegate may have added items
}

void VxJumpBarLabel::performMenuAction(const std::string& action, platform::MenuItem& sender) {
    if (action == menuClickedAction) menuClicked(sender);
}

void VxJumpBarLabel::menuClicked(platform::MenuItem& item) {
    if (!popped || item.menu() == nullptr) return;
    const auto alive = shared_from_this(); // the delegate may lay out the bar without this label
    platform::IndexPath path;
    const platform::MenuItem* current = &item;
    if (!isAccessory()) {
        while (current->menu() != popped.get()) {
            path = indexPathByAddingIndexInFront(path, *current->menu()->indexOfItem(*current));
            current = current->parentItem();
            if (current == nullptr || current->menu() == nullptr) return; // no longer below the clicked menu
        }
    }
    path = indexPathByAddingIndexInFront(path, *current->menu()->indexOfItem(*current));
    if (delegate != nullptr) delegate->didReceivedClickOnItemAtIndexPath(*this, path);
    popped = nullptr;
}

void VxJumpBarLabel::menuDidClose() { popped = nullptr; }

} // namespace jumpbar
