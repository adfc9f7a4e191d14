// What a file manager's page about one item says: its badge in words, its synced folder, its remote path, why
// it has its badge, and whether it is excluded from sync. Fixed English texts with their arguments apart.
//
// The daemon alone knows what is excluded. It is asked without waiting; after two seconds the answer is that
// it does not answer. Everything runs on the model queue.
#pragma once

#include "daemon_client/TSyncClient.h"
#include "extension/FinderSync.h"
#include "host_service/HostService.h"
#include "platform/DisplayText.h"
#include "platform/Queue.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace host_service {

struct DescriptionRow {
    std::string_view label; // English, static
    platform::DisplayText text;
};
using Description = std::vector<DescriptionRow>;

class ItemDescriptions {
  public:
    // All outlive this object, which outlives the questions under way.
    struct Surroundings {
        HostService& service;
        const extension::FinderSync& finderSync;
        daemon_client::TSyncClient& client;
        platform::Queue& modelQueue;
    };
    explicit ItemDescriptions(const Surroundings& surroundings) : around(surroundings) {}

    // `answer` runs once, on the model queue.
    using Answer = std::function<void(const Description& rows)>;
    void describe(std::string uri, Answer answer);

  private:
    struct Question;
    void askOfLevel(const std::shared_ptr<Question>& question, std::string level);
    static void finish(Question& question, std::string_view text, std::vector<std::string> arguments = {});

    const Surroundings around;
};

} // namespace host_service
