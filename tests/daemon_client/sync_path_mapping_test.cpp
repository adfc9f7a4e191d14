#include "daemon_client/sync_path_mapping.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace daemon_client {
namespace {

using Optional = std::optional<std::string>;

const SyncPathTable table = {
    {"/Space/Docs", "/Users/u/Docs"},
    {"/Space/Docs/in", "/Users/u/Docs/in"},
    {"/Space/Again", "/Users/u/Docs"},
    {"/Space/Slash", "/Users/s//t/"},
    {"/", "/Users/all"},
    {"/Space/rel/", "rel/root"},
    {"/Space/machine", "/"},
    {"/Space/nothing", ""},
};

TEST(SyncPathMapping, IsPathInSync) {
    const struct {
        std::string path;
        bool inSync, base;
    } cases[] = {
        {"/Users/u/Docs", true, true},
        {"/Users/u/Docs/a/b", true, false},
        {"/Users/u/Docs/in", true, true},
        {"/Users/u/Docs/", false, false},
        {"/Users/u/Docs//a", true, false},
        {"/Users/u/Docsx", false, false},
        {"/Users/s/t", false, false},
        {"/Users/s//t/", true, true},
        {"/Users/s//t/x", false, false},
        {"rel/root/x", true, false},
        {"/", false, true},
        {"", false, true},
        {"//", false, false},
        {"elsewhere", false, false},
    };
    const SyncPaths paths(table);
    for (const auto& [path, inSync, base] : cases) {
        bool flag = !base;
        EXPECT_EQ(isPathInSync(&paths, path, flag), inSync) << path;
        EXPECT_EQ(flag, base) << path;
    }
    bool flag = true;
    EXPECT_FALSE(isPathInSync(nullptr, "/Users/u/Docs", flag));
    EXPECT_FALSE(flag);
}

TEST(SyncPathMapping, RemotePathOfLocalPath) {
    const std::vector<std::pair<std::string, Optional>> cases = {
        {"/Users/u/Docs/a/b.txt", "/Space/Again/a/b.txt"},
        {"/Users/u/Docs/", "/Space/Again"},
        {"/Users/u//Docs/./a", "/Space/Again/a"},
        {"/Users/u/Docs/in", "/Space/Docs/in"},
        {"/Users/u/Docs/in/x", "/Space/Docs/in/x"},
        {"/Users/u/Docs/a/../b", "/Space/Again/b"},
        {"/Users/u/Docs/a/./b", "/Space/Again/a/./b"},
        {"/Users/s/t/x", "/Space/Slash/x"},
        {"/Users/all/x", "/x"},
        {"rel/root", "/Space/rel/"},
        {"/Users/u/Other", {}},
        {"/x", {}},
        {"/x/..", {}},
        {"/", {}},
        {"", {}},
        {"elsewhere", {}}};
    for (const auto& [path, remote] : cases)
        EXPECT_EQ(remotePathOfLocalSyncPath(table, path), remote) << path;
    EXPECT_EQ(remotePathOfLocalSyncPath({}, "/Users/u/Docs"), std::nullopt);
}

TEST(SyncPathMapping, LocalPathOfRemotePath) {
    const std::vector<std::pair<std::string, Optional>> cases = {
        {"/Space/Docs//a/", "/Users/u/Docs/a"},
        {"/Space/Docs", "/Users/u/Docs"},
        {"/Space/Slash/x", "/Users/s//t/x"},
        {"/Space/Docs/in/x", "/Users/u/Docs/in/x"},
        {"/Space/x/../Again/a/./b", "/Users/u/Docs/a/b"},
        {"/Space/rel", {}},
        {"/Space/machine/x", "/x"},
        {"/Space/Other", {}},
        {"/", {}},
        {"/..", {}},
        {"", {}},
        {"elsewhere", {}}};
    for (const auto& [path, local] : cases)
        EXPECT_EQ(localSyncPathOfRemotePath(table, path), local) << path;
    EXPECT_EQ(localSyncPathOfRemotePath({}, "/Space/Docs"), std::nullopt);
}

} // namespace
} // namespace daemon_client
