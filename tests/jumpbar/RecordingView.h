// A view without a screen: text is measured by a fixed table, and what is asked of the view is written down.
#pragma once

#include "jumpbar/VxJumpBar.h"

#include <map>
#include <string>

namespace jumpbar {

struct RecordingView final : VxJumpBarView {
    std::map<std::string, double> widths; // of texts; a text that is not in it is 6 points a byte wide
    int layouts = 0;
    int labelRedraws = 0;

    platform::Size sizeOfText(const std::string& text, const TextAttributes&) override {
        const auto known = widths.find(text);
        return {known == widths.end() ? 6.0 * static_cast<double>(text.size()) : known->second, 14.0};
    }
    platform::ImageHandle imageNamed(const std::string& name) override {
        return platform::imageNamed(name, {name == VxJumpBarAccessorySeparator ? 2.0 : 7.0, 20.0});
    }
    void setNeedsDisplay() override {}
    void labelNeedsDisplay(VxJumpBarLabel&) override { ++labelRedraws; }
    void layoutChanged() override { ++layouts; }
    void menuChanged(platform::Menu&) override {}
    void popUpMenu(VxJumpBarLabel&, const platform::MenuHandle&, std::size_t, platform::Point) override {}
};

} // namespace jumpbar
