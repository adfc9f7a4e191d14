// An image by the name of its resource. Nothing is loaded here: whoever draws resolves the name, and a name
// that it cannot resolve draws nothing.
//
// Images are shared by handle; the identity of the object matters to whoever compares them (a label redraws
// when it is given another object). Main thread only once an image is shown.
#pragma once

#include "platform/geometry.h"

#include <memory>
#include <string>

namespace platform {

struct Image {
    std::string name; // "statusbaricon.png", or the name of a themed icon
    Size size;        // points; the size at which it is drawn
};

using ImageHandle = std::shared_ptr<Image>;

inline ImageHandle imageNamed(std::string name, Size size = {}) {
    return std::make_shared<Image>(Image{std::move(name), size});
}

} // namespace platform
