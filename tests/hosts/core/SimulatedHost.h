// A host with an extension on a bus, all of it in one thread and with a clock that the test ticks. Messages
// keep their order, as on a bus: requests wait until the extension works, answers and signals until they are
// delivered.
#pragma once

#include "hosts/core/core.h"
#include "protocol/names.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace simulated {

struct Answer {
    std::string badge;
    bool isInSync = false;
    bool isRoot = false;
};

class Host {
  public:
    Host() = default;
    ~Host() { tsf_core_free(core); }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    std::int64_t now = 1'000'000;
    TsfCore* core = tsf_core_new(this);
    std::map<std::string, TsfItem*> items;
    std::map<std::string, std::string> shown; // emblems
    std::string closed; // how the URIs begin that it shows no longer without a word; none when empty
    int menuUpdates = 0;
    bool isListening = false;

    // The extension.
    std::set<std::string> watched{"file:///r"};
    std::function<Answer(const std::string&)> badge = [](const std::string&) { return Answer{"sync", true}; };
    std::uint64_t sequence = 1;
    std::map<std::string, int> observed;
    std::size_t asked = 0; // URIs
    struct Request {
        TsfOrderKind kind;
        std::uint64_t call;
        std::vector<std::string> uris;
    };
    std::deque<Request> requests;           // not worked at yet
    std::deque<std::function<void()>> wire; // on their way to the host

    void look(const std::string& uri) {
        TsfItem* const item = items.contains(uri) ? items[uri] : tsf_core_item(core, uri.c_str());
        if (item == nullptr) return;
        items[uri] = item;
        EXPECT_EQ(tsf_item_host(item), this);
        const char* const emblem = tsf_item_emblem(item);
        shown[uri] = emblem != nullptr ? emblem : "";
    }
    // The first files of a folder.
    void lookAt(std::size_t count, const std::string& folder = "file:///r") {
        for (std::size_t i = 0; i < count; ++i)
            look(folder + "/f" + std::to_string(i));
    }
    void drop(std::string uri) { // a copy: it may be the key
        tsf_item_gone(items.at(uri));
        items.erase(uri);
        shown.erase(uri);
    }
    void dropAll() {
        while (!items.empty())
            drop(items.begin()->first);
    }

    // What the core wants is done, or as much of it as told.
    void serve(int maximum = 100'000) {
        TsfOrder order;
        while (maximum > 0 && tsf_core_next(core, now, &order)) {
            carryOut(order);
            --maximum;
        }
        if (maximum == 0) return;
        EXPECT_GT(tsf_core_wakes(core, now), now) << "it would be asked for ever";
        while (TsfItem* const item = tsf_core_next_invalid(core)) {
            const std::string uri = tsf_item_uri(item);
            if (closed.empty() || !uri.starts_with(closed)) look(uri);
            if (tsf_item_was_asked(item)) continue;
            items.erase(uri);
            shown.erase(uri);
            tsf_item_unseen(item);
        }
    }
    void tick(std::int64_t milliseconds) {
        const std::int64_t end = now + milliseconds;
        serve();
        while (tsf_core_wakes(core, now) <= end) {
            now = std::max(now, tsf_core_wakes(core, now));
            serve();
        }
        now = end;
    }

    void come() {
        isListening = false;
        observed.clear();
        requests.clear();
        tsf_core_extension_came(core, now);
        serve();
    }
    void leave() {
        isListening = false;
        requests.clear();
        tsf_core_extension_left(core, now);
        serve();
    }
    // The extension works at one request, as things are now.
    void work() {
        const Request request = requests.front();
        requests.pop_front();
        if (request.kind == TSF_ASK_BADGES) {
            std::vector<Answer> answers;
            for (const std::string& uri : request.uris)
                answers.push_back(badge(uri));
            wire.emplace_back([this, request, answers, at = sequence] { takeBadges(request, answers, at); });
        } else if (request.kind == TSF_ASK_MENUS) {
            wire.emplace_back([this, request] { tsf_core_menus(core, now, request.call, 1); });
        } else if (request.kind == TSF_ASK_DIRECTORIES) {
            wire.emplace_back([this, request, uris = watched] { takeDirectories(request.call, uris); });
        } else {
            observed[request.uris.front()] += request.kind == TSF_BEGIN_OBSERVING ? 1 : -1;
        }
    }
    void receive() {
        const std::function<void()> message = wire.front();
        wire.pop_front();
        message();
    }
    void deliver() {
        receive();
        serve();
    }
    // Everything that is under way arrives.
    void run() {
        serve();
        while (!requests.empty() || !wire.empty())
            wire.empty() ? work() : deliver();
    }
    // A signal that an item has changed, or, without one, any of the folder. As often as told.
    void signalChange(const std::string& folder, const std::string& item = "", int times = 1) {
        ++sequence;
        for (; times > 0 && isListening; --times)
            wire.emplace_back([this, folder, item, at = sequence] {
                if (!isListening || !tsf_core_heard(core, now, 1)) return;
                if (item.empty())
                    tsf_core_directory_changed(core, at, folder.c_str());
                else
                    tsf_core_item_changed(core, at, item.c_str());
            });
    }
    void signalDirectories() {
        if (!isListening) return;
        wire.emplace_back([this, uris = watched] {
            if (isListening && tsf_core_heard(core, now, uris.size())) takeDirectories(0, uris);
        });
    }
    bool everythingShows(const std::string& emblem) const {
        return std::ranges::all_of(shown, [&](const auto& each) { return each.second == emblem; });
    }

    void takeBadges(const Request& request, const std::vector<Answer>& answers, std::uint64_t at) {
        std::vector<TsfAnswer> plain;
        for (const Answer& answer : answers)
            plain.push_back({answer.badge.c_str(), answer.isInSync, answer.isRoot});
        tsf_core_badges(core, now, request.call, at, plain.data(), plain.size());
    }
    void takeDirectories(std::uint64_t call, const std::set<std::string>& uris) {
        std::vector<const char*> plain;
        for (const std::string& uri : uris)
            plain.push_back(uri.c_str());
        tsf_core_directories(core, now, call, plain.data(), plain.size());
    }

  private:
    void carryOut(const TsfOrder& order) {
        if (order.kind == TSF_UPDATE_MENUS) ++menuUpdates;
        if (order.kind == TSF_LISTEN || order.kind == TSF_STOP_LISTENING)
            isListening = order.kind == TSF_LISTEN;
        if (order.kind < TSF_BEGIN_OBSERVING || order.kind == TSF_UPDATE_MENUS) return;
        Request request{order.kind, order.call, {}};
        if (order.uri != nullptr) request.uris.emplace_back(order.uri);
        for (std::size_t i = 0; i < order.count; ++i)
            request.uris.emplace_back(tsf_item_uri(order.items[i]));
        if (order.kind == TSF_ASK_BADGES) asked += order.count;
        requests.push_back(request);
        EXPECT_LE(order.count, std::size_t{TSF_MAXIMUM_BATCH});
    }
};

} // namespace simulated
