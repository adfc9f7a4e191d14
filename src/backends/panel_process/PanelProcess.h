// Panels and the clipboard by the panel program: a process that shows one panel on the display of the request
// and ends. Its format is described in docs/panel-program.md.
//
// A panel ends with this process, and when its request is cancelled. One that crashes, answers nonsense, or
// has not come up after a while counts as cancelled, with one log line; once it is shown, the person has all
// the time in the world. The process that holds a copied text outlives its call, and this process too.
//
// Any thread may call; each call waits on its thread.
#pragma once

#include "backends/posix/ChildProcess.h"
#include "extension/Panels.h"
#include "panels/panel_messages.h"
#include "platform/Clock.h"
#include "platform/Pasteboard.h"
#include "platform/ProcessLog.h"
#include "platform/Value.h"

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace backends::panel_process {

class PanelProcess final : public extension::Panels, public platform::Pasteboard {
  public:
    // The program's absolute path. The log and the clock outlive this object.
    PanelProcess(std::string program, platform::ProcessLog& processLog, const platform::Clock& clock);

    extension::DestinationAnswer chooseRemoteDestination(extension::DestinationPurpose purpose,
                                                         const extension::CommandRequest& request) override;
    extension::ShareAnswer shareByEmail(bool isDirectory, const daemon_client::SyncPathTable& allPathsInSync,
                                        const extension::CommandRequest& request) override;
    bool setString(const std::string& text, const platform::Display& display) override;

  private:
    struct Answer {
        panels::PanelLine line; // empty: the panel counts as cancelled
        std::optional<platform::DisplayText> problem;
    };
    std::unique_ptr<posix::ChildProcess> start(const platform::Display& display, bool endsWithParent) const;
    Answer ask(panels::PanelRequest question, const extension::CommandRequest& request);
    // One log line, and the problem as the person reads it.
    Answer problem(const std::string& logText, const char* text);

    std::string program;
    platform::ProcessLog& log;
    const platform::Clock& clock;

    std::mutex holdersLock;
    std::vector<std::unique_ptr<posix::ChildProcess>> clipboardHolders; // guarded by the holders' lock
};

} // namespace backends::panel_process
