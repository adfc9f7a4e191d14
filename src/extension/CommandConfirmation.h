// What the daemon says about commands that were posted to it. A command message has no reply; whether the
// daemon acted can be seen, for most commands, from its answers to requests: a folder is in the sync path
// table, a path is excluded, an operation is pending on a file.
//
// The questions are asked side by side and again every 100 milliseconds until each item is confirmed, about
// two seconds at most; a daemon that does not answer them is waited for once, for two seconds. Of a large
// selection only the first 256 items are asked about. Any thread but the one that delivers replies.
#pragma once

#include "daemon_client/TSyncClient.h"
#include "platform/FileSystem.h"
#include "platform/Queue.h"
#include "platform/RequestConnection.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace extension {

class CommandConfirmation {
  public:
    // All outlive this object.
    CommandConfirmation(daemon_client::TSyncClient& daemonClient, platform::FileSystem& disk,
                        platform::Clock& passingTime)
        : client(daemonClient), fileSystem(disk), clock(passingTime) {}

    // What is to come true of one item. Local paths are as the message had them.
    void expectSynced(const std::string& localPath, const std::string& remotePath);
    void expectNotSynced(const std::string& localPath, const std::string& remotePath);
    void expectExcluded(const std::string& localPath, const std::string& remotePath, bool isExcluded);
    // A copy or a move into a remote folder, called before its message is posted.
    void expectBrought(const std::string& localPath, const std::string& remoteFolder, bool isMoved);
    // Looks at what is there before anything is posted; only what `expectBrought` named needs it.
    void lookBefore();

    // Called once, after the messages were posted: the local paths that the daemon has not confirmed, whether
    // by its answers or by giving none, and whether there are others about which no answer can tell.
    struct Result {
        std::vector<std::string> unconfirmed;
        bool isUncertain = false;
    };
    Result wait();

  private:
    enum class Verdict { yes, no, unknown };
    struct Question {
        std::string message; // of the request protocol
        platform::Array arguments;
        std::function<Verdict(const platform::Reply&)> read;
    };
    // Confirmed as soon as one question is; unconfirmed when all answers speak against it.
    struct Check {
        std::string localPath;
        std::vector<Question> questions;
        bool isSeenWhenGone = false; // a move: it is confirmed when the item is no longer there
    };
    struct Replies {
        std::map<std::string, platform::Reply> byQuestion;
        bool areComplete = false; // none was missing at the end of the wait
    };

    bool isFull() const;
    // Asks the questions of all checks, the same one only once, and waits.
    Replies ask(const std::vector<Check>& asked);
    Verdict verdictOf(const Check& check, const Replies& replies);
    bool isMissing(const std::string& path);

    daemon_client::TSyncClient& client;
    platform::FileSystem& fileSystem;
    platform::Clock& clock;
    std::vector<Check> checks;
};

} // namespace extension
