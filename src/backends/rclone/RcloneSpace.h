// A storage that rclone speaks, as a RemoteSpace.
//
// rclone is a transport and decides nothing: it compares nothing, since every call says so, and it never sees
// a name of this machine. It would take a name with a line break, or with one of the signs that it puts in
// place of such bytes, for that of another file; so what goes up is a numbered link in a folder of the
// space's own.
#pragma once

#include "backends/rclone/RemoteControl.h"
#include "backends/rclone/replies.h"
#include "service/RemoteSpace.h"

#include <atomic>
#include <filesystem>
#include <memory>

namespace backends::rclone {

class RcloneSpace final : public service::RemoteSpace {
  public:
    // `storage` is rclone's "name:path". All calls use this one text: each further one would be a connection
    // of its own for five minutes. `workFolder` is made, for this process alone, and goes with the object.
    // The control outlives the space.
    RcloneSpace(RemoteControl& control, std::string storage, const std::filesystem::path& workFolder);
    ~RcloneSpace() override;
    RcloneSpace(const RcloneSpace&) = delete;
    RcloneSpace& operator=(const RcloneSpace&) = delete;

    // Files that one operation brings at the same time. Any thread.
    void setTransfers(unsigned files) { transfers = files; }
    // Of all that the control transfers.
    service::Pending<Progress> progress();

    service::Pending<service::Features> features() override;
    service::Pending<std::vector<service::RemoteItem>> list(const std::string& folder,
                                                            bool withDigests) override;
    service::Pending<std::optional<service::RemoteItem>> look(const std::string& path,
                                                              bool withDigests) override;
    service::Pending<service::Done> bringUp(const std::string& file, const std::string& path) override;
    service::Pending<service::Done> bringUpAll(const std::vector<service::Upload>& files,
                                               const std::string& folder) override;
    service::Pending<service::Done> bringDown(const std::string& path, const std::string& file,
                                              std::uint64_t size) override;
    service::Pending<service::Done> bringDownAll(const std::string& folder,
                                                 const std::vector<std::string>& names,
                                                 const std::string& place) override;
    service::Pending<service::Done> moveFile(const std::string& path, const std::string& to) override;
    service::Pending<service::Done> moveFolder(const std::string& path, const std::string& to) override;
    service::Pending<service::Done> makeFolder(const std::string& path) override;
    service::Pending<service::Done> removeFile(const std::string& path) override;
    service::Pending<service::Done> removeFolder(const std::string& path) override;
    service::Pending<service::Done> removeTree(const std::string& path) override;
    service::Pending<std::string> publicLink(const std::string& path) override;
    service::Pending<service::Quota> quota() override;

  private:
    template <typename T, typename Read>
    service::Pending<T> ask(const std::string& command, platform::Dictionary arguments,
                            std::chrono::milliseconds limit, Read read,
                            const std::filesystem::path& links = {});
    service::Pending<service::Done> order(const std::string& command, platform::Dictionary arguments,
                                          std::chrono::milliseconds limit,
                                          const std::filesystem::path& links = {});
    platform::Dictionary at(const std::string& path) const;
    platform::Dictionary options(const std::string& command) const;
    platform::Value folderStorage(const std::string& path) const;
    std::filesystem::path newLinks();

    RemoteControl& control;
    const std::string storage;
    const std::filesystem::path farm; // links to what goes up, and folders of such links
    std::atomic<std::uint64_t> lastLink = 0;
    std::atomic<unsigned> transfers = 4;
    // Until its features are known: they are. Shared with an answer that may come late.
    std::shared_ptr<std::atomic<bool>> slowDigests = std::make_shared<std::atomic<bool>>(true);
};

} // namespace backends::rclone
