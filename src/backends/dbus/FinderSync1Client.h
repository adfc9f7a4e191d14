// The host interface as a client sees it, for a host that may wait: the terminal.
//
// One thread. Nothing is started: it is an error when the extension does not run.
#pragma once

#include "hosts/terminal/Extension.h"

#include <sdbus-c++/sdbus-c++.h>

#include <chrono>
#include <memory>

namespace backends::dbus {

class FinderSync1Client final : public hosts::terminal::Extension {
  public:
    // Connects to the session bus; raises ExtensionError when there is none. `answerBound` is for an
    // extension that is stopped or stuck.
    explicit FinderSync1Client(std::chrono::microseconds answerBound = std::chrono::seconds(10));

    std::vector<hosts::terminal::ItemBadge> badges(const std::vector<std::string>& uris) override;
    std::vector<hosts::terminal::MenuEntry> menu(const std::vector<std::string>& uris) override;
    hosts::terminal::Explanation explain(const std::string& uri) override;
    platform::Dictionary status() override;
    std::string version() override;
    std::map<std::string, std::string> badgeLabels() override;
    hosts::terminal::Outcome invoke(const std::string& item, const std::vector<std::string>& uris,
                                    const platform::Dictionary& options) override;
    void observe(const std::string& directoryURI) override;
    bool followProgress(const std::function<bool()>& goesOn, std::optional<Deadline> deadline) override;
    void watch(const std::function<bool(const std::vector<hosts::terminal::ChangedDirectory>&)>& changed,
               const Readable& also) override;

  private:
    sdbus::MethodCall makeCall(const char* method);
    sdbus::MethodReply send(const sdbus::MethodCall& call);
    void beginObserving(const std::string& directoryURI);
    // Reads the bus, and what else is there to read, until the condition holds; false when the deadline comes
    // first. Raises ExtensionError when the extension leaves.
    bool processUntil(const std::function<bool()>& isDone, const Readable& also = {-1, {}},
                      std::optional<Deadline> deadline = {});

    std::chrono::microseconds bound;
    std::unique_ptr<sdbus::IConnection> connection;
    std::unique_ptr<sdbus::IProxy> proxy;
    std::vector<std::string> observed; // directories
};

} // namespace backends::dbus
