#include "extension/CommandConfirmation.h"

#include "paths/path_strings.h"
#include "platform/json.h"

#include <array>
#include <condition_variable>
#include <mutex>
#include <string_view>
#include <utility>

namespace extension {
namespace {

using platform::Reply;

constexpr std::size_t maximumItems = 256;
constexpr std::chrono::milliseconds pauseBetweenRounds{100};
constexpr std::chrono::seconds waitForReplies{2};
constexpr int maximumRounds = 20;
// After this many rounds, what the answers have left open stays open.
constexpr int roundsOfUncertainty = 3;

constexpr const char* isPendingMessage = "pendingOperationOnPath:withReply:";
constexpr const char* fileInfoMessage = "remoteFileInfo:withReply:";
constexpr const char* isExcludedMessage = "isRemotePathExcluded:isBasePathOfExclusion:withReply:";
constexpr const char* tableMessage = "allPathsInSync:";

std::string keyOf(const std::string& message, const platform::Array& arguments) {
    return message + platform::jsonDescription(arguments);
}

// Where the replies of one round arrive. Late ones go into a round that nobody reads any more.
struct Round {
    std::mutex lock;
    std::condition_variable arrived;
    std::size_t open = 0;
    std::map<std::string, Reply> replies;
};

} // namespace

bool CommandConfirmation::isFull() const { return checks.size() >= maximumItems; }

void CommandConfirmation::expectSynced(const std::string& localPath, const std::string& remotePath) {
    if (isFull()) return;
    const auto holdsPair = [localPath, remotePath](const Reply& reply) {
        if (const auto* table = reply.value.dictionary())
            for (const auto& [remote, local] : *table)
                if (local.string() != nullptr && paths::isEqualToPath(remote, remotePath) &&
                    paths::isEqualToPath(*local.string(), localPath))
                    return Verdict::yes;
        return Verdict::no;
    };
    checks.push_back({localPath, {{tableMessage, {}, holdsPair}}});
}

void CommandConfirmation::expectNotSynced(const std::string& localPath, const std::string& remotePath) {
    if (isFull()) return;
    const auto lacksRoot = [remotePath](const Reply& reply) {
        const auto* table = reply.value.dictionary();
        const bool holdsRoot = table != nullptr && table->contains(remotePath);
        return reply.kind == Reply::Kind::noReply || holdsRoot ? Verdict::no : Verdict::yes;
    };
    checks.push_back({localPath, {{tableMessage, {}, lacksRoot}}});
}

void CommandConfirmation::expectExcluded(const std::string& localPath, const std::string& remotePath,
                                         bool isExcluded) {
    if (isFull()) return;
    const auto hasComeTrue = [isExcluded](const Reply& reply) {
        const bool* answer = reply.value.boolean();
        return answer != nullptr && *answer == isExcluded ? Verdict::yes : Verdict::no;
    };
    checks.push_back({localPath, {{isExcludedMessage, {remotePath}, hasComeTrue}}});
}

void CommandConfirmation::expectBrought(const std::string& localPath, const std::string& remoteFolder,
                                        bool isMoved) {
    if (isFull()) return;
    const auto isPending = [](const Reply& reply) {
        const bool* answer = reply.value.boolean();
        return answer != nullptr && *answer ? Verdict::yes : Verdict::no;
    };
    const auto hasArrived = [](const Reply& reply) {
        return reply.kind == Reply::Kind::value ? Verdict::yes : Verdict::no;
    };
    const std::string arrival =
        paths::stringByAppendingPathComponent(remoteFolder, paths::lastPathComponent(localPath));
    checks.push_back({localPath,
                      {{isPendingMessage, {localPath}, isPending}, {fileInfoMessage, {arrival}, hasArrived}},
                      isMoved});
}

void CommandConfirmation::lookBefore() {
    std::vector<Check> arrivals;
    for (const Check& check : checks)
        arrivals.push_back({check.localPath, {check.questions.back()}});
    const Replies before = ask(arrivals);
    for (Check& check : checks) {
        // What was there before says nothing about this command.
        if (verdictOf({check.localPath, {check.questions.back()}}, before) == Verdict::yes)
            check.questions.back().read = [](const Reply&) { return Verdict::unknown; };
        check.isSeenWhenGone = check.isSeenWhenGone && !isMissing(check.localPath);
    }
}

CommandConfirmation::Replies CommandConfirmation::ask(const std::vector<Check>& asked) {
    const auto round = std::make_shared<Round>();
    std::map<std::string, const Question*> questions;
    for (const Check& check : asked)
        for (const Question& question : check.questions)
            questions.emplace(keyOf(question.message, question.arguments), &question);
    round->open = questions.size();
    const auto store = [round](const std::string& key, const Reply& reply) {
        const std::lock_guard guard(round->lock);
        round->replies[key] = reply;
        --round->open;
        round->arrived.notify_one();
    };
    for (const auto& [key, question] : questions) {
        try {
            client.send(question->message, question->arguments,
                        [store, name = key](const Reply& reply) { store(name, reply); });
        } catch (const platform::IPCError&) {
            store(key, {}); // cannot be asked
        }
    }
    std::unique_lock guard(round->lock);
    const auto due = clock.now() + waitForReplies;
    while (round->open != 0 && clock.now() < due)
        round->arrived.wait_until(guard, clock.wakeUp(due));
    return {round->replies, round->open == 0};
}

CommandConfirmation::Verdict CommandConfirmation::verdictOf(const Check& check, const Replies& replies) {
    if (check.isSeenWhenGone && isMissing(check.localPath)) return Verdict::yes;
    Verdict verdict = Verdict::no;
    for (const Question& question : check.questions) {
        const auto reply = replies.byQuestion.find(keyOf(question.message, question.arguments));
        const Verdict answer = question.read(reply == replies.byQuestion.end() ? Reply() : reply->second);
        if (answer == Verdict::yes) return answer;
        if (answer == Verdict::unknown) verdict = answer;
    }
    return verdict;
}

CommandConfirmation::Result CommandConfirmation::wait() {
    Result result;
    for (int count = 1; !checks.empty(); ++count) {
        const Replies replies = ask(checks);
        const bool isLast = count == maximumRounds || !replies.areComplete;
        std::vector<Check> open;
        for (Check& check : checks) {
            const Verdict verdict = verdictOf(check, replies);
            if (verdict == Verdict::yes) continue;
            if (verdict == Verdict::unknown && (isLast || count >= roundsOfUncertainty))
                result.isUncertain = true;
            else if (isLast)
                result.unconfirmed.push_back(check.localPath);
            else
                open.push_back(std::move(check));
        }
        checks = std::move(open);
        if (!checks.empty()) clock.sleepFor(pauseBetweenRounds);
    }
    return result;
}

bool CommandConfirmation::isMissing(const std::string& path) {
    const std::array<std::string_view, 1> one{path};
    return fileSystem.existence(one).front() == platform::Existence::missing;
}

} // namespace extension
