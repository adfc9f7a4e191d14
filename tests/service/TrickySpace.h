// A storage in memory that has the ways of real ones: it tells no cases apart, writes names in decomposed
// form, tells times by the second, moves nothing over what is there. And it goes wrong when the test says so.
#pragma once

#include "service/RemoteSpace.h"
#include "service/names.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <glib.h>
#include <map>
#include <mutex>
#include <string>

namespace service {

class TrickySpace final : public RemoteSpace {
  public:
    struct Item {
        std::optional<std::string> content; // none: a folder
        std::int64_t modified = 0;
        std::string name; // as it is told
        int id = 0;
    };
    bool tellsIds = false;
    bool tellsDigests = false; // MD5 alone
    bool foldsCase = false;
    bool decomposes = false;
    std::optional<std::uint64_t> free; // bytes; none: it does not tell
    std::int64_t now = 1'000'000'000;  // nanoseconds; each change is a second later
    // Before an operation of that name ("bringUp", "moveFile" …) on a path; a failure is its outcome.
    std::function<std::optional<Failure>(const std::string& operation, const std::string& path)> before =
        [](const auto&, const auto&) { return std::nullopt; };
    std::string links;                 // how public links begin; "": it makes none
    std::map<std::string, int> asked;  // operations, how often
    std::map<std::string, Item> items; // by key of the whole path

