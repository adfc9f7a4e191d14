#include "host_service/ItemDescriptions.h"

#include "dirsnapshot/DirSnapshot.h"
#include "extension/reasons.h"
#include "platform/FileURL.h"
#include "protocol/badge_words.h"
#include "protocol/names.h"

#include <chrono>
#include <utility>

namespace host_service {
namespace {

constexpr std::chrono::seconds answerBound{2};

} // namespace

// What is excluded is told last; until then the rows wait.
struct ItemDescriptions::Question {
    Description rows;
    std::string root;
    Answer answer; // empty: it is answered
};

void ItemDescriptions::finish(Question& question, std::string_view text, std::vector<std::string> arguments) {
    if (!question.answer) return;
    question.rows.push_back({"Excluded", {std::string(text), std::move(arguments)}});
    std::exchange(question.answer, nullptr)(question.rows);
}

void ItemDescriptions::describe(std::string uri, Answer answer) {
    const auto item = platform::FileURL::withURI(uri);
    around.service.explain(std::move(uri), [this, item, answer = std::move(answer)](const Explanation& why) {
        const auto question = std::make_shared<Question>(Question{{}, why.root, answer});
        const auto add = [&](std::string_view label, std::string_view text,
                             std::vector<std::string> arguments = {}) {
            question->rows.push_back({label, {std::string(text), std::move(arguments)}});
        };
        if (const char* words = tsyncBadgeWords(why.badge.c_str())) add("Status", words);
        if (why.badge == FINDER_SYNC_BADGE_NONE && !why.root.empty() && why.rule != "off")
            add("Badge", extension::unshownReason);
        const std::string path = item && !why.root.empty() ? std::string(item->path()) : "";
        if (!path.empty()) add("Synced folder", "%@", {why.root});
        if (const auto remote = around.finderSync.remotePathOfLocalSyncPath(path); remote && !path.empty())
            add("Remote path", "%@", {*remote});
        add("Reason", extension::reasonOf(why.rule), {why.file});
        if (path.empty() ||
            (path != why.root &&
             !path.starts_with(why.root == "/" ? "/"
                                               : why.root + "/"))) { // the service knows it by no other path
            answer(question->rows);
        } else if (dirsnapshot::DirSnapshot::isNodeAtFullPathExcluded(path)) {
            finish(*question, extension::neverSyncedReason);
        } else {
            around.modelQueue.dispatchAfter(
                answerBound, [question] { finish(*question, "The sync service does not answer."); });
            askOfLevel(question, path);
        }
    });
}

// The path that somebody has excluded is the item or a folder above it.
void ItemDescriptions::askOfLevel(const std::shared_ptr<Question>& question, std::string level) {
    const auto take = [this, question, level](const platform::Reply& reply) {
        const bool* isExcluded = reply.value.boolean();
        if (reply.kind != platform::Reply::Kind::value || isExcluded == nullptr)
            finish(*question, "The sync service does not answer.");
        else if (!*isExcluded)
            finish(*question, "No");
        else if (reply.baseFlag.value_or(true) || level.size() <= question->root.size())
            finish(*question, extension::excludedReason, {level});
        else
            askOfLevel(question, level.substr(0, level.find_last_of('/')));
    };
    try {
        around.client.send("isLocalPathExcluded:isBasePathOfExclusion:withReply:", {level},
                           [this, take](platform::Reply reply) {
                               around.modelQueue.dispatch([take, reply = std::move(reply)] { take(reply); });
                           });
    } catch (const platform::IPCError&) { // a path that no message can carry
        finish(*question, "The sync service does not answer.");
    }
}

} // namespace host_service
