// The desktop's trash by GIO, which follows the XDG trash specification: in the person's data folder, or at
// the top of another file system. A file system that has no trash is a failure.
#pragma once

#include "service/PairSync.h"

namespace backends::gio {

// Any thread may call.
class GioTrash final : public service::DesktopTrash {
  public:
    service::Outcome<service::Done> trash(const std::filesystem::path& item) override;
};

} // namespace backends::gio
