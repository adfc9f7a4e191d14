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

TEST(SyncPathMapping, LocalPaths) {
    const struct {
        std::string path;
        bool isInSync, isBase;
        Optional remote;
    } cases[] = {
        {"/Users/u/Docs", true, true, "/Space/Again"},
        {"/Users/u/Docs/a/b.txt", true, false, "/Space/Again/a/b.txt"},
        {"/Users/u/Docs/in", true, true, "/Space/Docs/in"},
        {"/Users/u/Docs/in/x", true, false, "/Space/Docs/in/x"},
        {"/Users/u/Docs/", false, false, "/Space/Again"},
        {"/Users/u/Docs//a", true, false, "/Space/Again/a"},
        {"/Users/u//Docs/./a", false, false, "/Space/Again/a"},
        {"/Users/u/Docs/a/../b", true, false, "/Space/Again/b"},
        {"/Users/u/Docs/a/./b", true, false, "/Space/Again/a/./b"},
        {"/Users/u/Docsx", false, false, {}},
        {"/Users/s/t/x", false, false, "/Space/Slash/x"},
        {"/Users/s//t/", true, true, "/Space/Slash"},
        {"/Users/all/x", true, false, "/x"},
        {"rel/root", true, true, "/Space/rel/"},
        {"rel/root/x", true, false, "/Space/rel/x"},
        {"/x", false, false, {}},
        {"/x/..", false, false, {}},
        {"/", false, true, {}},
        {"", false, true, {}},
        {"//", false, false, {}},
        {"elsewhere", false, false, {}},
    };
    const SyncPaths paths(table);
    bool flag = false;
    for (const auto& [path, isInSync, isBase, remote] : cases) {
        flag = !isBase;
        EXPECT_EQ(isPathInSync(&paths, path, flag), isInSync) << path;
        EXPECT_EQ(flag, isBase) << path;
        EXPECT_EQ(remotePathOfLocalSyncPath(table, path), remote) << path;
    }
    EXPECT_FALSE(isPathInSync(nullptr, "/Users/u/Docs", flag) || flag);
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