    std::string keyOfPath(const std::string& path) const { return keyOf(path, foldsCase); }
    void put(const std::string& path, const std::string& content) {
        const std::lock_guard guard(changing);
        items[keyOfPath(path)] = {content, now += 1'000'000'000, told(path), ++lastId};
    }

    Pending<Features> features() override {
        Features all;
        all.move = all.moveFolder = true;
        all.foldsCase = foldsCase;
        all.precision = 1'000'000'000;
        all.setsTimes = false;
        all.publicLink = !links.empty();
        all.quota = free.has_value();
        return does<Features>("features", "", [&] { return all; });
    }
    Pending<std::vector<RemoteItem>> list(const std::string& folder, bool) override {
        return does<std::vector<RemoteItem>>("list", folder, [&]() -> Outcome<std::vector<RemoteItem>> {
            const std::string key = keyOfPath(folder);
            if (!key.empty() && (!items.contains(key) || items[key].content)) return missing(folder);
            std::vector<RemoteItem> all;
            for (const auto& [path, item] : items)
                if (above(path) == key) all.push_back(itemOf(item));
            return all;
        });
    }
    Pending<std::optional<RemoteItem>> look(const std::string& path, bool) override {
        return does<std::optional<RemoteItem>>("look", path, [&]() -> Outcome<std::optional<RemoteItem>> {
            const auto found = items.find(keyOfPath(path));
            if (found == items.end()) return std::optional<RemoteItem>();
            return std::optional(itemOf(found->second));
        });
    }
    Pending<Done> bringUp(const std::string& file, const std::string& path) override {
        // The first half is there before anything can go wrong.
        std::ifstream stream(file, std::ios::binary);
        const std::string content{std::istreambuf_iterator<char>(stream), {}};
        makeAbove(path);
        put(path, content.substr(0, content.size() / 2));
        return does<Done>("bringUp", path, [&]() -> Outcome<Done> {
            put(path, content);
            return Done{};
        });
    }
    Pending<Done> bringUpAll(const std::vector<Upload>& files, const std::string& folder) override {
        (void)makeFolder(folder).wait();
        for (const Upload& upload : files) {
            const std::string path = folder + "/" + upload.name;
            auto done = upload.file.empty() ? makeFolder(path) : bringUp(upload.file, path);
            if (const auto up = done.wait(); !up) return Pending<Done>(up);
        }
        return Pending<Done>(Done{});
    }
    Pending<Done> bringDownAll(const std::string& folder, const std::vector<std::string>& names,
                               const std::string& place) override {
        for (const std::string& name : names)
            for (const auto& [key, item] : items) {
                const std::string top = keyOfPath(folder + "/" + name);
                if (key != top && !key.starts_with(top + "/")) continue;
                const std::filesystem::path file = place + "/" + name + key.substr(top.size());
                std::filesystem::create_directories(item.content ? file.parent_path() : file);
                if (item.content) std::ofstream(file, std::ios::binary) << *item.content;
            }
        return Pending<Done>(Done{});
    }
    Pending<Done> bringDown(const std::string& path, const std::string& file, std::uint64_t) override {
        const auto found = items.find(keyOfPath(path));
        if (found == items.end() || !found->second.content) return Pending<Done>(missing(path));
        const std::string content = *found->second.content;
        std::ofstream(file, std::ios::binary) << content.substr(0, content.size() / 2);
        return does<Done>("bringDown", path, [&]() -> Outcome<Done> {
            std::ofstream(file, std::ios::binary) << content;
            return Done{};
        });
    }
    Pending<Done> moveFile(const std::string& path, const std::string& to) override {
        return move("moveFile", path, to);
    }
    Pending<Done> moveFolder(const std::string& path, const std::string& to) override {
        return move("moveFolder", path, to);
    }
    Pending<Done> makeFolder(const std::string& path) override {
        return does<Done>("makeFolder", path, [&]() -> Outcome<Done> {
            makeAbove(path + "/x");
            return Done{};
        });
    }
    Pending<Done> removeFile(const std::string& path) override {
        return does<Done>("removeFile", path, [&]() -> Outcome<Done> {
            return items.erase(keyOfPath(path)) == 1 ? Outcome<Done>(Done{}) : missing(path);
        });
    }
    Pending<Done> removeFolder(const std::string& path) override { return removeFile(path); }
    Pending<Done> removeTree(const std::string& path) override {
        std::erase_if(items, [key = keyOfPath(path)](const auto& item) {
            return item.first == key || item.first.starts_with(key + "/");
        });
        return Pending<Done>(Done{});
    }
    Pending<std::string> publicLink(const std::string& path) override {
        if (links.empty()) return Pending<std::string>(Failure{Trouble::impossible, "no links"});
        return Pending<std::string>(links + path);
    }
    Pending<Quota> quota() override { return Pending<Quota>(Quota{{}, {}, free}); }

  private:
    std::recursive_mutex changing; // several threads may ask
    int lastId = 0;
    static Failure missing(const std::string& path) { return {Trouble::missing, path + " is not there"}; }
    static std::string above(const std::string& path) {
        const std::size_t slash = path.rfind('/');
        return slash == std::string::npos ? "" : path.substr(0, slash);
    }
    std::string told(const std::string& path) const {
        const std::string name = path.substr(path.rfind('/') + 1);
        if (!decomposes) return name;
        gchar* const text = g_utf8_normalize(name.c_str(), -1, G_NORMALIZE_NFD);
        std::string written = text;
        g_free(text);
        return written;
    }
    RemoteItem itemOf(const Item& item) const {
        RemoteItem all;
        all.name = item.name;
        all.kind = item.content ? RemoteItem::Kind::file : RemoteItem::Kind::folder;
        all.size = item.content ? item.content->size() : 0;
        all.modified = item.modified;
        if (tellsIds) all.id = std::to_string(item.id);
        if (!tellsDigests || !item.content) return all;
        gchar* const digest = g_compute_checksum_for_string(G_CHECKSUM_MD5, item.content->data(),
                                                            static_cast<gssize>(item.content->size()));
        all.digests = {{"md5", digest}};
        g_free(digest);
        return all;
    }
    void makeAbove(const std::string& path) {
        const std::lock_guard guard(changing);
        for (std::size_t slash = path.find('/'); slash != std::string::npos;
             slash = path.find('/', slash + 1)) {
            const std::string folder = path.substr(0, slash);
            items.try_emplace(keyOfPath(folder), Item{std::nullopt, now, told(folder), ++lastId});
        }
    }
    Pending<Done> move(const std::string& operation, const std::string& path, const std::string& to) {
        return does<Done>(operation, path, [&]() -> Outcome<Done> {
            const std::string from = keyOfPath(path);
            const std::string target = keyOfPath(to);
            if (!items.contains(from)) return missing(path);
            if (from != target && items.contains(target)) return Done{}; // as rclone says it
            makeAbove(to);
            std::map<std::string, Item> moved;
            for (auto item = items.begin(); item != items.end();) {
                const bool isIt = item->first == from || item->first.starts_with(from + "/");
                if (isIt) moved[target + item->first.substr(from.size())] = item->second;
                item = isIt ? items.erase(item) : std::next(item);
            }
            moved[target].name = told(to);
            items.merge(moved);
            return Done{};
        });
    }
    template <typename T, typename Act>
    Pending<T> does(const std::string& operation, const std::string& path, const Act& act) {
        {
            const std::lock_guard guard(changing);
            ++asked[operation];
        }
        if (auto failure = before(operation, path)) return Pending<T>(*failure);
        const std::lock_guard guard(changing);
        return Pending<T>(act());
    }
};

} // namespace service
