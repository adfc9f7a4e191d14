// The pictures behind the image names that the panels use. Main thread only.
#pragma once

#include "platform/Image.h"

#include <QIcon>
#include <QPixmap>
#include <QString>
#include <string>

namespace backends::qt {

// The embedded picture of that name, at its natural size for that number of pixels to a point; null when
// there is none. "new_folder.png" and "new_folder" are the same.
QPixmap picture(const std::string& name, double devicePixelRatio);
QIcon pictureIcon(const std::string& name);

// The icon of a file or folder as the desktop's theme has it, by the image name of the share panel: "fldr",
// or a dot and the extension.
QIcon themedFileIcon(const std::string& imageName);

} // namespace backends::qt
