// The sidebar of Nautilus and of GTK 4's file dialogs, through org.freedesktop.CloudProviders, the interface
// of freedesktop.org's libcloudproviders.
//
// File managers read from the .ini file in share/cloud-providers under which bus name the entry is found, and
// ask the bus for that name. It is one of its own, without a service file: else opening a file manager would
// start the extension. Without an entry the name is not owned, and nothing is shown.
//
// GLib dispatches on a thread of its own, which starts with the first entry.
#pragma once

#include "platform/Sidebar.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace backends::cloud_providers {

class CloudProvidersSidebar final : public platform::Sidebar {
  public:
    // Called when the person asks for it, on a thread that nothing else waits for.
    explicit CloudProvidersSidebar(std::function<void(bool pause)> setPaused);
    ~CloudProvidersSidebar() override;
    CloudProvidersSidebar(const CloudProvidersSidebar&) = delete;
    CloudProvidersSidebar& operator=(const CloudProvidersSidebar&) = delete;

    void show(std::optional<platform::SidebarEntry> entry) override;

  private:
    class Thread;
    std::function<void(bool pause)> setPaused;
    std::unique_ptr<Thread> thread; // null before the first entry; made under the lock
    std::mutex lock;
};

} // namespace backends::cloud_providers
